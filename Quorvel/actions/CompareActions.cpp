#include "Quorvel/actions/CompareActions.h"

#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/GitIgnoreAdvice.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

ComparedContext comparedContextOf(const OpenedApp& opened, const MetadataController::Comparison& compared) {
    return {knownReferenceOf(opened.app), compared.folder.rootURL.string(), compared.context.text(),
            compared.version, compared.pulledAt};
}

std::map<std::string, FieldCount> countsOf(const TextComparison& texts) {
    const auto locales = std::ranges::count_if(texts.grid.locales, [&](const std::string& locale) {
        return !texts.disabledLocales.contains(locale);
    });
    std::map<std::string, FieldCount> counts;
    for (const auto& [field, filled] : texts.filled) {
        const auto here = static_cast<std::int64_t>(filled);
        counts[std::string(rawValue(field))] = {
            here, (isPageField(field) ? 1 : locales) - here,
            std::ranges::count(texts.changes, field, &PendingChange::field)};
    }
    return counts;
}

void requireKnownLocales(const std::vector<std::string>& known, const MetadataFolder& folder,
                         const std::vector<std::string>& wanted) {
    for (const std::string& locale : wanted)
        if (locale != shownPageLocale && !std::ranges::binary_search(known, locale))
            throw MetadataError::unknownLocale(locale, folder.rootURL, known);
}

void leaveChangedLocales(TextStatus::Result& status) {
    std::erase_if(status.locales, [&](const std::string& locale) {
        return std::ranges::find(status.changes, locale, &TextChange::locale) == status.changes.end() &&
               std::ranges::find(status.conflicts, locale, &FieldKey::locale) == status.conflicts.end();
    });
    std::erase_if(status.cells, [&](const auto& cells) {
        return !std::ranges::binary_search(status.locales, cells.first);
    });
}

std::int64_t charactersOf(FieldType field, const std::vector<DiffTexts::Segment>& segments,
                          DiffSegment::Kind kind) {
    std::size_t count = 0;
    if (isSecret(field)) return 0; // what stands for it has none of its characters
    for (const DiffTexts::Segment& segment : segments)
        if (segment.kind == kind) count += graphemeCount(segment.text);
    return static_cast<std::int64_t>(count);
}

DiffRemote::Extent extentOf(FieldType field, const std::vector<DiffTexts::Segment>& segments) {
    return {charactersOf(field, segments, DiffSegment::Kind::added),
            charactersOf(field, segments, DiffSegment::Kind::removed)};
}

} // namespace

std::vector<DiffTexts::Segment> segmentsOf(std::string_view before, std::string_view after) {
    std::vector<DiffTexts::Segment> segments;
    for (DiffSegment& segment : wordDiff(before, after))
        segments.push_back({segment.kind, std::move(segment.text)});
    return segments;
}

std::vector<TextChange> textChangesOf(const TextComparison& texts) {
    std::map<FieldKey, const LeftOutChange*> leftOut;
    for (const LeftOutChange& one : texts.selection.leftOut)
        leftOut[one.change.key()] = &one;
    const std::set<FieldKey> fromDefault(texts.fromDefault.begin(), texts.fromDefault.end());
    std::vector<TextChange> changes;
    for (const PendingChange& change : texts.changes) {
        const auto found = leftOut.find(change.key());
        const LeftOutChange* const left = found == leftOut.end() ? nullptr : found->second;
        changes.push_back({.locale = change.locale,
                           .field = change.field,
                           .remote = change.remote,
                           .local = change.local,
                           .isOverLimit = change.isOverLimit,
                           .isNewLocale = change.isNewLocale,
                           .clears = change.clears(),
                           .explanation = (fromDefault.contains(change.key()) ? "From default/. " : "") +
                                          MetadataDiff::explain(change),
                           .leftOut = left ? std::optional(left->reason) : std::nullopt,
                           .leftOutBecause = left ? std::optional(left->explanation) : std::nullopt,
                           .review = change.review});
    }
    return changes;
}

TextStatus::Result TextStatus::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const auto compared = opened.session->metadata->compare(request.context);
    const TextComparison& texts = compared.texts;
    Result result{.compared = comparedContextOf(opened, compared),
                  .wasPulled = texts.wasPulled,
                  .interruptedPull = texts.interruptedPull,
                  .locales = texts.grid.locales,
                  .cells = {},
                  .fields = countsOf(texts),
                  .changes = textChangesOf(texts),
                  .leftOut = texts.selection.leftOut,
                  .warnings = texts.selection.warnings,
                  .notices = texts.notices(),
                  .waiting = static_cast<std::int64_t>(texts.waiting()),
                  .overLimit = static_cast<std::int64_t>(texts.overLimit()),
                  .unread = texts.unread,
                  .conflicts = texts.conflicts,
                  .fromDefault = texts.fromDefault};
    if (const auto advice = gitIgnoreAdvice(opened.session->metadata->folder()))
        result.notices.push_back(advice->text());
    for (const auto& [locale, cells] : texts.grid.cells)
        for (const auto& [field, cell] : cells)
            result.cells[locale][std::string(rawValue(field))] = cell;
    std::vector<ManagedLocale> managed;
    if (!opened.app.id.empty()) managed = application.apps().locales(opened.app.id);
    const auto missing = std::ranges::count_if(managed, [&](const ManagedLocale& locale) {
        return locale.enabled && !std::ranges::binary_search(texts.grid.locales, locale.code);
    });
    result.checklist = MetadataChecklist::of(texts, static_cast<std::size_t>(missing));
    if (const RepositoryFile* file = repositoryFor(application, opened.app))
        result.repositoryFile = file->file;
    if (request.changed) leaveChangedLocales(result);
    return result;
}

DiffTexts::Result DiffTexts::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const PushFilter filter{.locales = request.locales, .fields = request.fields};
    const auto compared = opened.session->metadata->compare(request.context, filter, dryRunOf(request));
    requireKnownLocales(compared.texts.grid.locales, compared.folder, request.locales);
    Result result{.compared = comparedContextOf(opened, compared),
                  .wasPulled = compared.texts.wasPulled,
                  .differences = {},
                  .leftOut = compared.texts.selection.leftOut,
                  .notices = compared.texts.notices()};
    for (TextChange& change : textChangesOf(compared.texts)) {
        if (!filter.takes({change.locale, change.field})) continue;
        Difference difference;
        difference.segments = segmentsOf(change.remote, change.local);
        difference.added = charactersOf(change.field, difference.segments, DiffSegment::Kind::added);
        difference.removed = charactersOf(change.field, difference.segments, DiffSegment::Kind::removed);
        difference.change = std::move(change);
        result.differences.push_back(std::move(difference));
    }
    return result;
}

DiffRemote::Result DiffRemote::perform(Application& application, const Request& request,
                                       const ActionProgress& progress) {
    const OpenedApp opened = openUnchanged(application, targetOf(request));
    progress.step({std::string(discoveringText), {}, 0});
    auto look = opened.session->metadata->compareRemote(request.context);
    requireKnownLocales(look.texts.locales, look.folder, request.locales);
    const PushFilter filter{.locales = request.locales, .fields = request.fields};
    std::erase_if(look.texts.unreadable,
                  [&](const UnreadableText& text) { return !filter.takes(text.key()); });
    std::erase_if(look.texts.conflicts, [&](const FieldKey& key) { return !filter.takes(key); });
    std::erase_if(look.texts.removedLocales, [&](const std::string& locale) {
        return !PushFilter{.locales = request.locales}.takes({locale, FieldType::name});
    });
    Result result{.compared = {knownReferenceOf(opened.app), look.folder.rootURL.string(), look.context.id(),
                               look.context, look.texts.pulledAt},
                  .wasPulled = look.texts.wasPulled,
                  .differences = {},
                  .unreadable = std::move(look.texts.unreadable),
                  .conflicts = std::move(look.texts.conflicts),
                  .notices = {}};
    if (!look.texts.removedLocales.empty()) result.notices.push_back(noFolderText(look.texts.removedLocales));
    for (RemoteDifference& one : look.texts.differences) {
        if (!filter.takes(one.key)) continue;
        Difference difference{.locale = one.key.locale,
                              .field = one.key.field,
                              .changedBy = one.changedBy,
                              .merges = one.merges};
        if (one.changedBy != ChangedBy::local) difference.there = segmentsOf(one.base, one.remote);
        if (one.changedBy == ChangedBy::local || one.changedBy == ChangedBy::bothDifferently)
            difference.here = segmentsOf(one.base, one.local);
        difference.changedThere = extentOf(one.key.field, difference.there);
        difference.changedHere = extentOf(one.key.field, difference.here);
        difference.base = std::move(one.base);
        difference.local = std::move(one.local);
        difference.remote = std::move(one.remote);
        result.differences.push_back(std::move(difference));
    }
    return result;
}

TextStatusOfAllApps::Result TextStatusOfAllApps::perform(Application& application, const Request& request,
                                                         const ActionProgress& progress) {
    return {performForAllApps(application, request, [&](const Request& one) {
        return TextStatus::perform(application, one, progress);
    })};
}

DiffTextsOfAllApps::Result DiffTextsOfAllApps::perform(Application& application, const Request& request,
                                                       const ActionProgress& progress) {
    return {performForAllApps(application, request, [&](const Request& one) {
        return DiffTexts::perform(application, one, progress);
    })};
}

} // namespace quorvel
