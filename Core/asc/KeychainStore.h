// The small file of credentials.
#pragma once

#include "Platform/files/Home.h"
#include "Platform/json/RawValue.h"

#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace quorvel {

/// Credentials by account name in one JSON file, "credentials.json": each value is the Base64 of the stored
/// text. The file is readable by its owner only and is replaced in one step.
class KeychainStore {
  public:
    enum class AccountKey {
        keyID,
        issuerID,
        privateKeyPEM,
        privateKeyPath,
        vendorNumber,
        anthropicAPIKey,
        anthropicModel,
    };

    /// A credential file that cannot be read or written; the text names the file and never a value.
    class KeychainError : public std::exception {
      public:
        struct IOFailed {
            std::string detail;
            bool operator==(const IOFailed&) const = default;
        };
        struct DataConversionFailed {
            bool operator==(const DataConversionFailed&) const = default;
        };
        using Case = std::variant<IOFailed, DataConversionFailed>;

        explicit KeychainError(Case problem);
        [[nodiscard]] const Case& problem() const { return problem_; }
        [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

      private:
        Case problem_;
        std::string description_;
    };

    explicit KeychainStore(std::filesystem::path file) : file_(std::move(file)) {}
    /// The store in the program's folder under the Application Support of `home`.
    [[nodiscard]] static KeychainStore inHome(const Home& home);

    /// The value of an account; nothing when the file, the account or a readable value is missing.
    /// Throws `KeychainError` when the file exists but cannot be read or is damaged.
    [[nodiscard]] std::optional<std::string> read(std::string_view account) const;

    /// Every readable value by account, all of one moment. Throws like `read`.
    [[nodiscard]] std::map<std::string, std::string> readAll() const;

    /// Stores one value. Throws `KeychainError`; what was stored is untouched then.
    void write(std::string_view account, std::string_view value) const;
    /// Values by account; one without text removes its account.
    using Changes = std::map<std::string, std::optional<std::string>>;
    /// Stores several values in one step: all of them or none. What other processes store meanwhile is kept.
    /// Throws `KeychainError`.
    void write(const Changes& values) const;
    /// Stores what `decide` makes of all that is stored, which no other process changes meanwhile. Throws
    /// `KeychainError`.
    void write(const std::function<Changes(const std::map<std::string, std::string>&)>& decide) const;

    /// Forgets an account. Throws `KeychainError`.
    void remove(std::string_view account) const;
    /// Forgets everything that is stored for a scope; returns whether there was anything. Throws
    /// `KeychainError`.
    bool removeScope(const std::string& scope) const;

    [[nodiscard]] const std::filesystem::path& file() const { return file_; }

  private:
    std::filesystem::path file_;
};

template <>
struct RawValues<KeychainStore::AccountKey> {
    using A = KeychainStore::AccountKey;
    static constexpr std::pair<KeychainStore::AccountKey, std::string_view> values[] = {
        {A::keyID, "asc-key-id"},
        {A::issuerID, "asc-issuer-id"},
        {A::privateKeyPEM, "asc-private-key-pem"},
        {A::privateKeyPath, "asc-private-key-path"},
        {A::vendorNumber, "asc-vendor-number"},
        {A::anthropicAPIKey, "anthropic-api-key"},
        {A::anthropicModel, "anthropic-model"},
    };
};

/// The account name of a scope's own key (scope, full stop, account name), or the global one without a scope.
[[nodiscard]] std::string accountName(KeychainStore::AccountKey key,
                                      const std::optional<std::string>& scope = {});

} // namespace quorvel
