#include "Core/metadata/merge/ConflictSettling.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

MetadataError notSettled(const TextConflict& conflict, const std::filesystem::path& file,
                         std::string_view problem) {
    return {MetadataError::Kind::failed,
            fmt::format("{} {} is not settled: {}", shownLocale(conflict.key.locale),
                        shortLabelOf(conflict.key.field), problem),
            {file, conflict.key.locale, conflict.key.field}};
}

std::size_t countLines(std::string_view text, std::string_view wanted) {
    std::size_t count = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        count += line == wanted;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return count;
}

// A row of equals signs is one that texts have, too.
bool holdsMarker(std::string_view edited, const TextConflict& conflict) {
    return countLines(edited, conflictMarkers.beforeOurs) + countLines(edited, conflictMarkers.afterTheirs) >
               0 ||
           countLines(edited, conflictMarkers.between) >
               countLines(conflict.ours, conflictMarkers.between) +
                   countLines(conflict.theirs, conflictMarkers.between);
}

} // namespace

ConflictSettling::Settled ConflictSettling::finish(const TextConflict& conflict, const std::string& text,
                                                   bool replacesNewerEdit) const {
    const FieldKey& key = conflict.key;
    Settled settled;
    store_.update(key.locale, key.field, [&](const auto& local) -> std::optional<std::string> {
        if (local == text) return std::nullopt;
        const bool isEdit =
            conflict.knowsTexts() ? isNewerEdit(conflict, local, rule_) : local && !isBlank(*local);
        if (replacesNewerEdit && isEdit)
            settled.kept = {key.locale, key.field,
                            store_.keepBeside(key.locale, key.field, *local, moment_).native()};
        else if (!replacesNewerEdit && local)
            return ourTextOf(conflict, local, rule_) == *local ? std::nullopt : std::optional(text);
        return text;
    });
    // The next push compares with this.
    if (conflict.knowsTexts() && store_.read(key.locale, key.field, TextSide::pulled) != conflict.theirs)
        store_.write(key.locale, key.field, conflict.theirs, TextSide::pulled);
    conflicts_.remove(key);
    const auto local = readTextThatCounts(store_.folder(), key.locale, key.field);
    const auto copy = store_.read(key.locale, key.field, TextSide::pulled);
    settled.isPending = countedText(rule_, key.field, local.value_or(""), copy) != copy.value_or("");
    return settled;
}

ConflictSettling::Settled ConflictSettling::settle(const TextConflict& conflict, ConflictSide side) const {
    const FieldKey& key = conflict.key;
    if (side == ConflictSide::ours)
        return finish(conflict, ourTextOf(conflict, store_.read(key.locale, key.field), rule_), false);
    return finish(conflict,
                  conflict.knowsTexts() ? conflict.theirs
                                        : store_.read(key.locale, key.field, TextSide::pulled).value_or(""),
                  true);
}

std::string ConflictSettling::preparedText(const TextConflict& conflict) const {
    const auto local = store_.read(conflict.key.locale, conflict.key.field);
    const std::string ours = shownTextOf(conflict, local, rule_);
    std::string text = mergeParagraphs(conflict.base, ours, conflict.theirs, conflictMarkers).text;
    if (!text.ends_with('\n')) text += '\n'; // as editors leave it
    return text;
}

std::filesystem::path ConflictSettling::prepareEdit(const TextConflict& conflict) const {
    const FieldKey& key = conflict.key;
    if (isSecret(key.field)) {
        const auto own = store_.folder().fieldFile(key.locale, key.field);
        throw notSettled(
            conflict, own,
            fmt::format("no secret is written into a text to be edited. Write the one that is to "
                        "stand into {} and settle the conflict with your text, or take App Store "
                        "Connect's.",
                        escapeControls(own.native())));
    }
    const auto file = conflicts_.editFile(key);
    if (conflict.problem) throw notSettled(conflict, file, *conflict.problem);
    if (!readFile(file)) writeFileAtomically(file, preparedText(conflict));
    return file;
}

ConflictSettling::Settled ConflictSettling::settleWithEdit(const TextConflict& conflict) const {
    if (isSecret(conflict.key.field)) (void)prepareEdit(conflict); // throws
    const auto file = conflicts_.editFile(conflict.key);
    auto edited = readFile(file, MetadataStore::fileLimit);
    if (!edited) throw notSettled(conflict, file, "the edited text is gone.");
    if (!isValidUTF8(*edited) || edited->find('\0') != std::string::npos)
        throw notSettled(conflict, file, "the edited text is not UTF-8.");
    if (*edited == preparedText(conflict)) {
        removeFile(file);
        throw notSettled(conflict, file, "the text was not edited.");
    }
    if (holdsMarker(*edited, conflict))
        throw notSettled(conflict, file,
                         fmt::format("a mark such as \"{}\" is still in it. Leave what is to stand and take "
                                     "the marks away; what was edited so far is kept.",
                                     conflictMarkers.beforeOurs));
    // The line break that was added for the editor.
    if (withoutFinalLineBreak(conflict.ours).size() == conflict.ours.size())
        edited = std::string(withoutFinalLineBreak(*edited));
    return finish(conflict, *edited, true);
}

} // namespace quorvel
