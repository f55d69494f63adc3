#include "Core/asc/KeyFiles.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/ApplicationSetup.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/KeyActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>

namespace quorvel {

namespace {

std::string nameOf(const KeyScope& scope) {
    if (scope.app) return fmt::format("the key of the app \"{}\"", *scope.app);
    if (scope.workspace) return fmt::format("the key of the workspace \"{}\"", *scope.workspace);
    return "the global key";
}

std::optional<std::string> given(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

// What the first source says that says anything of a key.
SetKey::Request givenKey(Invocation& invocation) {
    auto request = requestOf<SetKey::Request>(invocation);
    const KeyPlaces places = invocation.application.keyPlaces();
    for (const CredentialSource& source : places.given) {
        if (!request.issuerID) request.issuerID = given(source.issuerID);
        if (request.privateKeyFile || request.privateKeyPEM) continue;
        if (!request.keyID) request.keyID = given(source.keyID);
        request.privateKeyFile = given(source.privateKeyFile);
        if (!request.privateKeyFile) request.privateKeyPEM = given(source.privateKeyPEM);
    }
    request.vendorNumber = invocation.arguments.value("--vendor-number");
    return request;
}

// Asks a person at a terminal for what is missing.
void askForMissing(Output& output, const PrepareKey::Result& prepared, SetKey::Request& request) {
    const auto ask = [&](std::optional<std::string>& into, std::string_view question) {
        if (!into) into = given(std::string(trim(output.ask(question).value_or(""))));
    };
    if (prepared.needsIssuerID) ask(request.issuerID, "Issuer ID (the long one above the table of keys):");
    if (prepared.needsPrivateKey) ask(request.privateKeyFile, "File of the private key (AuthKey_….p8):");
    const std::filesystem::path file(request.privateKeyFile.value_or(""));
    if (prepared.needsKeyID && !keyIDFromFileName(file.filename().string()))
        ask(request.keyID, "Key ID (10 letters and digits):");
}

void refuseMissing(const PrepareKey::Result& prepared) {
    std::vector<std::string_view> missing;
    if (prepared.needsPrivateKey) missing.push_back("--p8 FILE");
    if (prepared.needsIssuerID) missing.push_back("--issuer-id ID");
    if (prepared.needsKeyID) missing.push_back("--key-id ID");
    if (missing.empty()) return;
    throw UsageError(fmt::format("\"auth set\" needs {}", fmt::join(missing, " and ")),
                     fmt::format("A key file named AuthKey_<Key ID>.p8 is found in {} too.",
                                 fmt::join(prepared.keyFolders, ", ")));
}

ExitStatus setKey(Invocation& invocation) {
    Output& output = invocation.output;
    SetKey::Request request = givenKey(invocation);
    auto prepared = perform<PrepareKey>(invocation, request);
    request.privateKeyFile = prepared.privateKeyFile;
    if (output.canAsk()) {
        askForMissing(output, prepared, request);
        prepared = perform<PrepareKey>(invocation, request);
    }
    refuseMissing(prepared);
    const auto result = perform<SetKey>(invocation, request);
    output.document(result);
    output.line(fmt::format("Key {} is accepted and stored as {} in {}.", result.keyID, nameOf(result.scope),
                            result.credentialsFile));
    if (result.keyIDCameFromFileName) output.note("The Key ID was taken from the file's name.");
    if (result.vendorClearedForNewTeam)
        output.warning("the stored vendor number belonged to another team and was forgotten; "
                       "give the new one with --vendor-number");
    return ExitStatus::done;
}

ExitStatus checkKey(Invocation& invocation) {
    const auto result = perform<CheckKey>(invocation, requestOf<KeyRequest>(invocation));
    Output& output = invocation.output;
    output.document(result);
    output.line(fmt::format("App Store Connect accepts key {} (from: {}).", escapeControls(result.keyID),
                            result.source));
    if (result.requestsLeft && result.requestLimit)
        output.line(
            fmt::format("{} of {} requests are left this hour.", *result.requestsLeft, *result.requestLimit));
    return ExitStatus::done;
}

ExitStatus showKeyStatus(Invocation& invocation) {
    const auto result = perform<KeyStatus>(invocation, requestOf<KeyRequest>(invocation));
    invocation.output.document(result);
    Table table{.columns = {{"What"}, {"Value"}, {"From"}}, .rows = {}};
    table.rows = {{"Key ID", result.keyID, result.keySource},
                  {"Issuer ID", result.issuerID, result.issuerSource},
                  {"Private key", "present, readable", result.privateKeyFile.value_or(result.keySource)},
                  {"Vendor number", result.vendorNumber.value_or("none"), "stored key"},
                  {"Stored in", result.credentialsFile},
                  {"Service", result.endpoint}};
    invocation.output.table(table);
    return ExitStatus::done;
}

ExitStatus forgetKey(Invocation& invocation) {
    Output& output = invocation.output;
    const auto request = requestOf<KeyRequest>(invocation);
    const StoredKey stored = perform<PlanKeyRemoval>(invocation, request);
    const std::string name = nameOf(stored.scope);
    const Consent consent =
        stored.keyID
            ? askConsent(invocation, {fmt::format("Forget key {}, {}?", escapeControls(*stored.keyID), name)})
            : consentToNothing();
    const auto result = perform<ForgetKey>(invocation, request, consent);
    output.document(result);
    output.line(result.forgotten.keyID
                    ? fmt::format("Key {}, {}, is forgotten.", escapeControls(*result.forgotten.keyID), name)
                    : fmt::format("There is nothing to forget: {} is not stored.", name));
    if (result.keyID)
        output.note(fmt::format("Key {} still applies (from: {}).", escapeControls(*result.keyID),
                                result.keySource.value_or("")));
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
             "Nothing is stored unless App Store Connect accepts the key. "
             "Without --key-id the Key ID is taken from the file's name; "
             "without --p8 the file AuthKey_<Key ID>.p8 is looked for in ./private_keys, ~/private_keys, "
             "~/.private_keys and ~/.appstoreconnect/private_keys. "
             "On a terminal what is missing is asked for.\n"
             "With --workspace or --app the key is that workspace's or that app's own, "
             "which goes before the global one. Key ID and private key always come from the same place.\n"
             "The key itself is never taken from the command line, where other users could see it."},
        {.name = "auth check",
         .summary = "Ask App Store Connect whether it accepts the key",
         .heeds = {"--key-id", "--issuer-id", "--p8", "--workspace", "--app"},
         .run = checkKey},
        {.name = "auth status",
         .summary = "Show which key is used and where it comes from, without asking App Store Connect",
         .heeds = {"--key-id", "--issuer-id", "--p8", "--workspace", "--app"},
         .run = showKeyStatus},
        {.name = "auth forget",
         .summary = "Forget the stored key",
         .heeds = {"--yes", "--workspace", "--app"},
         .run = forgetKey,
         .asksFirst = true},
    };
}

} // namespace quorvel
