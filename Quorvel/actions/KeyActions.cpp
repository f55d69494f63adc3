#include "Quorvel/actions/KeyActions.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/ASCSettingsViewModel.h"
#include "Core/asc/KeyFiles.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace quorvel {

namespace {

using Key = KeychainStore::AccountKey;
using SaveResult = ASCSettingsViewModel::SaveResult;

struct ScopedKey {
    std::optional<std::string> id; // of the scope; the global key when empty
    KeyScope scope;
};

template <typename Request>
ScopedKey scopeOf(Application& application, const Request& request) {
    const AppDirectory directory(application, {{}, request.workspace});
    ScopedKey found;
    if (request.app) {
        const ManagedApp app = directory.require(*request.app);
        found = {app.id, {.app = app.displayName, .workspace = std::nullopt}};
    } else if (request.workspace) {
        const ManagedWorkspace workspace = directory.requireWorkspace(*request.workspace);
        found = {workspace.id, {.app = std::nullopt, .workspace = workspace.name}};
    }
    return found;
}

// Whose key is used: also one that is not the scope's own.
KeyOwner ownerInUse(Application& application, const KeyRequest& request) {
    const AppDirectory directory(application, {{}, request.workspace});
    return request.app ? ownerOf(directory.require(*request.app)) : directory.keyOwner();
}

ASCSettingsViewModel modelFor(Application& application, const ScopedKey& scoped) {
    // A damaged store is told before anything is asked or sent.
    (void)application.keychain().read(accountName(Key::keyID));
    return ASCSettingsViewModel({
        .keychain = application.keychain(),
        .userDefaults = application.userDefaults(),
        .notifications = application.notifications(),
        .httpFactory = [&application] { return application.http(); },
        .baseURL = application.endpoints().appStoreConnectOrDefault(),
        .clock = application.clock(),
        .scope = scoped.id,
        .clockCorrection = application.clockCorrection(),
    });
}

std::optional<std::string> keyIDInName(const std::optional<std::string>& file) {
    return keyIDFromFileName(std::filesystem::path(file.value_or("")).filename().string());
}

void fillIn(Application& application, const SetKey::Request& request, ASCSettingsViewModel& model) {
    if (request.keyID) model.keyID = *request.keyID;
    if (request.issuerID) model.issuerID = *request.issuerID;
    if (request.privateKeyPEM)
        model.setPrivateKeyPEM(*request.privateKeyPEM);
    else if (request.privateKeyFile) {
        if (looksLikeKeyText(*request.privateKeyFile))
            (void)readPrivateKeyFile(*request.privateKeyFile, application.keyPlaces().workingFolder);
        if (!model.pickPrivateKey(application.absolutePath(*request.privateKeyFile)))
            throw ApplicationError(FailureKind::unusableKey, model.status());
    }
    // A Key ID that was named goes before the one in the file's name.
    if (request.keyID) model.keyID = *request.keyID;
    if (!request.vendorNumber) return;
    requireVendorNumber(*request.vendorNumber);
    model.giveVendorNumber(*request.vendorNumber);
}

FailureKind kindOf(SaveResult result, const ASCSettingsViewModel& model) {
    if (model.verificationError()) return failureOf(*model.verificationError()).kind;
    return result == SaveResult::refusedByForm ? FailureKind::badRequest : FailureKind::failed;
}

} // namespace

void requireVendorNumber(std::string_view text) {
    if (!std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; }))
        throw ApplicationError(
            FailureKind::badRequest, fmt::format("{} is no vendor number", quotedWord(text)),
            "Vendor numbers have digits only; they stand in Payments and Financial Reports.");
}

PrepareKey::Result PrepareKey::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    const ASCSettingsViewModel model = modelFor(application, scopeOf(application, request));
    Result result{.privateKeyFile = request.privateKeyFile};
    if (!model.savedKeyID().empty()) result.savedKeyID = model.savedKeyID();
    const auto hasKey = [&] { return result.privateKeyFile || request.privateKeyPEM; };
    const bool begins = model.savedKeyID().empty();
    const KeyPlaces places = application.keyPlaces();
    if (!hasKey() && (request.keyID || begins))
        if (const auto file =
                findKeyFile(request.keyID.value_or(""), keyFolders(places.home, places.workingFolder)))
            result.privateKeyFile = file->string();
    const bool isSavedKey = !begins && (!request.keyID || *request.keyID == model.savedKeyID());
    result.needsPrivateKey = !hasKey() && !isSavedKey;
    result.needsIssuerID = !request.issuerID && model.savedIssuerID().empty();
    result.needsKeyID = !request.keyID && !keyIDInName(result.privateKeyFile) && (hasKey() || begins);
    for (const auto& folder : keyFolders(places.home, places.workingFolder))
        if (std::ranges::find(result.keyFolders, folder.string()) == result.keyFolders.end())
            result.keyFolders.push_back(folder.string());
    // A file that holds no key is refused before the user is asked for the rest.
    if ((result.needsIssuerID || result.needsKeyID) && result.privateKeyFile) try {
            (void)makeAuth({"any", "any", readPrivateKeyFile(*result.privateKeyFile, places.workingFolder)});
        } catch (const ASCError& error) {
            throw ApplicationError(FailureKind::unusableKey, error.description());
        }
    return result;
}

SetKey::Result SetKey::perform(Application& application, const Request& request,
                               const ActionProgress& progress) {
    const ScopedKey scoped = scopeOf(application, request);
    ASCSettingsViewModel model = modelFor(application, scoped);
    fillIn(application, request, model);
    progress.step({"Verifying the key with App Store Connect…", {}, 0});
    const SaveResult saved = model.save();
    application.rememberClockCorrection(model.clockCorrection());
    if (saved != SaveResult::saved) throw ApplicationError(kindOf(saved, model), model.status());
    return {.keyID = model.savedKeyID(),
            .issuerID = model.savedIssuerID(),
            .scope = scoped.scope,
            .vendorNumber = model.vendorNumber.empty() ? std::nullopt : std::optional(model.vendorNumber),
            .keyIDCameFromFileName = model.keyIDCameFromFileName(),
            .vendorClearedForNewTeam = model.vendorClearedForNewTeam(),
            .credentialsFile = application.keychain().file().string()};
}

CheckKey::Result CheckKey::perform(Application& application, const Request& request, const ActionProgress&) {
    const KeyOwner owner = ownerInUse(application, request);
    (void)application.client(owner)->listApps({}, {1});
    const Credentials used = application.credentials(owner);
    const auto limit = application.rateLimit(owner);
    return {.keyID = used.texts.keyID,
            .issuerID = used.texts.issuerID,
            .source = used.keySource,
            .accepted = true,
            .requestsLeft = limit ? limit->hourRemaining : std::nullopt,
            .requestLimit = limit ? limit->hourLimit : std::nullopt};
}

KeyStatus::Result KeyStatus::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const KeychainStore keychain = application.keychain();
    const KeyOwner owner = ownerInUse(application, request);
    Result result{.credentialsFile = keychain.file().string(),
                  .endpoint = application.endpoints().appStoreConnectOrDefault()};
    result.vendorNumber = application.vendorNumber(owner);
    const Credentials used = application.credentials(owner);
    (void)makeAuth(used.texts);
    result.present = true;
    result.keyID = used.texts.keyID;
    result.issuerID = used.texts.issuerID;
    result.keySource = used.keySource;
    result.issuerSource = used.issuerSource;
    if (!used.privateKeyFile.empty()) result.privateKeyFile = used.privateKeyFile;
    return result;
}

PlanKeyRemoval::Result PlanKeyRemoval::perform(Application& application, const Request& request,
                                               const ActionProgress&) {
    const ScopedKey scoped = scopeOf(application, request);
    const std::string keyID = modelFor(application, scoped).savedKeyID();
    return {scoped.scope, keyID.empty() ? std::nullopt : std::optional(keyID)};
}

ForgetKey::Result ForgetKey::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const ScopedKey scoped = scopeOf(application, request);
    ASCSettingsViewModel model = modelFor(application, scoped);
    Result result{.forgotten = {scoped.scope, std::nullopt}};
    if (!model.savedKeyID().empty()) {
        result.forgotten.keyID = model.savedKeyID();
        model.forget();
    }
    try {
        const Credentials used = application.credentials(ownerInUse(application, request));
        result.keyID = used.texts.keyID;
        result.keySource = used.keySource;
    } catch (const ASCError&) {         // no key is left
    } catch (const ApplicationError&) { // the key that is left cannot be used
    } catch (const CredentialsError&) { // the key that is left cannot be read
    }
    return result;
}

} // namespace quorvel
