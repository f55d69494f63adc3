#include "Core/metadata/PullWriter.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeReader.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

// Each file is synced, so threads wait for the disk together; more of them gained nothing.
constexpr std::size_t writers = 8;

// All that came for one locale, and the fields of resources that no longer have the locale.
struct LocaleWork {
    std::string locale;
    FieldTexts incoming;
    std::vector<FieldType> vanished;
};

struct LocaleResult {
    std::int64_t writtenFields = 0;
    std::vector<FieldKey> updated;
    std::vector<KeptEdit> kept;
    std::vector<FieldKey> leftEdits;
    std::vector<std::string> warnings;
};

// Both sides of a locale as they are now.
struct Sides {
    TreeReader::Locale local;
    TreeReader::Locale pulled;

    Sides(const MetadataStore& store, std::string_view locale)
        : local(TreeReader(store.folder(), TextSide::local).readUsable(locale)),
          pulled(TreeReader(store.folder(), TextSide::pulled).readUsable(locale)) {}
};

void merge(FieldTexts& into, const FieldTexts& texts) {
    for (const FieldType field : allFieldTypes)
        if (texts[field]) into[field] = texts[field];
}

std::vector<LocaleWork> gather(const std::vector<IncomingTexts>& incoming, const ReadTexts& pulled,
                               const LocaleSet& disabled) {
    std::map<std::string, LocaleWork> work;
    const auto workFor = [&](const std::string& locale) -> LocaleWork& {
        if (!isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
        LocaleWork& found = work[locale];
        found.locale = locale;
        return found;
    };
    std::set<FieldKey> copies; // damaged ones too
    for (const auto& [locale, texts] : pulled.texts)
        for (const FieldType field : allFieldTypes)
            if (texts[field]) copies.insert({locale, field});
    for (const UnreadableText& copy : pulled.unreadable)
        if (copy.isFile) copies.insert(copy.key());
    for (const IncomingTexts& resource : incoming) {
        for (const auto& [locale, texts] : resource.locales)
            merge(workFor(locale).incoming, texts);
        for (const auto& [locale, field] : copies)
            if (homeOf(field) == resource.home && !resource.locales.contains(locale))
                workFor(locale).vanished.push_back(field);
    }
    std::vector<LocaleWork> list;
    for (auto& [locale, one] : work)
        if (!disabled.contains(locale)) list.push_back(std::move(one));
    return list;
}

using Decisions = std::array<std::optional<PullDecision>, allFieldTypes.size()>;

// What an editor adds at the end is no edit where the user said so.
PullDecision decideText(const std::optional<std::string>& copy, const std::optional<std::string>& local,
                        const std::string& incoming, const PullOptions& options) {
    if (!local) return decidePull(copy, local, incoming, options.edits);
    const std::string text = countedText(options.finalLineBreak, *local, incoming);
    return decidePull(copy, text == incoming ? text : countedText(options.finalLineBreak, *local, copy),
                      incoming, options.edits);
}

// In place a missing file says that there is no text, and a text of all locales stays where it is: a locale
// gets a file of its own where App Store Connect's text is another one. A blank file would not count beside
// that text, which is an edit then.
PullDecision decideField(const std::optional<std::string>& copy, const std::optional<std::string>& local,
                         const std::string& incoming, const PullOptions& options, bool isPartOfTree,
                         const std::optional<std::string>& standIn) {
    PullDecision decision = decideText(copy, standIn ? standIn : local, incoming, options);
    if (!isPartOfTree || !decision.writesLocal) return decision;
    if (standIn) {
        decision.keepsBeside = false;
        decision.leavesEdit = isBlank(incoming);
    }
    if (isBlank(incoming) && (standIn || !local || isBlank(*local))) decision.writesLocal = false;
    return decision;
}

// Other tools and editors end each file with a line break, and versions of the file are compared.
std::string textForFile(const MetadataStore& store, const std::optional<std::string>& local,
                        const std::string& incoming, const PullOptions& options) {
    const bool keepsLineBreak = store.folder().isPartOfTree() && local && !isBlank(incoming) &&
                                options.finalLineBreak == FinalLineBreak::strip &&
                                withoutFinalLineBreak(*local).size() < local->size() &&
                                withoutFinalLineBreak(incoming).size() == incoming.size();
    return keepsLineBreak ? incoming + "\n" : incoming;
}

// A local file that cannot be read stays as it is; only the pulled copy follows App Store Connect. Where no
// copy can be written the local text stays too: without its copy it would look like an edit.
Decisions decide(const MetadataStore& store, const FallbackTexts& fallbacks, const LocaleWork& work,
                 const Sides& sides, const PullOptions& options) {
    Decisions decisions;
    for (const FieldType field : allFieldTypes) {
        const auto& incoming = work.incoming[field];
        if (!incoming || sides.pulled.isBlocked(field)) continue;
        const auto& copy = sides.pulled.texts[field];
        const auto& local = sides.local.texts[field];
        decisions[static_cast<std::size_t>(field)] =
            sides.local.isUnreadable(field)
                ? PullDecision{.writesPulled = copy != incoming}
                : decideField(copy, local, *incoming, options, store.folder().isPartOfTree(),
                              fallbacks.standingFor(local, field));
    }
    return decisions;
}

bool needsWriting(const LocaleWork& work, const Decisions& decisions) {
    return !work.vanished.empty() || std::ranges::any_of(decisions, [](const auto& decision) {
        return decision && (decision->writesLocal || decision->writesPulled);
    });
}

// One warning for all fields that stay for the same reason, such as the locale's folder.
class UnreadableWarnings {
  public:
    void add(const UnreadableText& text) { fields_[text.explanation].push_back(shortLabelOf(text.field)); }
    [[nodiscard]] std::vector<std::string> of(const std::string& locale) const {
        std::vector<std::string> warnings;
        for (const auto& [explanation, fields] : fields_)
            warnings.push_back(fmt::format("The {} of {} {} not replaced: {}", fmt::join(fields, ", "),
                                           locale, fields.size() == 1 ? "was" : "were", explanation));
        return warnings;
    }

  private:
    std::map<std::string, std::vector<std::string_view>> fields_; // by explanation
};

LocaleResult resultOf(const LocaleWork& work, const Decisions& decisions, const Sides& sides) {
    LocaleResult result;
    UnreadableWarnings unreadable;
    for (const UnreadableText& text : sides.local.unreadable)
        if (work.incoming[text.field]) unreadable.add(text);
    for (const UnreadableText& copy : sides.pulled.unreadable)
        if (work.incoming[copy.field] && !copy.isFile) unreadable.add(copy);
    result.warnings = unreadable.of(work.locale);
    for (const FieldType field : allFieldTypes) {
        const auto& decision = decisions[static_cast<std::size_t>(field)];
        if (!decision || sides.local.isUnreadable(field)) continue;
        if (decision->writesLocal) result.updated.push_back({work.locale, field});
        if (decision->leavesEdit)
            result.leftEdits.push_back({work.locale, field});
        else
            ++result.writtenFields;
    }
    return result;
}

// Replaces the local text by the one that came. What an editor saves only now is decided about as well.
void replaceLocal(const MetadataStore& store, const FallbackTexts& fallbacks, const FieldKey& key,
                  const std::optional<std::string>& copy, const std::string& incoming,
                  const PullOptions& options, Date moment, LocaleResult& result) {
    const auto rewrite = [&](const std::optional<std::string>& local) -> std::optional<std::string> {
        const PullDecision decision =
            decideField(copy, local, incoming, options, store.folder().isPartOfTree(),
                        fallbacks.standingFor(local, key.field));
        if (decision.keepsBeside)
            result.kept.push_back(
                {key.locale, key.field, store.keepBeside(key.locale, key.field, *local, moment).native()});
        if (decision.leavesEdit) result.leftEdits.push_back(key);
        if (!decision.writesLocal) return std::nullopt;
        return textForFile(store, local, incoming, options);
    };
    // The marker of an interrupted pull stays until all of them are synced together.
    if (!store.update(key.locale, key.field, rewrite, Durability::later)) std::erase(result.updated, key);
}

LocaleResult writeLocale(const MetadataStore& store, const FallbackTexts& fallbacks, const LocaleWork& work,
                         const PullOptions& options, Date moment) {
    // Read again: an editor may have saved while the other locales were written.
    const Sides sides(store, work.locale);
    const Decisions decisions = decide(store, fallbacks, work, sides, options);
    LocaleResult result = resultOf(work, decisions, sides);
    for (const FieldType field : allFieldTypes) {
        const PullDecision decision = decisions[static_cast<std::size_t>(field)].value_or(PullDecision{});
        if (decision.writesLocal)
            replaceLocal(store, fallbacks, {work.locale, field}, sides.pulled.texts[field],
                         *work.incoming[field], options, moment, result);
        if (decision.writesPulled)
            store.write(work.locale, field, *work.incoming[field], TextSide::pulled, Durability::later);
    }
    for (const FieldType field : work.vanished)
        store.remove(work.locale, field, TextSide::pulled);
    return result;
}

std::string explainVanished(const LocaleWork& work) {
    if (work.incoming.isAbsent())
        return fmt::format("{} is no longer on App Store Connect. Its local files stay; remove the folder, "
                           "or push to create the locale again.",
                           work.locale);
    return fmt::format("{} no longer has a localization for {} of its fields on App Store Connect. "
                       "The local files stay.",
                       work.locale, work.vanished.size());
}

void add(PullResult& total, const LocaleResult& one) {
    const auto append = [](auto& list, const auto& more) {
        list.insert(list.end(), more.begin(), more.end());
    };
    total.summary.writtenFields += one.writtenFields;
    append(total.updated, one.updated);
    append(total.kept, one.kept);
    append(total.leftEdits, one.leftEdits);
    append(total.summary.warnings, one.warnings);
}

} // namespace

PullResult writePulledTexts(const MetadataStore& store, const std::vector<IncomingTexts>& incoming,
                            const PullOptions& options, Date moment) {
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    const FallbackTexts fallbacks(store.folder());
    PullResult result;
    std::vector<LocaleWork> toWrite;
    for (LocaleWork& work : gather(incoming, pulled, options.disabledLocales)) {
        if (!work.incoming.isAbsent()) result.summary.locales.push_back(work.locale);
        if (!work.vanished.empty()) result.summary.warnings.push_back(explainVanished(work));
        const Sides sides(store, work.locale);
        const Decisions decisions = decide(store, fallbacks, work, sides, options);
        if (needsWriting(work, decisions))
            toWrite.push_back(std::move(work));
        else
            add(result, resultOf(work, decisions, sides));
    }
    if (toWrite.empty() && !store.hasInterruptedPull()) return result;

    checkCancellation(); // nothing was begun yet
    store.beginPull();
    for (const LocaleResult& one : parallelMap(toWrite, writers, [&](const LocaleWork& work) {
             return writeLocale(store, fallbacks, work, options, moment);
         }))
        add(result, one);
    store.endPull();
    return result;
}

} // namespace quorvel
