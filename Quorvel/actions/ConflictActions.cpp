#include "Quorvel/actions/ConflictActions.h"

#include "Core/metadata/PushSelection.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

TextConflict requireConflict(const TextConflicts& conflicts, const FieldKey& key) {
    if (auto conflict = conflicts.find(key)) return *std::move(conflict);
    throw ApplicationError(
        FailureKind::badRequest,
        fmt::format("{} {} is not in conflict", quotedWord(shownLocale(key.locale)), rawValue(key.field)));
}

ResolveConflicts::Settled settledOf(const FieldKey& key, const ConflictSettling::Settled& settled) {
    return {.locale = key.locale,
            .field = key.field,
            .isPending = settled.isPending,
            .kept = settled.kept ? std::optional(settled.kept->path) : std::nullopt,
            .leftOut = {},
            .leftOutBecause = {}};
}

// A push may leave out what differs: a text that is empty now, or above its limit.
void tellLeftOut(ResolveConflicts::Result& result, const MetadataController& metadata,
                 const std::optional<std::string>& context) {
    const auto leftOut = metadata.compare(context).texts.selection.leftOut;
    for (ResolveConflicts::Settled& one : result.settled) {
        const auto found = std::ranges::find(leftOut, FieldKey{one.locale, one.field},
                                             [](const LeftOutChange& left) { return left.change.key(); });
        if (found == leftOut.end()) continue;
        one.isPending = false;
        one.leftOut = found->reason;
        one.leftOutBecause = found->explanation;
    }
}

std::string contextOf(const OpenedApp& opened, const std::optional<std::string>& context) {
    return opened.session->metadata->contexts().known(context).value_or(ContextID{}).text();
}

} // namespace

ListConflicts::Result ListConflicts::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const auto open = opened.session->metadata->conflicts(request.context);
    Result result{knownReferenceOf(opened.app), open.folder.rootURL.string(), open.context.text(), {}};
    const MetadataStore store(open.folder);
    const PushFilter filter{request.locales, request.fields};
    for (const TextConflict& conflict : open.conflicts) {
        if (!filter.takes(conflict.key)) continue;
        const auto local = store.read(conflict.key.locale, conflict.key.field);
        Conflict shown{.locale = conflict.key.locale,
                       .field = conflict.key.field,
                       .base = conflict.base,
                       .ours = shownTextOf(conflict, local, open.finalLineBreak),
                       .theirs = conflict.theirs,
                       .since = conflict.since,
                       .isEdited = isNewerEdit(conflict, local, open.finalLineBreak),
                       .problem = conflict.problem};
        shown.here = segmentsOf(shown.base, shown.ours);
        shown.there = segmentsOf(shown.base, shown.theirs);
        result.conflicts.push_back(std::move(shown));
    }
    return result;
}

ResolveConflicts::Result ResolveConflicts::perform(Application& application, const Request& request,
                                                   const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    Result result{knownReferenceOf(opened.app), contextOf(opened, request.context), {}, 0};
    const PushFilter filter{request.locales, request.fields};
    opened.session->metadata->settle(request.context, [&](const ConflictSettling& settling,
                                                          const TextConflicts& conflicts) {
        for (const TextConflict& conflict : conflicts.all()) {
            if (filter.takes(conflict.key))
                result.settled.push_back(settledOf(conflict.key, settling.settle(conflict, request.side)));
            else
                ++result.open;
        }
    });
    tellLeftOut(result, *opened.session->metadata, request.context);
    return result;
}

PrepareConflictEdit::Result PrepareConflictEdit::perform(Application& application, const Request& request,
                                                         const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    Result result;
    opened.session->metadata->settle(
        request.context, [&](const ConflictSettling& settling, const TextConflicts& conflicts) {
            const TextConflict conflict = requireConflict(conflicts, {request.locale, request.field});
            result.file = settling.prepareEdit(conflict).string();
        });
    return result;
}

FinishConflictEdit::Result FinishConflictEdit::perform(Application& application, const Request& request,
                                                       const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    Result result{knownReferenceOf(opened.app), contextOf(opened, request.context), {}, 0};
    opened.session->metadata->settle(
        request.context, [&](const ConflictSettling& settling, const TextConflicts& conflicts) {
            const TextConflict conflict = requireConflict(conflicts, {request.locale, request.field});
            result.settled.push_back(settledOf(conflict.key, settling.settleWithEdit(conflict)));
            result.open = static_cast<std::int64_t>(conflicts.all().size());
        });
    tellLeftOut(result, *opened.session->metadata, request.context);
    return result;
}

} // namespace quorvel
