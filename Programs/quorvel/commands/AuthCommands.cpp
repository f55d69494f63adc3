#include "Core/asc/ASCSettingsViewModel.h"
#include "Core/asc/HTTPClient.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppLookup.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Workspaces.h"
#include "Programs/quorvel/commands/Groups.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

using Key = KeychainStore::AccountKey;
using SaveResult = ASCSettingsViewModel::SaveResult;

// Whose key is stored or forgotten: that of --app or --workspace, else the global one.
std::optional<std::string> scopeOf(Invocation& invocation) {
    if (invocation.global.app) return requireRecordedApp(invocation, *invocation.global.app).id;
    if (invocation.global.workspace) return requireWorkspace(invocation, *invocation.global.workspace).id;
    return std::nullopt;
}

// Whose key `scopeOf` means, in words.
std::string nameOfScope(Invocation& invocation) {
    if (invocation.global.app)
        return fmt::format("the key of the app \"{}\"",
                           requireRecordedApp(invocation, *invocation.global.app).displayName);
    if (invocation.global.workspace)
        return fmt::format("the key of the workspace \"{}\"",
                           requireWorkspace(invocation, *invocation.global.workspace).name);
    return "the global key";
}

// Whose key is used: also one that is not the scope's own.
KeyOwner ownerInUse(Invocation& invocation) {
    if (invocation.global.app) return ownerOf(requireRecordedApp(invocation, *invocation.global.app));
    return currentKeyOwner(invocation);
}

ASCSettingsViewModel makeModel(Invocation& invocation) {
    Composition& composition = invocation.composition;
    return ASCSettingsViewModel({
        .keychain = composition.keychain(),
        .userDefaults = composition.userDefaults(),
        .notifications = composition.notifications(),
        .httpFactory = [&] { return std::make_shared<URLSessionHTTPClient>(composition.session()); },
        .baseURL = composition.endpoints().appStoreConnectOrDefault(),
        .clock = composition.clock(),
        .scope = scopeOf(invocation),
        .clockCorrection = composition.clockCorrection(),
    });
}

// What was given, of the first source that says anything of a key; then what the terminal answers.
CredentialSource entered(Invocation& invocation) {
    CredentialSource result;
    for (const CredentialSource& source : givenCredentials(invocation.global, invocation.surroundings)) {
        const auto take = [](std::string& into, const std::string& from) {
            if (into.empty()) into = from;
        };
        const bool keyIsKnown = !result.privateKeyFile.empty() || !result.privateKeyPEM.empty();
        take(result.issuerID, source.issuerID);
        if (keyIsKnown) continue;
        take(result.keyID, source.keyID);
        result.privateKeyFile = source.privateKeyFile;
        result.privateKeyPEM = source.privateKeyFile.empty() ? source.privateKeyPEM : "";
    }
    return result;
}

void askForMissing(Invocation& invocation, const ASCSettingsViewModel& model, CredentialSource& given) {
    Output& output = invocation.output;
    const bool begins = model.savedKeyID().empty();
    const auto ask = [&](std::string& into, std::string_view question) {
        if (into.empty()) into = trim(output.ask(question).value_or(""));
    };
    if (begins) ask(given.issuerID, "Issuer ID (the long one above the table of keys):");
    if (given.privateKeyFile.empty() && given.privateKeyPEM.empty() && (begins || !given.keyID.empty()))
        ask(given.privateKeyFile, "File of the private key (AuthKey_….p8):");
    const bool named =
        keyIDFromFileName(std::filesystem::path(given.privateKeyFile).filename().string()).has_value();
    if (begins && !named) ask(given.keyID, "Key ID (10 letters and digits):");
}

void requireKeyFile(const std::string& file, const Surroundings& surroundings) {
    if (file.empty() || file == "-") return;
    try {
        (void)makeAuth({"any", "any", readKeyFile(file, surroundings)});
    } catch (const ASCError& error) {
        throw CommandError(ExitStatus::noCredentials, error.description());
    }
}

void refuseMissing(const ASCSettingsViewModel& model, const CredentialSource& given,
                   const std::vector<std::filesystem::path>& folders, const Surroundings& surroundings) {
    std::vector<std::string_view> missing;
    const bool hasKey = !given.privateKeyFile.empty() || !given.privateKeyPEM.empty();
    const bool sameKey =
        !model.savedKeyID().empty() && (given.keyID.empty() || given.keyID == model.savedKeyID());
    if (!hasKey && !sameKey) missing.push_back("--p8 FILE");
    if (given.issuerID.empty() && model.savedIssuerID().empty()) missing.push_back("--issuer-id ID");
    const std::string fileName = std::filesystem::path(given.privateKeyFile).filename().string();
    if (given.keyID.empty() && !keyIDFromFileName(fileName) && (hasKey || model.savedKeyID().empty()))
        missing.push_back("--key-id ID");
    if (missing.empty()) return;
    requireKeyFile(given.privateKeyFile, surroundings); // no Key ID helps a file that is no key
    std::vector<std::string> places;
    for (const auto& folder : folders)
        if (std::ranges::find(places, folder.string()) == places.end()) places.push_back(folder.string());
    throw UsageError(
        fmt::format("\"auth set\" needs {}", fmt::join(missing, " and ")),
        fmt::format("A key file named AuthKey_<Key ID>.p8 is found in {} too.", fmt::join(places, ", ")));
}

void fillIn(Invocation& invocation, ASCSettingsViewModel& model) {
    CredentialSource given = entered(invocation);
    const auto folders = keyFolders(invocation.composition.home(), invocation.surroundings.workingFolder);
    const bool wantsKey = !given.keyID.empty() || model.savedKeyID().empty();
    if (given.privateKeyFile.empty() && given.privateKeyPEM.empty() && wantsKey)
        if (const auto file = findKeyFile(given.keyID, folders)) given.privateKeyFile = file->string();
    if (invocation.output.canAsk()) askForMissing(invocation, model, given);
    refuseMissing(model, given, folders, invocation.surroundings);

    if (!given.keyID.empty()) model.keyID = given.keyID;
    if (!given.issuerID.empty()) model.issuerID = given.issuerID;
    if (given.privateKeyFile == "-" || looksLikeKeyText(given.privateKeyFile))
        given.privateKeyPEM = readKeyFile(given.privateKeyFile, invocation.surroundings);
    else if (!given.privateKeyFile.empty() &&
             !model.pickPrivateKey(invocation.surroundings.workingFolder / given.privateKeyFile))
        throw CommandError(ExitStatus::noCredentials, model.status());
    if (!given.privateKeyPEM.empty()) model.setPrivateKeyPEM(given.privateKeyPEM);
    // A Key ID that was named stands above the one in the file's name.
    if (!given.keyID.empty()) model.keyID = given.keyID;
    if (const auto vendorNumber = invocation.arguments.value("--vendor-number")) {
        if (!std::ranges::all_of(*vendorNumber, [](char digit) { return digit >= '0' && digit <= '9'; }))
            throw UsageError(
                fmt::format("{} is no vendor number", quotedWord(*vendorNumber)),
                "Vendor numbers have digits only; they stand in Payments and Financial Reports.");
        model.vendorNumber = *vendorNumber;
    }
}

ExitStatus statusOf(SaveResult result, const ASCSettingsViewModel& model) {
    if (model.verificationError()) return exitStatusOf(*model.verificationError());
    return result == SaveResult::refusedByForm ? ExitStatus::usage : ExitStatus::failed;
}

struct StoredKeyRecord {
    std::string keyID;
    std::string issuerID;
    std::optional<std::string> vendorNumber;
    bool vendorClearedForNewTeam = false;
    std::string credentialsFile;
    QUORVEL_RECORD(StoredKeyRecord, keyID, issuerID, vendorNumber, vendorClearedForNewTeam, credentialsFile)
};

ExitStatus setKey(Invocation& invocation) {
    Output& output = invocation.output;
    // A damaged store is said before anything is asked or sent.
    (void)invocation.composition.keychain().read(accountName(Key::keyID));
    ASCSettingsViewModel model = makeModel(invocation);
    fillIn(invocation, model);
    output.progress("Verifying the key with App Store Connect…");
    const SaveResult result = model.save();
    invocation.composition.rememberClockCorrection(model.clockCorrection());
    if (result != SaveResult::saved) throw CommandError(statusOf(result, model), model.status());

    const std::string file = invocation.composition.keychain().file().string();
    output.document(
        StoredKeyRecord{model.savedKeyID(), model.savedIssuerID(),
                        model.vendorNumber.empty() ? std::nullopt : std::optional(model.vendorNumber),
                        model.vendorClearedForNewTeam(), file});
    output.line(fmt::format("Key {} is accepted and stored as {} in {}.", model.savedKeyID(),
                            nameOfScope(invocation), file));
    if (model.keyIDCameFromFileName()) output.note("The Key ID was taken from the file's name.");
    if (model.vendorClearedForNewTeam())
        output.warning("the stored vendor number belonged to another team and was forgotten; give the new "
                       "one with --vendor-number");
    return ExitStatus::done;
}

struct CheckRecord {
    std::string keyID;
    std::string issuerID;
    std::string source;
    bool accepted = true;
    std::optional<std::int64_t> requestsLeft;
    QUORVEL_RECORD(CheckRecord, keyID, issuerID, source, accepted, requestsLeft)
};

ExitStatus checkKey(Invocation& invocation) {
    const KeyOwner owner = ownerInUse(invocation);
    (void)invocation.composition.client(owner)->listApps({}, {1});
    const Credentials used = invocation.composition.credentials(owner);
    const auto limit = invocation.composition.rateLimit();
    const auto left = limit ? limit->hourRemaining : std::nullopt;
    invocation.output.document(
        CheckRecord{used.texts.keyID, used.texts.issuerID, used.keySource, true, left});
    invocation.output.line(fmt::format("App Store Connect accepts key {} (from: {}).",
                                       escapeControls(used.texts.keyID), used.keySource));
    if (left && limit->hourLimit)
        invocation.output.line(
            fmt::format("{} of {} requests are left this hour.", *left, *limit->hourLimit));
    return ExitStatus::done;
}

struct StatusRecord {
    bool present = false;
    std::optional<std::string> keyID;
    std::optional<std::string> issuerID;
    std::optional<std::string> keySource;
    std::optional<std::string> issuerSource;
    std::optional<std::string> privateKeyFile;
    std::optional<std::string> vendorNumber;
    std::string credentialsFile;
    std::string endpoint;
    QUORVEL_RECORD(StatusRecord, present, keyID, issuerID, keySource, issuerSource, privateKeyFile,
                   vendorNumber, credentialsFile, endpoint)
};

ExitStatus showStatus(Invocation& invocation) {
    Composition& composition = invocation.composition;
    const KeychainStore keychain = composition.keychain();
    StatusRecord record{.credentialsFile = keychain.file().string(),
                        .endpoint = composition.endpoints().appStoreConnectOrDefault()};
    const KeyOwner owner = ownerInUse(invocation);
    for (const auto& scope : {owner.appID, owner.workspaceID, std::optional<std::string>()})
        if (!record.vendorNumber) record.vendorNumber = keychain.read(accountName(Key::vendorNumber, scope));
    const Credentials used = composition.credentials(owner);
    (void)makeAuth(used.texts);
    record.present = true;
    record.keyID = used.texts.keyID;
    record.issuerID = used.texts.issuerID;
    record.keySource = used.keySource;
    record.issuerSource = used.issuerSource;
    if (!used.privateKeyFile.empty()) record.privateKeyFile = used.privateKeyFile;
    invocation.output.document(record);

    Table table{.columns = {{"What"}, {"Value"}, {"From"}}, .rows = {}};
    table.rows.push_back({"Key ID", *record.keyID, used.keySource});
    table.rows.push_back({"Issuer ID", *record.issuerID, used.issuerSource});
    table.rows.push_back({"Private key", "present, readable",
                          record.privateKeyFile ? *record.privateKeyFile : used.keySource});
    table.rows.push_back({"Vendor number", record.vendorNumber.value_or("none"), "stored key"});
    table.rows.push_back({"Stored in", record.credentialsFile});
    table.rows.push_back({"Service", record.endpoint});
    invocation.output.table(table);
    return ExitStatus::done;
}

struct ForgetRecord {
    std::optional<std::string> forgotten;
    QUORVEL_RECORD(ForgetRecord, forgotten)
};

// Which key commands go on to use, when there is one.
void noteKeyInUse(Invocation& invocation) {
    try {
        const Credentials used = invocation.composition.credentials(ownerInUse(invocation));
        invocation.output.note(fmt::format("Key {} still applies (from: {}).",
                                           escapeControls(used.texts.keyID), used.keySource));
    } catch (const ASCError&) {     // none is left
    } catch (const CommandError&) { // what is left is of no use
    }
}

ExitStatus forgetKey(Invocation& invocation) {
    Output& output = invocation.output;
    (void)invocation.composition.keychain().read(accountName(Key::keyID));
    ASCSettingsViewModel model = makeModel(invocation);
    const std::string keyID = model.savedKeyID();
    if (keyID.empty()) {
        output.document(ForgetRecord{});
        output.line(fmt::format("There is nothing to forget: {} is not stored.", nameOfScope(invocation)));
        noteKeyInUse(invocation);
        return ExitStatus::done;
    }
    confirmRemoval(invocation,
                   fmt::format("Forget key {}, {}?", escapeControls(keyID), nameOfScope(invocation)));
    model.forget();
    output.document(ForgetRecord{keyID});
    output.line(fmt::format("Key {}, {}, is forgotten.", escapeControls(keyID), nameOfScope(invocation)));
    noteKeyInUse(invocation);
    return ExitStatus::done;
}

} // namespace

std::vector<Command> authCommands() {
    return {
        {.name = "auth", .summary = "Store, check and forget the App Store Connect API key"},
        {.name = "auth set",
         .summary = "Verify an API key with App Store Connect and store it",
         .arguments = {{"--vendor-number", "NUMBER", "Vendor number, for sales reports"}},
         .heeds = {"--key-id", "--issuer-id", "--p8", "--workspace", "--app"},
         .run = setKey,
         .details =
             "Nothing is stored unless App Store Connect accepts the key. Without --key-id the Key ID is "
             "taken from the file's name; without --p8 the file AuthKey_<Key ID>.p8 is looked for in "
             "./private_keys, ~/private_keys, ~/.private_keys and ~/.appstoreconnect/private_keys. On a "
             "terminal what is missing is asked for.\n"
             "With --workspace or --app the key is that workspace's or that app's own, which goes before "
             "the global one. Key ID and private key always come from the same place.\n"
             "The key itself is never taken from the command line, where other users could see it."},
        {.name = "auth check",
         .summary = "Ask App Store Connect whether it accepts the key",
         .heeds = {"--key-id", "--issuer-id", "--p8", "--workspace", "--app"},
         .run = checkKey},
        {.name = "auth status",
         .summary = "Show which key is used and where it comes from, without asking App Store Connect",
         .heeds = {"--key-id", "--issuer-id", "--p8", "--workspace", "--app"},
         .run = showStatus},
        {.name = "auth forget",
         .summary = "Forget the stored key",
         .heeds = {"--yes", "--workspace", "--app"},
         .run = forgetKey},
    };
}

} // namespace quorvel
