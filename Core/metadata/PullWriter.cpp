#include "Core/metadata/PullWriter.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/RemovedLocales.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeReader.h"
#include "Core/metadata/merge/PullMerge.h"
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
    std::vector<FieldKey> merged;
    std::vector<FieldKey> conflicts;
    std::vector<FieldKey> settled; // conflicts of before
    std::vector<std::string> warnings;
};

// The digests of the texts that pulls which did not end were to write, by field, in .brevant/pulling.json. A
// local file with one of them is no edit, though its pulled copy is older. Of a secret there is no digest, as
// a short one can be guessed from it: such a file counts as an edit, which at worst has to be chosen once.
class TextsUnderWay {
  public:
    explicit TextsUnderWay(const MetadataStore& store)
        : file_(store.folder().privateFolder() / "pulling.json") {
        const auto note = store.hasInterruptedPull() ? readFile(file_) : std::nullopt;
        if (!note) return;
        try {
            digests_ = decodeJSON<decltype(digests_)>(*note);
            for (const FieldType field : pageFields)
                if (isSecret(field)) digests_.erase(nameOf({std::string(pageLocale), field}));
        } catch (const JSONError&) { // damaged; such a text counts as an edit then
        }
    }
    void add(const FieldKey& key, const std::string& text) {
        if (!isSecret(key.field)) digests_[nameOf(key)].push_back(contentDigest(text));
    }
    [[nodiscard]] bool hold(const FieldKey& key, const std::string& text) const {
        const auto found = digests_.find(nameOf(key));
        return found != digests_.end() &&
               std::ranges::find(found->second, contentDigest(text)) != found->second.end();
    }
    // Before the pull begins.
    void keep() const {
        createFolders(file_.parent_path());
        writeFileAtomically(file_, encodeJSON(digests_, JSONFormat::stateFile()) + "\n");
    }
    // After it has ended.
    void forget() const { removeFile(file_); }

  private:
    static std::string nameOf(const FieldKey& key) {
        return fmt::format("{}/{}", key.locale, rawValue(key.field));
    }
    std::filesystem::path file_;
    std::map<std::string, std::vector<std::string>> digests_;
};

bool isBlankOrNone(const std::optional<std::string>& text) {
    return !text || isBlank(*text);
}

// What all locales of a pull share.
struct PullTask {
    const MetadataStore& store;
    const PullOptions& options;
    Date moment;
    TextConflicts conflicts;
    std::map<FieldKey, TextConflict> open; // of before
    TextsUnderWay interrupted;
    FallbackTexts fallbacks;

    PullTask(const MetadataStore& tree, const PullOptions& pullOptions, Date now)
        : store(tree),
          options(pullOptions),
          moment(now),
          conflicts(tree.folder()),
          interrupted(tree),
          fallbacks(tree.folder()) {
        for (TextConflict& conflict : conflicts.all())
            open.emplace(conflict.key, std::move(conflict));
    }
    [[nodiscard]] std::optional<TextConflict> openOf(const FieldKey& key) const {
        const auto found = open.find(key);
        return found == open.end() ? std::nullopt : std::optional(found->second);
    }
    // In place a missing file says that there is no text, and a text of all locales stays where it is: a
    // locale gets a file of its own where App Store Connect's text is another one. A blank file would not
    // count beside that text, which is an edit then.
    [[nodiscard]] TextDecision decide(PulledField field) const {
        const std::optional<std::string> copy = field.copy;
        const std::optional<std::string> local = field.local;
        const std::optional<std::string> standIn = standInOf(field);
        if (standIn) field.local = standIn;
        if (field.local && interrupted.hold(field.key, *field.local)) field.copy = field.local;
        TextDecision decision = decideText(field, options, moment);
        decision.writes.writesPulled = copy != field.incoming;
        if (!store.folder().isPartOfTree() || !decision.writes.writesLocal) return decision;
        if (standIn && isBlank(decision.text))
            return {.writes = {.writesPulled = decision.writes.writesPulled, .leavesEdit = true}};
        if (standIn) { // it stays in its own file, so nobody has to choose
            decision.writes.keepsBeside = false;
            decision.record.reset();
            decision.isConflict = false;
        }
        if (isBlank(decision.text) && isBlankOrNone(local)) decision.writes.writesLocal = false;
        if (endsWithLineBreak(local) && !isBlank(decision.text) && !endsWithLineBreak(decision.text))
            decision.text += "\n";
        return decision;
    }

  private:
    [[nodiscard]] std::optional<std::string> standInOf(const PulledField& field) const {
        // It is no edit of a text that is in conflict already.
        if (field.key.locale.empty() || (field.open && !field.open->problem)) return std::nullopt;
        return fallbacks.standingFor(field.local, field.key.field);
    }
    // Other tools and editors end each file with a line break, and versions of the file are compared.
    [[nodiscard]] bool endsWithLineBreak(const std::optional<std::string>& text) const {
        return text && options.finalLineBreak == FinalLineBreak::strip &&
               withoutFinalLineBreak(*text).size() < text->size();
    }
};

// Both sides of a locale as they are now.
struct Sides {
    TreeReader::Locale local;
    TreeReader::Locale pulled;

    Sides(const MetadataStore& store, std::string_view locale)
        : local(TreeReader(store.folder(), TextSide::local).readUsable(locale)),
          pulled(TreeReader(store.folder(), TextSide::pulled).readUsable(locale)) {}
};

std::vector<LocaleWork> gather(const std::vector<IncomingTexts>& incoming, const ReadTexts& pulled,
                               const LocaleSet& disabled, const RemovedLocales& removed) {
    std::map<std::string, LocaleWork> work;
    const auto workFor = [&](const std::string& locale) -> LocaleWork& {
        if (locale != pageLocale && !isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
        LocaleWork& found = work[locale];
        found.locale = locale;
        return found;
    };
    std::set<FieldKey> copies; // damaged ones too
    for (const auto& [locale, texts] : pulled.texts)
        for (const FieldType field : localeFields)
            if (texts[field]) copies.insert({locale, field});
    for (const FieldType field : pageFields)
        if (pulled.page[field]) copies.insert({std::string(pageLocale), field});
    for (const UnreadableText& copy : pulled.unreadable)
        if (copy.isFile) copies.insert(copy.key());
    for (const IncomingTexts& resource : incoming) {
        for (const auto& [locale, texts] : resource.locales)
            workFor(locale).incoming.take(texts);
        for (const auto& [locale, field] : copies)
            if (homeOf(field) == resource.home && !resource.locales.contains(locale))
                workFor(locale).vanished.push_back(field);
    }
    std::vector<LocaleWork> list;
    for (auto& [locale, one] : work)
        if (!disabled.contains(locale) && !removed.leaveOut(locale, one.incoming))
            list.push_back(std::move(one));
    return list;
}

using Decisions = std::array<std::optional<TextDecision>, allFieldTypes.size()>;

// A local file that cannot be read stays as it is; only the pulled copy follows App Store Connect. Where no
// copy can be written the local text stays too: without its copy it would look like an edit.
Decisions decide(const PullTask& task, const LocaleWork& work, const Sides& sides) {
    Decisions decisions;
    for (const FieldType field : fieldsOf(work.locale)) {
        const auto& incoming = work.incoming[field];
        if (!incoming || sides.pulled.isBlocked(field)) continue;
        const auto& copy = sides.pulled.texts[field];
        // Most pages leave most of these fields empty, and a tree needs no file for each that is.
        if (!isStoreText(field) && isBlank(*incoming) && isBlankOrNone(copy) &&
            isBlankOrNone(sides.local.texts[field]))
            continue;
        const FieldKey key{work.locale, field};
        decisions[static_cast<std::size_t>(field)] =
            sides.local.isUnreadable(field)
                ? TextDecision{.writes = {.writesPulled = copy != incoming}}
                : task.decide({key, copy, sides.local.texts[field], *incoming, task.openOf(key)});
    }
    return decisions;
}

bool needsWriting(const LocaleWork& work, const Decisions& decisions) {
    return !work.vanished.empty() || std::ranges::any_of(decisions, [](const auto& decision) {
        return decision && decision->changesAnything();
    });
}

// Whether somebody removed the locale's folder, which a pull makes again.
bool isBack(const LocaleWork& work, const Sides& sides, const std::vector<std::string>& onDisk) {
    return work.locale != pageLocale && !work.incoming.isAbsent() && !sides.pulled.texts.isAbsent() &&
           !std::ranges::binary_search(onDisk, work.locale);
}

// One warning for all fields that stay for the same reason, such as the locale's folder.
class UnreadableWarnings {
  public:
    void add(const UnreadableText& text) { fields_[text.explanation].push_back(shortLabelOf(text.field)); }
    [[nodiscard]] std::vector<std::string> of(const std::string& locale) const {
        std::vector<std::string> warnings;
        for (const auto& [explanation, fields] : fields_)
            warnings.push_back(fmt::format("The {} of {} {} not replaced: {}", fmt::join(fields, ", "),
                                           locale == pageLocale ? "the page" : locale,
                                           fields.size() == 1 ? "was" : "were", explanation));
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
    for (const FieldType field : fieldsOf(work.locale)) {
        const auto& decision = decisions[static_cast<std::size_t>(field)];
        if (!decision || sides.local.isUnreadable(field)) continue;
        if (!decision->writes.leavesEdit) ++result.writtenFields;
    }
    return result;
}

// What became of a text, or would.
void note(LocaleResult& result, const FieldKey& key, const TextDecision& decision) {
    if (decision.writes.writesLocal) result.updated.push_back(key);
    if (decision.writes.leavesEdit) result.leftEdits.push_back(key);
    if (decision.isMerged) result.merged.push_back(key);
    if (decision.isConflict) result.conflicts.push_back(key);
    if (decision.settles) result.settled.push_back(key);
}

// All that would be done with a locale, or that is as it is to be.
LocaleResult toldOf(const PullTask& task, const LocaleWork& work, const Decisions& decisions,
                    const Sides& sides) {
    LocaleResult result = resultOf(work, decisions, sides);
    for (const FieldType field : fieldsOf(work.locale)) {
        const FieldKey key{work.locale, field};
        const auto& decision = decisions[static_cast<std::size_t>(field)];
        if (!decision) continue;
        note(result, key, *decision);
        if (decision->writes.keepsBeside)
            result.kept.push_back(
                {key.locale, key.field, task.store.folder().fieldFile(key.locale, key.field).native()});
    }
    return result;
}

void keepBeside(const PullTask& task, const FieldKey& key, const std::string& text, LocaleResult& result) {
    result.kept.push_back(
        {key.locale, key.field, task.store.keepBeside(key.locale, key.field, text, task.moment).native()});
}

// A text that somebody edits to settle the conflict was made for another one.
void keepEditFile(const PullTask& task, const FieldKey& key, LocaleResult& result) {
    const auto editFile = task.conflicts.editFile(key);
    if (const auto edited = readFile(editFile)) {
        keepBeside(task, key, *edited, result);
        removeFile(editFile);
    }
}

void keepRecord(const PullTask& task, const TextConflict& record, LocaleResult& result) {
    keepEditFile(task, record.key, result);
    task.conflicts.keep(record);
}

// Replaces the local text. What an editor saves only now is decided about as well.
TextDecision replaceLocal(const PullTask& task, PulledField field, LocaleResult& result) {
    TextDecision last;
    bool isRecorded = false;
    const auto rewrite = [&](const std::optional<std::string>& local) -> std::optional<std::string> {
        field.local = local;
        last = task.decide(field);
        if (last.writes.keepsBeside) keepBeside(task, field.key, *local, result);
        if (last.record) keepRecord(task, *last.record, result);
        isRecorded |= last.record.has_value();
        return last.writes.writesLocal ? std::optional(last.text) : std::nullopt;
    };
    // The marker of an interrupted pull stays until all of them are synced together.
    task.store.update(field.key.locale, field.key.field, rewrite, Durability::later);
    last.settles |= isRecorded && !last.isConflict; // somebody saved another text meanwhile
    return last;
}

void writeField(const PullTask& task, const PulledField& field, TextDecision decision, LocaleResult& result) {
    if (decision.writes.writesLocal)
        decision = replaceLocal(task, field, result);
    else if (decision.record)
        keepRecord(task, *decision.record, result);
    if (decision.writes.writesPulled)
        task.store.write(field.key.locale, field.key.field, field.incoming, TextSide::pulled,
                         Durability::later);
    if (decision.settles) {
        keepEditFile(task, field.key, result);
        task.conflicts.remove(field.key);
    }
    note(result, field.key, decision);
}

LocaleResult writeLocale(const PullTask& task, const LocaleWork& work) {
    // Read again: an editor may have saved while the other locales were written.
    const Sides sides(task.store, work.locale);
    const Decisions decisions = decide(task, work, sides);
    LocaleResult result = resultOf(work, decisions, sides);
    for (const FieldType field : fieldsOf(work.locale))
        if (const auto& decision = decisions[static_cast<std::size_t>(field)]) {
            const FieldKey key{work.locale, field};
            writeField(task,
                       {key, sides.pulled.texts[field], sides.local.texts[field], *work.incoming[field],
                        task.openOf(key)},
                       *decision, result);
        }
    for (const FieldType field : work.vanished) {
        task.store.remove(work.locale, field, TextSide::pulled);
        task.conflicts.remove({work.locale, field}); // the user's text is backed up since it arose
    }
    return result;
}

std::string explainVanished(const LocaleWork& work) {
    if (work.locale == pageLocale) {
        std::vector<std::string> fields;
        for (const FieldType field : work.vanished)
            fields.emplace_back(shortLabelOf(field));
        return fmt::format("App Store Connect holds none of these any more: {}. The local files stay, and a "
                           "push sends them.",
                           someOf(fields));
    }
    if (work.incoming.isAbsent())
        return fmt::format("{} is no longer on App Store Connect. Its local files stay; remove the folder, "
                           "or push to create the locale again.",
                           work.locale);
    return fmt::format("{} no longer has a localization for {} of its fields on App Store Connect. "
                       "The local files stay.",
                       work.locale, work.vanished.size());
}

// Conflicts end without a word of the user where a side took the other's text, or all edits are replaced.
void tellSettled(PullResult& result, const std::vector<FieldKey>& settled, DryRun dryRun) {
    if (settled.empty()) return;
    std::vector<std::string> places;
    for (const FieldKey& key : settled)
        places.push_back(fmt::format("{} {}", shownLocale(key.locale), shortLabelOf(key.field)));
    result.summary.warnings.push_back(fmt::format(
        "{}: {}.", dryRun == DryRun::yes ? "Would no longer be in conflict" : "No longer in conflict",
        someOf(places)));
}

void add(PullResult& total, std::vector<FieldKey>& settled, const LocaleResult& one) {
    const auto append = [](auto& list, const auto& more) {
        list.insert(list.end(), more.begin(), more.end());
    };
    total.summary.writtenFields += one.writtenFields;
    append(total.updated, one.updated);
    append(total.kept, one.kept);
    append(total.leftEdits, one.leftEdits);
    append(total.merged, one.merged);
    append(total.conflicts, one.conflicts);
    append(settled, one.settled);
    append(total.summary.warnings, one.warnings);
}

} // namespace

PullResult writePulledTexts(const MetadataStore& store, const std::vector<IncomingTexts>& incoming,
                            const PullOptions& options, Date moment) {
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    const PullTask task(store, options, moment);
    PullResult result;
    std::vector<LocaleWork> toWrite;
    TextsUnderWay underWay = task.interrupted;
    RemovedLocales removed(store.folder());
    LocaleTexts held;
    std::vector<std::string> back;
    std::vector<FieldKey> settled;
    const auto onDisk = store.localesOnDisk();
    for (const IncomingTexts& resource : incoming)
        for (const auto& [locale, texts] : resource.locales)
            held[locale].take(texts);
    for (LocaleWork& work : gather(incoming, pulled, options.disabledLocales, removed)) {
        if (work.locale != pageLocale && !work.incoming.isAbsent())
            result.summary.locales.push_back(work.locale);
        if (!work.vanished.empty()) result.summary.warnings.push_back(explainVanished(work));
        const Sides sides(store, work.locale);
        if (isBack(work, sides, onDisk)) back.push_back(work.locale);
        const Decisions decisions = decide(task, work, sides);
        if (!needsWriting(work, decisions) || options.dryRun == DryRun::yes) {
            add(result, settled, toldOf(task, work, decisions, sides));
            continue;
        }
        for (const FieldType field : fieldsOf(work.locale))
            if (const auto& decision = decisions[static_cast<std::size_t>(field)];
                decision && decision->writes.writesLocal &&
                withoutFinalLineBreak(decision->text) == withoutFinalLineBreak(*work.incoming[field]))
                underWay.add({work.locale, field}, decision->text);
        toWrite.push_back(std::move(work));
    }
    if (!back.empty())
        result.summary.warnings.push_back(options.dryRun == DryRun::yes ? noFolderText(back)
                                                                        : backAgainText(back));
    if (options.dryRun == DryRun::yes) {
        tellSettled(result, settled, options.dryRun);
        return result;
    }
    removed.forgetOthers(held);
    if (toWrite.empty() && !store.hasInterruptedPull()) return result;

    checkCancellation(); // nothing was begun yet
    underWay.keep();
    store.beginPull();
    for (const LocaleResult& one :
         parallelMap(toWrite, writers, [&](const LocaleWork& work) { return writeLocale(task, work); }))
        add(result, settled, one);
    tellSettled(result, settled, options.dryRun);
    store.endPull();
    underWay.forget();
    return result;
}

} // namespace quorvel
