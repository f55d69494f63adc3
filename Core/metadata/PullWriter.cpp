#include "Core/metadata/PullWriter.h"

#include "Core/metadata/TreeReader.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

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

void merge(FieldTexts& into, const FieldTexts& texts) {
    for (const FieldType field : allFieldTypes)
        if (texts[field]) into[field] = texts[field];
}

std::vector<LocaleWork> gather(const std::vector<IncomingTexts>& incoming, const LocaleTexts& pulled,
                               const LocaleSet& disabled) {
    std::map<std::string, LocaleWork> work;
    const auto workFor = [&](const std::string& locale) -> LocaleWork& {
        if (!isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
        LocaleWork& found = work[locale];
        found.locale = locale;
        return found;
    };
    for (const IncomingTexts& resource : incoming) {
        for (const auto& [locale, texts] : resource.locales)
            merge(workFor(locale).incoming, texts);
        for (const auto& [locale, copies] : pulled) {
            if (resource.locales.contains(locale)) continue;
            for (const FieldType field : allFieldTypes)
                if (homeOf(field) == resource.home && copies[field])
                    workFor(locale).vanished.push_back(field);
        }
    }
    std::vector<LocaleWork> list;
    for (auto& [locale, one] : work)
        if (!disabled.contains(locale)) list.push_back(std::move(one));
    return list;
}

using Decisions = std::array<std::optional<PullDecision>, allFieldTypes.size()>;

// A local file that cannot be read stays as it is; only the pulled copy follows App Store Connect.
Decisions decide(const LocaleWork& work, const FieldTexts& pulled, const TreeReader::Locale& local,
                 LocalEdits edits) {
    Decisions decisions;
    for (const FieldType field : allFieldTypes)
        if (const auto& incoming = work.incoming[field])
            decisions[static_cast<std::size_t>(field)] =
                local.isUnreadable(field) ? PullDecision{.writesPulled = pulled[field] != incoming}
                                          : decidePull(pulled[field], local.texts[field], *incoming, edits);
    return decisions;
}

bool needsWriting(const LocaleWork& work, const Decisions& decisions) {
    return !work.vanished.empty() || std::ranges::any_of(decisions, [](const auto& decision) {
        return decision && (decision->writesLocal || decision->writesPulled);
    });
}

std::string explainUnreadable(const UnreadableText& text) {
    return fmt::format("The {} of {} was not replaced: {}", shortLabelOf(text.field), text.locale,
                       text.explanation);
}

LocaleResult resultOf(const LocaleWork& work, const Decisions& decisions, const TreeReader::Locale& local) {
    LocaleResult result;
    for (const UnreadableText& text : local.unreadable)
        if (work.incoming[text.field]) result.warnings.push_back(explainUnreadable(text));
    for (const FieldType field : allFieldTypes) {
        const auto& decision = decisions[static_cast<std::size_t>(field)];
        if (!decision || local.isUnreadable(field)) continue;
        if (decision->writesLocal) result.updated.push_back({work.locale, field});
        if (decision->leavesEdit)
            result.leftEdits.push_back({work.locale, field});
        else
            ++result.writtenFields;
    }
    return result;
}

LocaleResult writeLocale(const MetadataStore& store, const LocaleWork& work, LocalEdits edits, Date moment) {
    // Read again: an editor may have saved while the other locales were written.
    const TreeReader::Locale local = TreeReader(store.folder(), TextSide::local).readUsable(work.locale);
    const TreeReader::Locale pulled = TreeReader(store.folder(), TextSide::pulled).readUsable(work.locale);
    const Decisions decisions = decide(work, pulled.texts, local, edits);
    LocaleResult result = resultOf(work, decisions, local);
    for (const FieldType field : allFieldTypes) {
        const PullDecision decision = decisions[static_cast<std::size_t>(field)].value_or(PullDecision{});
        if (decision.keepsBeside)
            result.kept.push_back(
                {work.locale, field,
                 store.keepBeside(work.locale, field, *local.texts[field], moment).native()});
        // The marker of an interrupted pull stays until all of them are synced together.
        const auto replace = [&](TextSide side) {
            store.write(work.locale, field, *work.incoming[field], side, Durability::later);
        };
        if (decision.writesLocal) replace(TextSide::local);
        if (decision.writesPulled) replace(TextSide::pulled);
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

// A damaged copy is replaced; what cannot be replaced stops the pull before it writes.
LocaleTexts readCopies(const MetadataStore& store) {
    ReadTexts copies = store.readAllUsable(TextSide::pulled);
    for (const UnreadableText& copy : copies.unreadable) {
        try {
            (void)store.read(copy.locale, copy.field, TextSide::pulled);
        } catch (const MetadataError& error) {
            if (error.kind() != MetadataError::Kind::unusableText) throw;
        }
    }
    return std::move(copies.texts);
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
    const LocaleTexts pulled = readCopies(store);
    const TreeReader local(store.folder(), TextSide::local);
    PullResult result;
    std::vector<LocaleWork> toWrite;
    for (LocaleWork& work : gather(incoming, pulled, options.disabledLocales)) {
        if (!work.incoming.isAbsent()) result.summary.locales.push_back(work.locale);
        if (!work.vanished.empty()) result.summary.warnings.push_back(explainVanished(work));
        const auto copies = pulled.find(work.locale);
        const TreeReader::Locale present = local.readUsable(work.locale);
        const Decisions decisions =
            decide(work, copies == pulled.end() ? FieldTexts() : copies->second, present, options.edits);
        if (needsWriting(work, decisions))
            toWrite.push_back(std::move(work));
        else
            add(result, resultOf(work, decisions, present));
    }
    if (toWrite.empty() && !store.hasInterruptedPull()) return result;

    checkCancellation(); // nothing was begun yet
    store.beginPull();
    for (const LocaleResult& one : parallelMap(toWrite, writers, [&](const LocaleWork& work) {
             return writeLocale(store, work, options.edits, moment);
         }))
        add(result, one);
    store.endPull();
    return result;
}

} // namespace quorvel
