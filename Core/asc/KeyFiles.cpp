#include "Core/asc/KeyFiles.h"

#include "Platform/files/Files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>

namespace quorvel {

namespace {

constexpr std::size_t digitsOfKeyID = 10;
constexpr std::uint64_t keyFileLimit = 64 << 10;
constexpr std::size_t longestPlainRun = 100; // a key's Base64 is longer, names of files seldom are

bool isAlphanumeric(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

bool isBase64(char character) {
    return isAlphanumeric(character) || character == '+' || character == '/' || character == '=';
}

bool hasLongBase64Run(std::string_view text) {
    for (auto at = text.begin(); at != text.end();) {
        const auto start = std::find_if(at, text.end(), isBase64);
        at = std::find_if_not(start, text.end(), isBase64);
        if (static_cast<std::size_t>(at - start) > longestPlainRun) return true;
    }
    return false;
}

} // namespace

std::optional<std::string> keyIDFromFileName(std::string_view fileName) {
    constexpr std::string_view prefix = "AuthKey_";
    if (!fileName.starts_with(prefix)) return std::nullopt;
    const std::string_view rest = fileName.substr(prefix.size());
    const std::string run(rest.begin(), std::ranges::find_if_not(rest, isAlphanumeric));
    return run.size() == digitsOfKeyID ? std::optional(run) : std::nullopt;
}

std::vector<std::filesystem::path> keyFolders(const Home& home, const std::filesystem::path& workingFolder) {
    return {workingFolder / "private_keys", home.root / "private_keys", home.root / ".private_keys",
            home.root / ".appstoreconnect" / "private_keys"};
}

std::optional<std::filesystem::path> findKeyFile(std::string_view keyID,
                                                 const std::vector<std::filesystem::path>& folders) {
    std::vector<std::filesystem::path> found;
    for (const auto& folder : folders) {
        const auto entries = listFolder(folder);
        if (!entries) continue;
        for (const FolderEntry& entry : *entries) {
            const auto id = keyIDFromFileName(entry.name);
            if (!id || !entry.name.ends_with(".p8") || entry.kind == FolderEntry::Kind::folder) continue;
            if (*id == keyID) return folder / entry.name;
            if (keyID.empty()) found.push_back(folder / entry.name);
        }
    }
    if (found.empty()) return std::nullopt;
    if (found.size() > 1)
        throw CredentialsError(CredentialsError::Kind::severalKeyFiles, "There are several key files.",
                               std::move(found));
    return found.front();
}

bool looksLikeKeyText(std::string_view text) {
    for (const std::string_view part : {"PRIVATE KEY", "\n", "\r", "\\n"})
        if (text.find(part) != std::string_view::npos) return true;
    return hasLongBase64Run(text);
}

std::string readPrivateKeyFile(const std::filesystem::path& file,
                               const std::filesystem::path& workingFolder) {
    const std::filesystem::path path = workingFolder / file;
    try {
        auto pem = readFile(path, keyFileLimit);
        if (!pem) throw FileError(path, "cannot be read as a key file", ENOENT);
        return std::move(*pem);
    } catch (const FileError& error) {
        using Kind = CredentialsError::Kind;
        if (looksLikeKeyText(file.string()))
            throw CredentialsError(Kind::keyInsteadOfFileName,
                                   "This looks like the key itself, not like the name of its file.");
        throw CredentialsError(Kind::unreadableKeyFile, error.what(), {path});
    }
}

} // namespace quorvel
