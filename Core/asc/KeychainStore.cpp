#include "Core/asc/KeychainStore.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/FileLock.h"
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
        // Name the account only; the text behind it could be a secret.
        throw KeychainError(KeychainError::IOFailed{
            fmt::format("{} is damaged (it is not a JSON object of texts, at {}). "
                        "Nothing was changed; repair it, or move it away and store the key again.",
                        escapeControls(file.string()), escapeControls(error.path()))});
    }
}

std::map<std::string, std::string> readable(const Accounts& accounts) {
    std::map<std::string, std::string> values;
    for (const auto& [account, encoded] : accounts)
        if (auto value = base64Decode(encoded); value && isValidUTF8(*value))
            values.emplace(account, std::move(*value));
    return values;
}

// Replacing a file does not need write permission for it, so check that its owner did not protect it.
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

// Runs `change` on what is stored and saves it when it returns true. The lock keeps what others store
// meanwhile.
template <typename Change>
void update(const std::filesystem::path& file, const Change& change) {
    try {
        createFolders(file.parent_path(), FolderMode::secret);
        const FileLock lock(file.string() + ".lock");
        Accounts accounts = load(file);
        if (!change(accounts)) return;
        requireWritable(file);
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
    auto values = readAll();
    const auto found = values.find(std::string(account));
    return found == values.end() ? std::nullopt : std::optional(std::move(found->second));
}

std::map<std::string, std::string> KeychainStore::readAll() const {
    return readable(load(file_));
}

void KeychainStore::write(std::string_view account, std::string_view value) const {
    write({{std::string(account), std::string(value)}});
}

void KeychainStore::write(const Changes& values) const {
    write([&](const auto&) { return values; });
}

void KeychainStore::write(
    const std::function<Changes(const std::map<std::string, std::string>&)>& decide) const {
    update(file_, [&](Accounts& accounts) {
        for (const auto& [account, value] : decide(readable(accounts))) {
            if (value && !isValidUTF8(*value)) throw KeychainError(KeychainError::DataConversionFailed{});
            if (value)
                accounts[account] = base64Encode(*value);
            else
                accounts.erase(account);
        }
        return true;
    });
}

void KeychainStore::remove(std::string_view account) const {
    if (std::filesystem::exists(file_))
        update(file_, [&](Accounts& accounts) { return accounts.erase(std::string(account)) > 0; });
}

bool KeychainStore::removeScope(const std::string& scope) const {
    if (scope.empty() || !std::filesystem::exists(file_)) return false;
    bool hadAny = false;
    update(file_, [&](Accounts& accounts) {
        for (const auto& [key, name] : RawValues<AccountKey>::values)
            hadAny = accounts.erase(accountName(key, scope)) > 0 || hadAny;
        return hadAny;
    });
    return hadAny;
}

std::string accountName(KeychainStore::AccountKey key, const std::optional<std::string>& scope) {
    const std::string name(rawValue(key));
    return scope && !scope->empty() ? *scope + "." + name : name;
}

} // namespace quorvel
