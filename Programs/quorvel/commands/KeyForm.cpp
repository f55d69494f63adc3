#include "Programs/quorvel/commands/KeyForm.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Credentials.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

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

} // namespace

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

} // namespace quorvel
