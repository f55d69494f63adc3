#include "Quorvel/actions/TestNotesActions.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t longestTestNotes = 4000; // characters, as people count them
constexpr std::uint64_t largestNotesFile = 1ULL << 20;
constexpr std::string_view notesSuffix = ".txt";

using NotesByLocale = std::map<std::string, std::string>;

// A text file ends in a line break that nobody meant.
std::string withoutFinalBreak(std::string text) {
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    return text;
}

std::string primaryLocaleOf(const ReachedApp& reached) {
    for (const auto& app : reached.client->listApps(reached.app.bundleId))
        if (app.id == reached.app.appStoreId && app.attributes.primaryLocale)
            return *app.attributes.primaryLocale;
    throw ApplicationError(FailureKind::failed, "App Store Connect names no primary locale of the app",
                           "Name the locales.");
}

std::string readNotesFile(const std::filesystem::path& path) {
    const auto text = readFile(path, largestNotesFile);
    if (!text)
        throw ApplicationError(FailureKind::noFolder,
                               fmt::format("there is no file or folder {}", escapeControls(path.string())));
    if (!isValidUTF8(*text))
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no text in UTF-8", escapeControls(path.string())));
    return withoutFinalBreak(*text);
}

// The texts of <locale>.txt; other files are named.
NotesByLocale readNotesTree(const std::filesystem::path& tree, std::vector<std::string>& remarks) {
    NotesByLocale notes;
    for (const FolderEntry& entry : listFolder(tree).value_or(std::vector<FolderEntry>{})) {
        if (entry.name.starts_with('.')) continue;
        const bool isText = entry.name.ends_with(notesSuffix);
        const std::string locale = entry.name.substr(0, entry.name.size() - notesSuffix.size() * isText);
        if (isText && isAppStoreLocale(locale)) {
            notes[locale] = readNotesFile(tree / entry.name);
            continue;
        }
        const std::string advice = isText ? adviceForLocale(locale) : "";
        remarks.push_back(fmt::format("{} is left out: it is no <locale>.txt{}{}", escapeControls(entry.name),
                                      advice.empty() ? "" : ". ", advice));
    }
    return notes;
}

NotesByLocale readReleaseNotes(Application& application, const PlanTestNotes::Request& request) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const auto compared = opened.session->metadata->compare(request.context);
    NotesByLocale notes;
    for (const auto& [locale, texts] : readTextsThatCount(compared.folder).texts)
        if (texts[FieldType::releaseNotes] && !compared.texts.disabledLocales.contains(locale))
            notes[locale] = withoutFinalBreak(*texts[FieldType::releaseNotes]);
    return notes;
}

void requireOneSource(const PlanTestNotes::Request& request) {
    const int sources =
        int(request.text.has_value()) + int(request.tree.has_value()) + int(request.releaseNotes);
    if (sources != 1)
        throw ApplicationError(FailureKind::badRequest,
                               "what to test comes from a text, from files, or from the release notes",
                               "Name exactly one of these.");
}

// The wanted texts before anything is asked of App Store Connect about the build.
NotesByLocale wantedNotes(Application& application, const PlanTestNotes::Request& request,
                          const ReachedApp& reached, std::vector<std::string>& remarks) {
    for (const std::string& locale : request.locales)
        requireAppStoreLocale(locale);
    std::optional<std::string> forEach = request.text;
    NotesByLocale notes;
    if (request.releaseNotes) notes = readReleaseNotes(application, request);
    if (request.tree) {
        const auto path = application.absolutePath(*request.tree);
        std::error_code unreachable;
        if (std::filesystem::is_directory(path, unreachable))
            notes = readNotesTree(path, remarks);
        else
            forEach = readNotesFile(path);
    }
    if (forEach) {
        const auto locales =
            request.locales.empty() ? std::vector{primaryLocaleOf(reached)} : request.locales;
        for (const std::string& locale : locales)
            notes[locale] = *forEach;
    } else if (!request.locales.empty()) {
        for (const std::string& locale : request.locales)
            if (!notes.contains(locale)) remarks.push_back(fmt::format("there is no text for {}", locale));
        std::erase_if(notes, [&](const auto& each) {
            return std::ranges::find(request.locales, each.first) == request.locales.end();
        });
    }
    return notes;
}

// Leaves out what says nothing. Throws for what App Store Connect would refuse.
void checkNotes(NotesByLocale& notes, std::vector<std::string>& remarks) {
    std::vector<std::string> tooLong;
    for (const auto& [locale, text] : notes) {
        if (isBlank(text)) remarks.push_back(fmt::format("{} is left out: its text is empty", locale));
        if (const std::size_t count = graphemeCount(text); count > longestTestNotes)
            tooLong.push_back(fmt::format("{} has {} characters", locale, count));
    }
    if (!tooLong.empty())
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("what to test is too long: {}", fmt::join(tooLong, ", ")),
                               fmt::format("At most {} characters are taken.", longestTestNotes));
    std::erase_if(notes, [](const auto& each) { return isBlank(each.second); });
    if (notes.empty())
        throw ApplicationError(FailureKind::notFound, "there is no text to tell testers",
                               fmt::format("{}", fmt::join(remarks, "; ")));
}

} // namespace

ShowTestNotes::Result ShowTestNotes::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const ReachedApp reached = reach(application, targetOf(request));
    ChosenBuild chosen = chooseBuild(*reached.client, reached.app.appStoreId, buildChoiceOf(request));
    Result result{reached.app, std::move(chosen.build), std::move(chosen.remarks), {}};
    for (const auto& each : reached.client->listBetaBuildLocalizations(result.build.build.id))
        if (each.attributes.locale)
            result.notes[*each.attributes.locale] = each.attributes.whatsNew.value_or("");
    return result;
}

PlanTestNotes::Result PlanTestNotes::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    requireOneSource(request);
    const ReachedApp reached = reach(application, targetOf(request));
    std::vector<std::string> remarks;
    NotesByLocale notes = wantedNotes(application, request, reached, remarks);
    checkNotes(notes, remarks);
    ChosenBuild chosen = chooseBuild(*reached.client, reached.app.appStoreId, buildChoiceOf(request));
    remarks.insert(remarks.end(), chosen.remarks.begin(), chosen.remarks.end());
    Result result{{.app = reached.app,
                   .build = std::move(chosen.build),
                   .changes = {},
                   .unchanged = {},
                   .remarks = std::move(remarks)}};
    TestNotesPlan& plan = result.plan;
    plan.changes = TestFlightService(*reached.client).compareTestNotes(plan.build.build.id, notes);
    for (const auto& [locale, text] : notes)
        if (std::ranges::find(plan.changes, locale, &TestNotesChange::locale) == plan.changes.end())
            plan.unchanged.push_back(locale);
    return result;
}

WriteTestNotes::Result WriteTestNotes::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    const TestNotesPlan& plan = request.plan;
    const ReachedApp reached = reachPlanned(application, plan.app, request.workspace);
    const TestFlightService service(*reached.client);
    Result result{plan.app, plan.build, {}};
    for (const TestNotesChange& change : plan.changes) {
        progress.step({fmt::format("Writing what to test in {}", change.locale), result.outcomes.size(),
                       plan.changes.size()});
        Outcome outcome{change.locale, std::nullopt};
        try {
            (void)service.writeTestNotes(plan.build.build.id, change.locale, change.after);
        } catch (const ASCError& error) {
            outcome.failure = failureOf(error);
        }
        result.outcomes.push_back(std::move(outcome));
    }
    return result;
}

} // namespace quorvel
