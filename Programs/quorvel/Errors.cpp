#include "Programs/quorvel/Errors.h"

#include "Core/ai/ClaudeError.h"
#include "Core/asc/ASCError.h"
#include "Core/asc/Endpoints.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t longestQuote = 60;

constexpr std::string_view setKeyHint =
    "Store one with 'quorvel auth set --key-id ID --issuer-id ID --p8 FILE', or set ASC_KEY_ID, "
    "ASC_ISSUER_ID and ASC_PRIVATE_KEY_PATH.";

std::string onOneLine(std::string_view text) {
    std::string line;
    while (true) {
        const std::size_t end = text.find('\n');
        line += trim(text.substr(0, end));
        if (end == std::string_view::npos) return escapeControls(line);
        text.remove_prefix(end + 1);
        if (!trim(text).empty()) line += " — ";
    }
}

// App Store Connect answers 409 both to changes that the state does not allow and to values that it refuses.
bool isAboutValuesOnly(const ASCError& error) {
    const auto* refused = error.as<ASCError::APIErrors>();
    return refused && std::ranges::all_of(refused->errors, [](const ASCError::APIError& entry) {
               const std::string_view code = entry.code ? std::string_view(*entry.code) : "";
               return (code.starts_with("ENTITY_ERROR.ATTRIBUTE") || code.starts_with("PARAMETER_ERROR")) &&
                      code.find("STATE") == std::string_view::npos;
           });
}

std::string hintFor(const ASCError& error) {
    if (error.as<ASCError::MissingCredentials>() || error.as<ASCError::InvalidPrivateKey>())
        return std::string(setKeyHint);
    switch (exitStatusOf(error)) {
    case ExitStatus::noCredentials:
        return "'quorvel auth status' shows which key is used and where it comes from.";
    case ExitStatus::refusedByState:
        return "'quorvel versions --app ID' shows the state of each version.";
    default:
        return {};
    }
}

ErrorReport reportOf(const MetadataError& error) {
    // The codes under which the tree's own refusals are known.
    struct Meaning {
        std::string_view code;
        ExitStatus status;
        std::string_view hint;
    };
    static constexpr Meaning meanings[] = {
        {"READ_ONLY_CONTEXT", ExitStatus::refusedByState, "Make one with 'quorvel versions create'."},
        {"OTHER_VERSION_PULLED", ExitStatus::refusedByState, ""},
        {"UNKNOWN_CONTEXT", ExitStatus::notFound, "Choose one with --context."},
        {"INVALID_CONTEXT", ExitStatus::usage, ""},
        {"INVALID_LOCALE", ExitStatus::usage, ""},
        {"UNKNOWN_LOCALE", ExitStatus::notFound, ""},
        {"UNKNOWN_RUN", ExitStatus::notFound, "'quorvel history' lists the runs."},
        {"UNKNOWN_APP", ExitStatus::notFound, "'quorvel apps --all' lists those that are recorded."},
    };
    for (const Meaning& meaning : meanings)
        if (error.code() == meaning.code)
            return {meaning.status, onOneLine(error.what()), std::string(meaning.hint)};
    return {ExitStatus::failed, onOneLine(error.what()), {}};
}

ExitStatus exitStatusOf(const ClaudeError& error) {
    if (error.concernsEveryRequest()) return ExitStatus::noCredentials;
    const bool isTrouble = error.as<ClaudeError::RateLimited>() || error.as<ClaudeError::ServerError>() ||
                           error.as<ClaudeError::Network>();
    return isTrouble ? ExitStatus::serviceTrouble : ExitStatus::failed;
}

ErrorReport reportOf(const OperationRefused& error) {
    const auto report = [&](ExitStatus status, std::string_view hint = {}) {
        return ErrorReport{status, onOneLine(error.what()),
                           error.detail().empty() ? std::string(hint) : onOneLine(error.detail())};
    };
    switch (error.refusal()) {
    case Refusal::operationRunning:
    case Refusal::noAppStoreID:
        return report(ExitStatus::failed);
    case Refusal::folderNotResolved:
    case Refusal::folderUnavailable:
        return report(ExitStatus::notFound, "'quorvel apps set APP --folder DIR' names another.");
    case Refusal::noVersions:
        return report(ExitStatus::notFound, "Make one with 'quorvel versions create'.");
    case Refusal::noContextSelected:
        return report(ExitStatus::notFound, "'quorvel pull' does.");
    case Refusal::readOnlyContext:
        return report(ExitStatus::refusedByState, "Make a version with 'quorvel versions create'.");
    case Refusal::nothingSelected:
    case Refusal::noPendingChanges:
        break;
    }
    return report(ExitStatus::done);
}

} // namespace

ExitStatus exitStatusOf(const ASCError& error) {
    if (error.as<ASCError::Cancelled>()) return ExitStatus::interrupted;
    if (error.as<ASCError::MissingCredentials>() || error.as<ASCError::InvalidPrivateKey>() ||
        error.as<ASCError::JWTEncodingFailed>())
        return ExitStatus::noCredentials;
    const auto status = error.httpStatus();
    if (!status) return error.as<ASCError::APIErrors>() ? ExitStatus::failed : ExitStatus::serviceTrouble;
    if (*status == 401 || *status == 403) return ExitStatus::noCredentials;
    if (*status == 404) return ExitStatus::notFound;
    if (*status == 409) return isAboutValuesOnly(error) ? ExitStatus::failed : ExitStatus::refusedByState;
    if (*status == 429 || *status >= 500) return ExitStatus::serviceTrouble;
    return ExitStatus::failed;
}

ErrorReport reportOf(const std::exception& error) {
    if (const auto* command = dynamic_cast<const CommandError*>(&error))
        return {command->status(), onOneLine(command->what()), command->hint()};
    if (const auto* service = dynamic_cast<const ASCError*>(&error))
        return {exitStatusOf(*service), onOneLine(service->description()), hintFor(*service)};
    if (const auto* model = dynamic_cast<const ClaudeError*>(&error))
        return {exitStatusOf(*model), onOneLine(model->description()), {}};
    if (const auto* tree = dynamic_cast<const MetadataError*>(&error)) return reportOf(*tree);
    if (const auto* refused = dynamic_cast<const OperationRefused*>(&error)) return reportOf(*refused);
    if (dynamic_cast<const CancellationError*>(&error)) return {ExitStatus::interrupted, "Cancelled.", {}};
    if (dynamic_cast<const EndpointsError*>(&error)) return {ExitStatus::usage, onOneLine(error.what()), {}};
    return {ExitStatus::failed, onOneLine(error.what()), {}};
}

std::string quotedWord(std::string_view word) {
    if (word.find("PRIVATE KEY") != std::string_view::npos || word.find('\n') != std::string_view::npos ||
        word.size() > longestQuote)
        return "(a long text, not shown)";
    return fmt::format("\"{}\"", escapeControls(word));
}

} // namespace quorvel
