#include "Core/metadata/PullWriter.h"

#include "Core/metadata/FolderLock.h"
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

Decisions decide(const LocaleWork& work, const FieldTexts& pulled, const FieldTexts& local,
                 LocalEdits edits) {
    Decisions decisions;
    for (const FieldType field : allFieldTypes)
        if (const auto& incoming = work.incoming[field])
            decisions[static_cast<std::size_t>(field)] =
                decidePull(pulled[field], local[field], *incoming, edits);
    return decisions;
}

bool needsWriting(const LocaleWork& work, const Decisions& decisions) {
    return !work.vanished.empty() || std::ranges::any_of(decisions, [](const auto& decision) {
        return decision && (decision->writesLocal || decision->writesPulled);
    });
}

LocaleResult resultOf(const LocaleWork& work, const Decisions& decisions) {
    LocaleResult result;
    for (const FieldType field : allFieldTypes) {
        const auto& decision = decisions[static_cast<std::size_t>(field)];
        if (!decision) continue;
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
    const FieldTexts local = store.readLocale(work.locale, TextSide::local);
    const Decisions decisions = decide(work, store.readLocale(work.locale, TextSide::pulled), local, edits);
    LocaleResult result = resultOf(work, decisions);
    for (const FieldType field : allFieldTypes) {
        const PullDecision decision = decisions[static_cast<std::size_t>(field)].value_or(PullDecision{});
        if (decision.keepsBeside)
            result.kept.push_back(
                {work.locale, field, store.keepBeside(work.locale, field, *local[field], moment).native()});
        // The marker that calls for another pull stands until all of them are synced together.
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
        return fmt::format(
            "{} is no longer on App Store Connect. Its local files stay; remove the folder, or "
            "push to create the locale again.",
            work.locale);
    return fmt::format("{} no longer has a localization for {} of its fields on App Store Connect. The local "
                       "files stay.",
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
}

} // namespace

PullResult writePulledTexts(const MetadataStore& store, const std::vector<IncomingTexts>& incoming,
                            const PullOptions& options, Date moment, Turn turn) {
    const LocaleTexts pulled = store.readAll(TextSide::pulled);
    const TreeReader local(store.folder(), TextSide::local);
    PullResult result;
    std::vector<LocaleWork> toWrite;
    for (LocaleWork& work : gather(incoming, pulled, options.disabledLocales)) {
        if (!work.incoming.isAbsent()) result.summary.locales.push_back(work.locale);
        if (!work.vanished.empty()) result.summary.warnings.push_back(explainVanished(work));
        const auto copies = pulled.find(work.locale);
        const Decisions decisions = decide(work, copies == pulled.end() ? FieldTexts() : copies->second,
                                           local.readLocale(work.locale), options.edits);
        if (needsWriting(work, decisions))
            toWrite.push_back(std::move(work));
        else
            add(result, resultOf(work, decisions));
    }
    if (toWrite.empty() && !store.hasInterruptedPull()) return result;

    const auto ownTurn =
        turn == Turn::held ? std::nullopt : std::optional(lockFolder(store.folder(), "a pull"));
    store.beginPull();
    for (const LocaleResult& one : parallelMap(toWrite, writers, [&](const LocaleWork& work) {
             return writeLocale(store, work, options.edits, moment);
         }))
        add(result, one);
    store.endPull();
    return result;
}

} // namespace quorvel
