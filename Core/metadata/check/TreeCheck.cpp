#include "Core/metadata/check/TreeCheck.h"

#include "Core/metadata/FieldValue.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/PushChoice.h"
#include "Core/metadata/ReviewMarks.h"
#include "Core/metadata/StrayEntries.h"
#include "Core/metadata/check/PageCheck.h"
#include "Core/metadata/check/TextCheck.h"
#include "Core/metadata/merge/TextConflicts.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

namespace quorvel {

namespace {

// Without these no version is submitted.
constexpr std::array requiredTexts = {FieldType::description, FieldType::keywords, FieldType::releaseNotes,
                                      FieldType::supportURL};

const std::optional<std::string>& textIn(const ReadTexts& read, std::string_view locale, FieldType field) {
    static const std::optional<std::string> none;
    if (locale == pageLocale) return read.page[field];
    const auto found = read.texts.find(locale);
    return found == read.texts.end() ? none : found->second[field];
}

bool hasText(const ReadTexts& read, std::string_view locale, FieldType field) {
    const auto& text = textIn(read, locale, field);
    return text && !isBlank(*text);
}

// The rule under which a push leaves a change out; nothing for the user's own decisions, and for folders,
// which are found as such.
std::optional<CheckRule> ruleOf(LeftOutReason reason) {
    switch (reason) {
    case LeftOutReason::localeDisabled:
    case LeftOutReason::notAnAppStoreLocale:
        return std::nullopt;
    case LeftOutReason::onlyFinalLineBreak:
        return CheckRule::finalLineBreak;
    default:
        return fromRawValue<CheckRule>(rawValue(reason)).value();
    }
}

class TreeCheck {
  public:
    TreeCheck(const MetadataStore& store, const TextRules& rules, const PushFilter& filter,
              const LocaleSet& expected, std::optional<Date> now)
        : folder_(store.folder()),
          disabled_(rules.disabledLocales),
          filter_(filter),
          expected_(expected),
          read_(readContext(store, rules)),
          wasPulled_(store.wasPulled()),
          now_(now) {}

    [[nodiscard]] CheckedTree run() {
        checkTexts(std::string(pageLocale), read_.local.page);
        for (const auto& [locale, texts] : read_.local.texts)
            if (isChecked(locale)) checkTexts(locale, texts);
        takeUnreadable(read_.local, TextSide::local);
        takeUnreadable(read_.pulled, TextSide::pulled);
        takeConflicts();
        auto changes = changesOf(read_, ReviewMarks::load(folder_).unreadIn(read_.local.texts));
        for (const LeftOutChange& left :
             chooseForPush(std::move(changes), {.release = filter_.release}, disabled_).leftOut)
            takeLeftOut(left);
        checkMissingTexts();
        checkDemoAccount();
        for (PageFault& fault : faultsBetween(read_.local.page, read_.pulled.page, wasPulled_, now_))
            takePageFault(std::move(fault));
        checkMissingLocales();
        checkEntries();
        sortFindings(result_.findings);
        return std::move(result_);
    }

  private:
    // A folder that is no locale is one finding as a whole.
    [[nodiscard]] bool isChecked(const std::string& locale) const {
        return !disabled_.contains(locale) &&
               (isAppStoreLocale(locale) || read_.pulled.texts.contains(locale));
    }

    // Findings that are of no field are asked for with a locale at most.
    [[nodiscard]] bool isAsked(const std::string& locale) const {
        return filter_.fields.empty() && filter_.takes({locale, {}});
    }

    [[nodiscard]] bool isFromDefault(const FieldKey& key) const {
        return std::ranges::binary_search(read_.fromDefault, key);
    }

    [[nodiscard]] std::string fileOf(const FieldKey& key, TextSide side = TextSide::local) const {
        return folder_.fieldFile(key.locale, key.field, side).native();
    }

    void add(CheckSeverity severity, CheckRule rule, const FieldKey& key, std::string text,
             const std::optional<TextPlace>& place = {}) {
        if (isFromDefault(key)) return addOfDefault(severity, rule, key, std::move(text), place);
        found_.insert({key, rule});
        if (filter_.takes(key)) push(severity, rule, key, fileOf(key), std::move(text), place);
    }

    // The file that stands for many locales has a fault once: the worst that it has for one of them.
    void addOfDefault(CheckSeverity severity, CheckRule rule, const FieldKey& key, std::string text,
                      const std::optional<TextPlace>& place) {
        found_.insert({key, rule});
        if (!filter_.takes(key)) return;
        const FieldKey own{std::string(fallbackFolderName), key.field};
        const auto [known, isNew] = ofDefault_.try_emplace({rule, key.field, text}, result_.findings.size());
        if (isNew)
            push(severity, rule, own, fileOf(own), std::move(text), place);
        else if (auto& finding = result_.findings[known->second]; severity == CheckSeverity::error)
            finding.severity = severity;
    }

    void push(CheckSeverity severity, CheckRule rule, const FieldKey& key, std::string file, std::string text,
              const std::optional<TextPlace>& place) {
        result_.findings.push_back(
            {severity, rule, key.locale, key.field, std::move(file), {}, {}, std::move(text)});
        if (!place) return;
        result_.findings.back().line = place->line;
        result_.findings.back().column = place->column;
    }

    void checkTexts(const std::string& locale, const FieldTexts& texts) {
        for (const FieldType field : fieldsOf(locale)) {
            if (!texts[field]) continue;
            const FieldKey key{locale, field};
            if (filter_.takes(key) && (!isFromDefault(key) || countedDefaults_.insert(field).second))
                ++result_.texts;
            // What App Store Connect holds already it did not refuse.
            const auto& copy = textIn(read_.pulled, locale, field);
            const bool isTaken = copy == texts[field];
            const std::string_view known = copy ? std::string_view(*copy) : std::string_view();
            for (TextFault& fault : faultsOf(*texts[field], field, texts, known)) {
                std::optional<TextPlace> place;
                if (fault.offset) place = placeOf(*texts[field], *fault.offset);
                add(isTaken ? CheckSeverity::warning : factsOf(fault.rule).severity, fault.rule, key,
                    std::move(fault.text), place);
            }
        }
    }

    void takeUnreadable(const ReadTexts& read, TextSide side) {
        for (const UnreadableText& text : read.unreadable) {
            const FieldKey key = text.key();
            if (disabled_.contains(key.locale)) continue;
            if (side == TextSide::local && isOfDefault(text)) {
                addOfDefault(CheckSeverity::error, CheckRule::unreadableFile, key, text.explanation, {});
                continue;
            }
            found_.insert({key, CheckRule::unreadableFile});
            if (filter_.takes(key))
                push(CheckSeverity::error, CheckRule::unreadableFile, key, fileOf(key, side),
                     text.explanation, {});
        }
    }

    // Whether the file that cannot be read is the one that would stand for a locale's own.
    [[nodiscard]] bool isOfDefault(const UnreadableText& text) const {
        if (!folder_.isPartOfTree()) return false;
        std::error_code unreachable;
        return textIn(read_.local, text.locale, text.field) ||
               !std::filesystem::exists(std::filesystem::symlink_status(fileOf(text.key()), unreachable));
    }

    void takeConflicts() {
        for (const TextConflict& conflict : TextConflicts(folder_).all())
            if (!disabled_.contains(conflict.key.locale) &&
                (conflict.key.locale != pageLocale || isPageField(conflict.key.field)))
                add(CheckSeverity::error, CheckRule::inConflict, conflict.key,
                    conflict.problem
                        ? *conflict.problem
                        : "Changed here and on App Store Connect, and a push leaves it out. Settle "
                          "the conflict first; the list of conflicts shows both texts.");
    }

    // What a push leaves out for a reason that no rule above found by itself.
    void takeLeftOut(const LeftOutChange& left) {
        const auto rule = ruleOf(left.reason);
        const FieldKey key = left.change.key();
        const bool isKnown = found_.contains({key, CheckRule::inConflict}); // whatever else it is
        if (rule && !isKnown && !found_.contains({key, *rule}))
            add(left.isMissed ? CheckSeverity::error : CheckSeverity::warning, *rule, key, left.explanation);
    }

    [[nodiscard]] bool isMissing(const std::string& locale, FieldType field) const {
        return !hasText(read_.local, locale, field) && !hasText(read_.pulled, locale, field) &&
               !found_.contains({{locale, field}, CheckRule::unreadableFile});
    }

    // A pull leaves a blank copy of a text that App Store Connect lacks; copies that a push made are of the
    // fields alone that have a file.
    [[nodiscard]] bool isKnownMissing(const FieldKey& key) const {
        const auto copies = read_.pulled.texts.find(key.locale);
        const bool isNewLocale = copies == read_.pulled.texts.end() || copies->second.isAbsent();
        return wasPulled_ && (isNewLocale || copies->second[key.field]);
    }

    void checkMissingTexts() {
        std::size_t locales = 0;
        std::map<FieldType, std::vector<std::string>> missing;
        for (const auto& [locale, texts] : read_.local.texts) {
            if (!isChecked(locale)) continue;
            ++locales;
            for (const FieldType field : localeFields)
                if ((!texts[field] || isBlank(*texts[field])) && isMissing(locale, field))
                    missing[field].push_back(locale);
        }
        for (const auto& [field, lacking] : missing)
            for (const std::string& locale : lacking)
                if (field != FieldType::releaseNotes || filter_.release != Release::first)
                    addMissing({locale, field}, locales - lacking.size(), locales - 1);
    }

    void addMissing(const FieldKey& key, std::size_t having, std::size_t others) {
        const bool isKnown = isKnownMissing(key);
        if (key.field == FieldType::name)
            return add(CheckSeverity::warning, CheckRule::missingText, key,
                       fmt::format("Is missing; App Store Connect takes no locale without a name, so a push "
                                   "that creates it takes the app's own. Write {}.",
                                   fileNameOf(key.field)));
        const bool isRequired = std::ranges::find(requiredTexts, key.field) != requiredTexts.end() &&
                                (isKnown || key.field != FieldType::releaseNotes);
        if (isRequired)
            return add(isKnown ? CheckSeverity::error : CheckSeverity::warning, CheckRule::missingText, key,
                       fmt::format("Is missing; without this text the version cannot be submitted. {}",
                                   isKnown ? "Write it, or disable the locale."
                                           : "Write it, or pull what App Store Connect holds."));
        if (having > 0 && having * 2 >= others)
            add(CheckSeverity::warning, CheckRule::missingBeside, key,
                fmt::format("Is missing; {} of the other {} locales have it.", having, others));
    }

    // App Review signs in with it, so a version that says that it needs one is not submitted without.
    void checkDemoAccount() {
        constexpr FieldType flag = FieldType::demoAccountRequired;
        const ReadTexts& counts = hasText(read_.local, pageLocale, flag) ? read_.local : read_.pulled;
        if (canonicalValue(flag, counts.page[flag].value_or("")) != "true") return;
        for (const FieldType field : {FieldType::demoAccountName, FieldType::demoAccountPassword})
            if (isMissing(std::string(pageLocale), field))
                add(wasPulled_ ? CheckSeverity::error : CheckSeverity::warning, CheckRule::missingText,
                    {std::string(pageLocale), field},
                    fmt::format("Is missing, though {} says that App Review needs an account; without it the "
                                "version cannot be submitted. Write it, or say false there.",
                                fileNameOf(flag)));
    }

    void takePageFault(PageFault fault) {
        const FieldKey key{std::string(pageLocale), fault.field};
        if (!found_.contains({key, CheckRule::unreadableFile})) // which hides what there is
            add(fault.severity, fault.rule, key, std::move(fault.text));
    }

    void checkMissingLocales() {
        const LocaleSet onStore(read_.withoutFolder.begin(), read_.withoutFolder.end());
        LocaleSet missing = onStore;
        for (const std::string& locale : expected_)
            if (!disabled_.contains(locale) && !read_.local.texts.contains(locale)) missing.insert(locale);
        std::erase_if(missing, [&](const std::string& locale) { return !isAsked(locale); });
        for (const std::string& locale : missing)
            result_.findings.push_back(
                {CheckSeverity::warning,
                 CheckRule::missingLocale,
                 locale,
                 std::nullopt,
                 folder_.localeFolder(locale).native(),
                 {},
                 {},
                 fmt::format(
                     "{} {}, and has no folder here. Pull to get it, or disable or remove the locale.",
                     locale,
                     onStore.contains(locale) ? "is on App Store Connect" : "is one of the app's locales")});
    }

    void checkEntries() {
        std::vector<SkippedEntry> entries = strayEntries(folder_, read_.listings);
        entries.insert(entries.end(), read_.unusedDefaults.begin(), read_.unusedDefaults.end());
        for (const SkippedEntry& entry : entries) {
            if (folder_.isPartOfTree() && isOfPictures(entry)) continue;
            const std::filesystem::path path = folder_.boundary() / entry.path;
            const auto inside = path.lexically_relative(folder_.rootURL);
            const std::string name = inside.begin()->native();
            const bool isFolder = name == inside && read_.local.texts.contains(name);
            if (disabled_.contains(name) || (isFolder && isChecked(name))) continue;
            const bool isOfLocale = isAppStoreLocale(name) || name == fallbackFolderName;
            CheckFinding finding{CheckSeverity::warning,
                                 isFolder ? CheckRule::notAnAppStoreLocale : CheckRule::unknownFile,
                                 isOfLocale ? name : std::string(),
                                 std::nullopt,
                                 path.native(),
                                 {},
                                 {},
                                 fmt::format("\"{}\" {}. No push takes it.",
                                             escapeControls(path.filename().native()), entry.reason)};
            if (!isAsked(finding.locale)) continue;
            // A push counts such a folder as left out of what was asked for.
            if (isFolder && nearestAppStoreLocale(name) && !read_.local.texts.at(name).isAbsent())
                finding.severity = CheckSeverity::error;
            result_.findings.push_back(std::move(finding));
        }
    }

    MetadataFolder folder_;
    const LocaleSet& disabled_;
    const PushFilter& filter_;
    const LocaleSet& expected_;
    ReadContext read_;
    bool wasPulled_; // else nothing is known of what App Store Connect holds
    std::optional<Date> now_;
    CheckedTree result_;
    std::set<std::pair<FieldKey, CheckRule>> found_;
    std::map<std::tuple<CheckRule, FieldType, std::string>, std::size_t> ofDefault_; // places of findings
    std::set<FieldType> countedDefaults_;
};

} // namespace

CheckedTree checkTree(const MetadataStore& store, const TextRules& rules, const PushFilter& filter,
                      const LocaleSet& expected, std::optional<Date> now) {
    return TreeCheck(store, rules, filter, expected, now).run();
}

void sortFindings(std::vector<CheckFinding>& findings) {
    std::ranges::sort(findings, {}, [](const CheckFinding& one) {
        return std::tie(one.severity, one.rule, one.file, one.line, one.column);
    });
}

} // namespace quorvel
