// The App Store Connect API keys.
#pragma once

#include "Quorvel/actions/Target.h"

namespace quorvel {

/// Throws `ApplicationError` for a text that holds anything but digits.
void requireVendorNumber(std::string_view text);

/// Whose key is stored or forgotten: an app's, a workspace's, or the global one.
struct KeyScope {
    std::optional<std::string> app;       // name
    std::optional<std::string> workspace; // name
    QUORVEL_RECORD(KeyScope, app, workspace)
};

struct SetKey {
    static constexpr ActionInfo info{"set_key", "Verify an API key with App Store Connect and store it",
                                     Effect::localFiles};
    struct Request {
        std::optional<std::string> keyID;
        std::optional<std::string> issuerID;
        std::optional<std::string> privateKeyFile;
        std::optional<std::string> privateKeyPEM;
        std::optional<std::string> vendorNumber;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        QUORVEL_RECORD(Request, keyID, issuerID, privateKeyFile, privateKeyPEM, vendorNumber, app, workspace)
        static constexpr JSONMember members[] = {
            {"keyID", "The Key ID; taken from the key file's name when left out."},
            {"issuerID", "The Issuer ID; the stored one when left out."},
            {"privateKeyFile", "The .p8 file; looked for in the customary folders when left out."},
            {"privateKeyPEM", "The text of the .p8 file instead."},
            {"vendorNumber", "The vendor number, for sales reports."},
            {"app", "Store it as this app's own key."},
            {"workspace", "Store it as this workspace's own key."}};
    };
    struct Result {
        std::string keyID;
        std::string issuerID;
        KeyScope scope;
        std::optional<std::string> vendorNumber;
        bool keyIDCameFromFileName = false;
        bool vendorClearedForNewTeam = false;
        std::string credentialsFile;
        QUORVEL_RECORD(Result, keyID, issuerID, scope, vendorNumber, keyIDCameFromFileName,
                       vendorClearedForNewTeam, credentialsFile)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// What a stored key and the customary folders leave to be given for `SetKey`.
struct PrepareKey {
    static constexpr ActionInfo info{"prepare_key", "Tell what is missing to store an API key"};
    using Request = SetKey::Request;
    struct Result {
        std::optional<std::string> privateKeyFile; // that was given or found
        std::optional<std::string> savedKeyID;
        bool needsIssuerID = false;
        bool needsPrivateKey = false;
        bool needsKeyID = false;
        std::vector<std::string> keyFolders; // that were searched
        QUORVEL_RECORD(Result, privateKeyFile, savedKeyID, needsIssuerID, needsPrivateKey, needsKeyID,
                       keyFolders)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Whose key a request would use.
struct KeyRequest {
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    QUORVEL_RECORD(KeyRequest, app, workspace)
    static constexpr JSONMember members[] = {{"app", "The key that requests for this app use."},
                                             {"workspace", "The key of this workspace."}};
};

struct CheckKey {
    static constexpr ActionInfo info{"check_key", "Ask App Store Connect whether it accepts the key"};
    using Request = KeyRequest;
    struct Result {
        std::string keyID;
        std::string issuerID;
        std::string source;
        bool accepted = true;
        std::optional<std::int64_t> requestsLeft; // this hour
        std::optional<std::int64_t> requestLimit;
        QUORVEL_RECORD(Result, keyID, issuerID, source, accepted, requestsLeft, requestLimit)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct KeyStatus {
    static constexpr ActionInfo info{
        "key_status", "Show which key is used and where it comes from, without asking App Store Connect"};
    using Request = KeyRequest;
    struct Result {
        bool present = false;
        std::string keyID;
        std::string issuerID;
        std::string keySource;
        std::string issuerSource;
        std::optional<std::string> privateKeyFile;
        std::optional<std::string> vendorNumber;
        std::string credentialsFile;
        std::string endpoint;
        QUORVEL_RECORD(Result, present, keyID, issuerID, keySource, issuerSource, privateKeyFile,
                       vendorNumber, credentialsFile, endpoint)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// A stored key that may be forgotten.
struct StoredKey {
    KeyScope scope;
    std::optional<std::string> keyID; // nothing: none is stored there
    QUORVEL_RECORD(StoredKey, scope, keyID)
};

struct PlanKeyRemoval {
    static constexpr ActionInfo info{"plan_key_removal", "Show which stored key would be forgotten"};
    using Request = KeyRequest;
    using Result = StoredKey;
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ForgetKey {
    static constexpr ActionInfo info{"forget_key", "Forget a stored key", Effect::deletion};
    using Request = KeyRequest;
    struct Result {
        StoredKey forgotten;
        // The key that requests use from now on.
        std::optional<std::string> keyID;
        std::optional<std::string> keySource;
        QUORVEL_RECORD(Result, forgotten, keyID, keySource)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
