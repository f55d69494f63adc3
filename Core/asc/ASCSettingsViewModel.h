// Entering, checking and saving an App Store Connect API key.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCError.h"
#include "Core/asc/KeychainStore.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/log/Log.h"
#include "Platform/notify/NotificationCenter.h"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Posted after a key was saved or forgotten; clients and token providers are then built anew.
inline constexpr std::string_view ascCredentialsChangedNotification =
    "com.halvorne.brevant.ascCredentialsChanged";

/// The message for a Key ID or an Issuer ID that is not of its form; nothing when it is.
[[nodiscard]] std::optional<std::string> problemOfKeyID(std::string_view keyID);
[[nodiscard]] std::optional<std::string> problemOfIssuerID(std::string_view issuerID);

/// The edit state of a key: fields, what was last saved, and the message to show. One thread at a time.
class ASCSettingsViewModel {
  public:
    struct Parts {
        KeychainStore keychain;
        std::shared_ptr<UserDefaults> userDefaults;
        std::shared_ptr<NotificationCenter> notifications;
        std::function<std::shared_ptr<HTTPClient>()> httpFactory; // for the verifying call
        std::string baseURL;
        Clock clock = systemClock();
        std::optional<std::string> scope; // of a workspace's or an app's own key; the global key when empty
        std::chrono::milliseconds clockCorrection{0};
    };

    enum class SaveResult {
        saved,
        refusedByForm,  // a field is missing or not of its form; nothing was sent
        refusedByApple, // the key was not accepted
        failed,         // App Store Connect did not answer, or the file could not be written
    };

    /// Starts with the stored values in its fields.
    explicit ASCSettingsViewModel(Parts parts);

    std::string keyID;
    std::string issuerID;
    std::string vendorNumber;

    /// Reads a picked key file, and takes the Key ID from its name unless one was typed. Returns false when
    /// it cannot be read; `status()` says why.
    bool pickPrivateKey(const std::filesystem::path& file);
    /// Takes the PEM text itself.
    void setPrivateKeyPEM(std::string pem);
    /// Takes a vendor number that is stored even where it is the one before and the team is another.
    void giveVendorNumber(std::string number);

    /// Checks the form, verifies the key with one request for a single app, and only then stores everything
    /// in one step and posts `ascCredentialsChangedNotification`.
    SaveResult save();
    /// Forgets the key of this scope and its vendor number. Throws `KeychainStore::KeychainError`.
    void forget();

    [[nodiscard]] const std::string& status() const { return status_; }
    /// The error of the last verification, when there was one.
    [[nodiscard]] const std::optional<ASCError>& verificationError() const { return verificationError_; }
    [[nodiscard]] const std::string& privateKeyFileName() const { return privateKeyFileName_; }
    [[nodiscard]] bool hasPrivateKey() const { return !privateKeyPEM_.empty(); }
    [[nodiscard]] const std::string& savedKeyID() const { return savedKeyID_; }
    [[nodiscard]] const std::string& savedIssuerID() const { return savedIssuerID_; }
    [[nodiscard]] bool keyIDCameFromFileName() const {
        return keyIDCameFromFileName_ && keyID == keyIDFromFile_;
    }
    /// Whether a stored vendor number was dropped because the new key belongs to another team.
    [[nodiscard]] bool vendorClearedForNewTeam() const { return vendorClearedForNewTeam_; }
    /// What the verifying call found to add to this machine's clock.
    [[nodiscard]] std::chrono::milliseconds clockCorrection() const { return parts_.clockCorrection; }

    static constexpr std::string_view fileNameKey = "asc.privateKey.fileName";

  private:
    [[nodiscard]] std::optional<std::string> problemOfForm() const;
    void verify();
    void store();
    [[nodiscard]] std::string vendorNumberToStore(std::string_view issuerBefore, std::string vendorBefore);
    void remember(const std::function<void(UserDefaults&)>& change) const;
    [[nodiscard]] std::string account(KeychainStore::AccountKey key) const {
        return accountName(key, parts_.scope);
    }
    [[nodiscard]] std::map<std::string, std::string> readStored() const;
    SaveResult refuse(SaveResult result, std::string_view reason);

    Parts parts_;
    std::string status_;
    std::string privateKeyPEM_;
    std::string privateKeyFileName_;
    std::string privateKeyPath_;
    std::string savedKeyID_;
    std::string savedIssuerID_;
    std::string savedPrivateKeyPEM_;
    std::string savedVendorNumber_;
    std::string keyIDFromFile_;
    bool keyIDCameFromFileName_ = false;
    bool vendorWasGiven_ = false;
    bool vendorClearedForNewTeam_ = false;
    std::optional<ASCError> verificationError_;
    Logger logger_{"ASCSettingsViewModel"};
};

} // namespace quorvel
