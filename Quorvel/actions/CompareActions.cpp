#include "Quorvel/actions/CompareActions.h"

#include "Core/metadata/MetadataDiff.h"
#include "Quorvel/actions/GitIgnoreAdvice.h"
#include "Quorvel/application/Application.h"

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

ComparedContext comparedContextOf(const OpenedApp& opened, const MetadataController::Comparison& compared) {
    return {knownReferenceOf(opened.app), compared.folder.rootURL.string(), compared.context.text(),
            compared.version, compared.pulledAt};
}

} // namespace

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
                  .changes = textChangesOf(texts),
                  .leftOut = texts.selection.leftOut,
                  .warnings = texts.selection.warnings,
                  .notices = texts.notices(),
                  .waiting = static_cast<std::int64_t>(texts.waiting()),
                  .overLimit = static_cast<std::int64_t>(texts.overLimit()),
                  .unread = texts.unread,
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
    return result;
}

DiffTexts::Result DiffTexts::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const auto compared = opened.session->metadata->compare(request.context, {}, dryRunOf(request));
    Result result{.compared = comparedContextOf(opened, compared),
                  .wasPulled = compared.texts.wasPulled,
                  .differences = {},
                  .leftOut = compared.texts.selection.leftOut,
                  .notices = compared.texts.notices()};
    for (TextChange& change : textChangesOf(compared.texts)) {
        Difference difference;
        for (DiffSegment& segment : wordDiff(change.remote, change.local))
            difference.segments.push_back({segment.kind, std::move(segment.text)});
        difference.change = std::move(change);
        result.differences.push_back(std::move(difference));
    }
    return result;
}

} // namespace quorvel
