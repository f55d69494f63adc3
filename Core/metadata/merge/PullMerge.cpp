#include "Core/metadata/merge/PullMerge.h"

#include "Core/metadata/FieldValue.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

// What an editor adds at the end is no edit where the user said so.
PullDecision decideWithoutMerge(const PulledField& field, const PullOptions& options, LocalEdits edits) {
    const auto& [key, copy, local, incoming, open] = field;
    if (!local) return decidePull(copy, local, incoming, edits);
    const std::string text = countedText(options.finalLineBreak, key.field, *local, incoming);
    return decidePull(copy,
                      text == incoming ? text : countedText(options.finalLineBreak, key.field, *local, copy),
                      incoming, edits);
}

TextDecision takeIncoming(const PulledField& field, PullDecision writes) {
    return {.writes = writes, .text = field.incoming};
}

TextDecision leaveEdit(const PulledField& field) {
    return {.writes = {.writesPulled = field.copy != field.incoming, .leavesEdit = true}};
}

TextDecision makeConflict(const PulledField& field, TextConflict record, bool keepsBeside) {
    if (isSecret(field.key.field))
        return {.writes = {.writesPulled = field.copy != field.incoming},
                .record = std::move(record),
                .isConflict = true};
    return {.writes = {.keepsBeside = keepsBeside,
                       .writesLocal = field.local != field.incoming,
                       .writesPulled = field.copy != field.incoming},
            .text = field.incoming,
            .record = std::move(record),
            .isConflict = true};
}

TextDecision mergeEdit(const PulledField& field, const PullOptions& options, Date moment) {
    const PullDecision replacing = decideWithoutMerge(field, options, LocalEdits::keepBeside);
    if (!replacing.keepsBeside) return takeIncoming(field, replacing); // no edit, or none that has a text
    const std::string base = field.copy.value_or("");
    const FieldMerge merge =
        mergeField({field.key.field, base, *field.local, field.incoming}, options.finalLineBreak);
    switch (merge.changedBy) {
    case ChangedBy::nobody:
    case ChangedBy::local:
        // A text that was only cleared comes back.
        return isBlank(*field.local) ? takeIncoming(field, replacing) : leaveEdit(field);
    case ChangedBy::appStoreConnect:
        return takeIncoming(field, replacing);
    case ChangedBy::bothAlike:
        return {.writes = {.writesPulled = replacing.writesPulled}};
    case ChangedBy::bothDifferently:
        break;
    }
    if (merge.text) return {.writes = replacing, .text = *merge.text, .isMerged = true};
    return makeConflict(field, {field.key, base, *field.local, field.incoming, moment, std::nullopt},
                        replacing.keepsBeside);
}

// App Store Connect's text takes the place of both; the one that the first pull met is backed up since.
TextDecision replaceOpen(const PulledField& field, const PullOptions& options) {
    const auto& [key, copy, local, incoming, open] = field;
    const bool holdsIt =
        local && countedText(options.finalLineBreak, key.field, *local, incoming) == incoming;
    const bool isEdit =
        isSecret(key.field) ? local.has_value() : isNewerEdit(*open, local, options.finalLineBreak);
    return {.writes = {.keepsBeside = isEdit && !isBlank(*local) && !holdsIt,
                       .writesLocal = !holdsIt,
                       .writesPulled = copy != incoming},
            .text = incoming,
            .settles = true};
}

TextDecision decideOpenSecret(const PulledField& field) {
    const bool movesCopy = field.copy != field.incoming;
    if (!field.local)
        return {.writes = {.writesLocal = true, .writesPulled = movesCopy},
                .text = field.incoming,
                .settles = true};
    if (saysTheSame(*field.local, field.incoming))
        return {.writes = {.writesPulled = movesCopy}, .settles = true};
    TextConflict record = *field.open;
    record.theirs = isBlank(field.incoming) ? "" : changedSecretText;
    hideSecrets(record.base, record.ours, record.theirs);
    TextDecision decision{.writes = {.writesPulled = movesCopy}, .isConflict = true};
    if (record.theirs != field.open->theirs) decision.record = std::move(record);
    return decision;
}

TextDecision decideOpen(const PulledField& field, const PullOptions& options) {
    if (options.edits == LocalEdits::keepBeside) return replaceOpen(field, options);
    if (isSecret(field.key.field)) return decideOpenSecret(field);
    const TextConflict& open = *field.open;
    TextConflict record = open;
    record.theirs = field.incoming;
    record.earlier.push_back(contentDigest(open.theirs));
    const bool isNewer = isNewerEdit(open, field.local, options.finalLineBreak);
    if (field.local && field.incoming == open.theirs)
        return {.writes = {.writesPulled = field.copy != field.incoming}, .isConflict = true};
    if (isNewer && saysTheSame(*field.local, field.incoming))
        return {.writes = {.writesPulled = field.copy != field.incoming}, .settles = true};
    if (isNewer && options.edits == LocalEdits::leaveInPlace) {
        TextDecision left = leaveEdit(field);
        left.record = std::move(record);
        left.isConflict = true;
        return left;
    }
    if (isNewer) { // made over App Store Connect's text: what it would merge with is not what it began with
        record.ours = *field.local;
        return makeConflict(field, std::move(record), true);
    }
    const FieldMerge merge =
        mergeField({field.key.field, open.base, open.ours, field.incoming}, options.finalLineBreak);
    TextDecision settled{.writes = {.writesLocal = true, .writesPulled = field.copy != field.incoming},
                         .text = field.incoming,
                         .settles = true};
    switch (merge.changedBy) {
    case ChangedBy::nobody:
    case ChangedBy::appStoreConnect:
    case ChangedBy::bothAlike:
        break;
    case ChangedBy::local:
        settled.text = open.ours;
        break;
    case ChangedBy::bothDifferently:
        if (!merge.text) return makeConflict(field, std::move(record), false);
        settled.text = *merge.text;
        settled.isMerged = true;
        break;
    }
    settled.writes.writesLocal = field.local != settled.text;
    return settled;
}

} // namespace

TextDecision decideText(const PulledField& field, const PullOptions& options, Date moment) {
    if (field.open && !field.open->problem) return decideOpen(field, options);
    TextDecision decision = options.edits == LocalEdits::merge
                                ? mergeEdit(field, options, moment)
                                : takeIncoming(field, decideWithoutMerge(field, options, options.edits));
    // A damaged record waits for the user, unless everything is replaced.
    (options.edits == LocalEdits::keepBeside ? decision.settles : decision.isConflict) |=
        field.open.has_value();
    return decision;
}

} // namespace quorvel
