#include "Core/asc/KeychainStore.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

using Accounts = std::map<std::string, std::string>;
using KeychainError = KeychainStore::KeychainError;

std::string textOf(const KeychainError::Case& problem) {
    if (const auto* failed = std::get_if<KeychainError::IOFailed>(&problem))
        return "Credential I/O failed: " + failed->detail;
    return "Failed to convert string to UTF-8 data";
}

Accounts load(const std::filesystem::path& file) {
    try {
        const auto text = readFile(file);
        return text ? decodeJSON<Accounts>(*text) : Accounts{};
    } catch (const FileError& error) {
        throw KeychainError(KeychainError::IOFailed{error.what()});
    } catch (const JSONError& error) {
        // The path within the document is an account name; the text behind it could be a secret and stays
        // out.
        throw KeychainError(KeychainError::IOFailed{fmt::format(
            "{} is damaged (it is not a JSON object of texts, at {}). Nothing was changed; mend it, or "
            "move it away and store the key again.",
            escapeControls(file.string()), escapeControls(error.path()))});
    }
}

// Replacing a file asks for no leave of the file itself, so what its owner protected has to be looked at.
void requireWritable(const std::filesystem::path& file) {
    std::error_code missing;
    const auto status = std::filesystem::status(file, missing);
    const bool exists = !missing && std::filesystem::exists(status);
    if (exists &&
        (status.permissions() & std::filesystem::perms::owner_write) == std::filesystem::perms::none)
        throw KeychainError(KeychainError::IOFailed{fmt::format(
            "{} is read-only. Nothing was changed; make it writable (chmod u+w) to store or forget a key.",
            escapeControls(file.string()))});
}

void save(const std::filesystem::path& file, const Accounts& accounts) {
    requireWritable(file);
    try {
        createFolders(file.parent_path(), FolderMode::secret);
        writeFileAtomically(file, encodeJSON(accounts, JSONFormat::stateFile()), FileMode::secret);
    } catch (const FileError& error) {
        throw KeychainError(KeychainError::IOFailed{error.what()});
    }
}

} // namespace

KeychainStore::KeychainError::KeychainError(Case problem)
    : problem_(std::move(problem)), description_(textOf(problem_)) {}

KeychainStore KeychainStore::inHome(const Home& home) {
    return KeychainStore(home.applicationSupport() / "Brevant" / "credentials.json");
}

std::optional<std::string> KeychainStore::read(std::string_view account) const {
    const Accounts accounts = load(file_);
    const auto found = accounts.find(std::string(account));
    if (found == accounts.end()) return std::nullopt;
    auto value = base64Decode(found->second);
    if (!value || !isValidUTF8(*value)) return std::nullopt;
    return value;
}

void KeychainStore::write(std::string_view account, std::string_view value) const {
    write({{std::string(account), std::string(value)}});
}

void KeychainStore::write(const std::map<std::string, std::optional<std::string>>& values) const {
    Accounts accounts = load(file_);
    for (const auto& [account, value] : values) {
        if (!value) {
            accounts.erase(account);
            continue;
        }
        if (!isValidUTF8(*value)) throw KeychainError(KeychainError::DataConversionFailed{});
        accounts[account] = base64Encode(*value);
    }
    save(file_, accounts);
}

void KeychainStore::remove(std::string_view account) const {
    Accounts accounts = load(file_);
    if (accounts.erase(std::string(account)) > 0) save(file_, accounts);
}

std::string accountName(KeychainStore::AccountKey key, const std::optional<std::string>& scope) {
    const std::string name(rawValue(key));
    return scope && !scope->empty() ? *scope + "." + name : name;
}

} // namespace quorvel
