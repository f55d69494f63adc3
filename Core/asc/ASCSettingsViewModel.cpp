#include "Core/asc/ASCSettingsViewModel.h"

#include "Core/asc/ASCCredentialsLoader.h"
#include "Core/asc/ASCErrorTexts.h"
#include "Core/asc/KeyFiles.h"
#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Key = KeychainStore::AccountKey;
constexpr std::size_t keyIDLength = 10;

bool isLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

std::string textIn(const std::map<std::string, std::string>& values, const std::string& account) {
    const auto found = values.find(account);
    return found == values.end() ? std::string() : found->second;
}

} // namespace

std::optional<std::string> problemOfKeyID(std::string_view keyID) {
    if (keyID.find('-') != std::string_view::npos && keyID.size() >= 21)
        return "That looks like the Issuer ID. The Key ID is the 10-character code in the key's row.";
    if (keyID.size() != keyIDLength || !std::ranges::all_of(keyID, isLetterOrDigit))
        return "Key IDs are 10 letters and digits, like 2X9AB7C4DE.";
    return std::nullopt;
}

std::optional<std::string> problemOfIssuerID(std::string_view issuerID) {
    if (isUUID(issuerID)) return std::nullopt;
    if (graphemeCount(issuerID) == keyIDLength)
        return "That looks like the Key ID. The Issuer ID is the long one above the table of keys.";
    return "Issuer IDs look like 57246542-96fe-1a63-e053-0824d011072a.";
}

ASCSettingsViewModel::ASCSettingsViewModel(Parts parts) : parts_(std::move(parts)) {
    const auto all = readStored();
    const auto stored = [&](Key key) { return textIn(all, account(key)); };
    savedKeyID_ = keyID = stored(Key::keyID);
    savedIssuerID_ = issuerID = stored(Key::issuerID);
    savedPrivateKeyPEM_ = privateKeyPEM_ = stored(Key::privateKeyPEM);
    savedVendorNumber_ = vendorNumber = stored(Key::vendorNumber);
    privateKeyPath_ = stored(Key::privateKeyPath);
    if (parts_.userDefaults) privateKeyFileName_ = parts_.userDefaults->string(fileNameKey).value_or("");
}

std::map<std::string, std::string> ASCSettingsViewModel::readStored() const {
    try {
        return parts_.keychain.readAll();
    } catch (const KeychainStore::KeychainError& error) {
        logger_.warning(error.what());
        return {};
    }
}

bool ASCSettingsViewModel::pickPrivateKey(const std::filesystem::path& file) {
    try {
        setPrivateKeyPEM(readPrivateKeyFile(file));
    } catch (const CredentialsError& error) {
        const std::string name = error.files().empty() ? "(name not shown)" : error.files().front().string();
        logger_.error(fmt::format("Failed to read .p8 at {}: {}", escapeControls(name), error.what()));
        status_ = fmt::format("Could not read .p8 file: {}", error.what());
        return false;
    }
    privateKeyFileName_ = file.filename().string();
    privateKeyPath_ = std::filesystem::absolute(file).string();
    const bool typed = !keyID.empty() && keyID != savedKeyID_ && !keyIDCameFromFileName();
    if (const auto found = keyIDFromFileName(privateKeyFileName_); found && !typed) {
        keyID = keyIDFromFile_ = *found;
        keyIDCameFromFileName_ = true;
    }
    return true;
}

void ASCSettingsViewModel::setPrivateKeyPEM(std::string pem) {
    privateKeyPEM_ = std::move(pem);
    privateKeyFileName_.clear();
    privateKeyPath_.clear();
}

void ASCSettingsViewModel::giveVendorNumber(std::string number) {
    vendorNumber = std::move(number);
    vendorWasGiven_ = true;
}

std::optional<std::string> ASCSettingsViewModel::problemOfForm() const {
    if (isBlank(keyID) || isBlank(issuerID) || isBlank(privateKeyPEM_))
        return "Fill in Key ID, Issuer ID, and select your .p8 file.";
    if (auto problem = problemOfKeyID(trim(keyID))) return problem;
    return problemOfIssuerID(trim(issuerID));
}

ASCSettingsViewModel::SaveResult ASCSettingsViewModel::refuse(SaveResult result, std::string_view reason) {
    status_ = reason;
    if (!savedKeyID_.empty())
        status_ += fmt::format(" Nothing was changed — Quorvel is still using key {}.", savedKeyID_);
    logger_.error(fmt::format("Validation failed: {}", reason));
    return result;
}

ASCSettingsViewModel::SaveResult ASCSettingsViewModel::save() {
    verificationError_.reset();
    if (const auto problem = problemOfForm()) {
        status_ = *problem;
        return SaveResult::refusedByForm;
    }
    try {
        verify();
    } catch (const ASCError& error) {
        verificationError_ = error;
        if (error.httpStatus() == 401) return refuse(SaveResult::refusedByApple, keyNotAcceptedText);
        if (error.as<ASCError::InvalidPrivateKey>()) {
            logger_.error(fmt::format("Failed to load .p8: {}", error.description()));
            return refuse(SaveResult::refusedByForm, error.description());
        }
        const bool refused = error.httpStatus() == 403;
        return refuse(refused ? SaveResult::refusedByApple : SaveResult::failed, error.description());
    }
    try {
        store();
    } catch (const std::exception& error) {
        return refuse(SaveResult::failed, error.what());
    }
    status_ = "Saved.";
    if (parts_.notifications)
        parts_.notifications->post({std::string(ascCredentialsChangedNotification), {}});
    return SaveResult::saved;
}

void ASCSettingsViewModel::verify() {
    const auto tokens =
        std::make_shared<ASCTokenProvider>(makeAuth({keyID, issuerID, privateKeyPEM_}), parts_.clock);
    tokens->setClockCorrection(parts_.clockCorrection);
    const ASCClient client({.baseURL = parts_.baseURL, .http = parts_.httpFactory(), .tokens = tokens});
    const auto verifyOnce = [&] {
        (void)client.listApps({}, {1});
        parts_.clockCorrection = tokens->clockCorrection();
    };
    try {
        verifyOnce();
    } catch (const ASCError& error) {
        // A wrong clock makes a good key look refused: try once more with the clock that the answer told.
        const bool clockWasOff =
            std::chrono::abs(tokens->clockCorrection() - parts_.clockCorrection) >= std::chrono::seconds(2);
        if (error.httpStatus() != 401 || !clockWasOff) throw;
        verifyOnce();
    }
}

void ASCSettingsViewModel::store() {
    keyID = trim(keyID);
    issuerID = trim(issuerID);
    vendorNumber = trim(vendorNumber);
    const auto orNothing = [](const std::string& text) {
        return text.empty() ? std::nullopt : std::optional<std::string>(text);
    };
    // Another process may have stored a key since this one read its own.
    parts_.keychain.write([&](const std::map<std::string, std::string>& stored) {
        vendorNumber = vendorNumberToStore(textIn(stored, account(Key::issuerID)),
                                           textIn(stored, account(Key::vendorNumber)));
        return KeychainStore::Changes{{account(Key::keyID), keyID},
                                      {account(Key::issuerID), issuerID},
                                      {account(Key::privateKeyPEM), privateKeyPEM_},
                                      {account(Key::privateKeyPath), orNothing(privateKeyPath_)},
                                      {account(Key::vendorNumber), orNothing(vendorNumber)}};
    });
    savedKeyID_ = keyID;
    savedIssuerID_ = issuerID;
    savedPrivateKeyPEM_ = privateKeyPEM_;
    savedVendorNumber_ = vendorNumber;
    vendorWasGiven_ = false;
    remember([&](UserDefaults& defaults) { defaults.set(fileNameKey, privateKeyFileName_); });
}

std::string ASCSettingsViewModel::vendorNumberToStore(std::string_view issuerBefore,
                                                      std::string vendorBefore) {
    vendorClearedForNewTeam_ = false;
    if (vendorWasGiven_ || vendorNumber != savedVendorNumber_) return vendorNumber;
    const bool isNewTeam = !issuerBefore.empty() && asciiLowercase(issuerID) != asciiLowercase(issuerBefore);
    if (!isNewTeam) return vendorBefore;
    vendorClearedForNewTeam_ = !vendorBefore.empty();
    return {};
}

// The file's name is only shown: the key is stored or forgotten whether or not it can be kept.
void ASCSettingsViewModel::remember(const std::function<void(UserDefaults&)>& change) const {
    if (!parts_.userDefaults || parts_.scope) return;
    try {
        change(*parts_.userDefaults);
    } catch (const std::exception& error) {
        logger_.warning(fmt::format("The name of the key's file was not kept: {}", error.what()));
    }
}

void ASCSettingsViewModel::forget() {
    parts_.keychain.write({{account(Key::keyID), std::nullopt},
                           {account(Key::issuerID), std::nullopt},
                           {account(Key::privateKeyPEM), std::nullopt},
                           {account(Key::privateKeyPath), std::nullopt},
                           {account(Key::vendorNumber), std::nullopt}});
    remember([](UserDefaults& defaults) { defaults.remove(fileNameKey); });
    if (parts_.notifications)
        parts_.notifications->post({std::string(ascCredentialsChangedNotification), {}});
    *this = ASCSettingsViewModel(std::move(parts_));
}

} // namespace quorvel
