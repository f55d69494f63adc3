#include "Core/metadata/check/TreeCheck.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/PushChoice.h"
#include "Core/metadata/ReviewMarks.h"
#include "Core/metadata/StrayEntries.h"
#include "Core/metadata/check/TextCheck.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <string_view>
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
    TreeCheck(const MetadataStore& store, const TextRules& rules, Release release, const LocaleSet& expected)
        : folder_(store.folder()),
          disabled_(rules.disabledLocales),
          release_(release),
          expected_(expected),
          read_(readContext(store, rules)),
          wasPulled_(store.wasPulled()) {}

    [[nodiscard]] CheckedTree run() {
        checkTexts(std::string(pageLocale), read_.local.page);
        for (const auto& [locale, texts] : read_.local.texts)
            if (isChecked(locale)) checkTexts(locale, texts);
        takeUnreadable(read_.local, TextSide::local);
        takeUnreadable(read_.pulled, TextSide::pulled);
        auto changes = changesOf(read_, ReviewMarks::load(folder_).unreadIn(read_.local.texts));
        for (const LeftOutChange& left :
             chooseForPush(std::move(changes), {.release = release_}, disabled_).leftOut)
            takeLeftOut(left);
        checkMissingTexts();
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

    [[nodiscard]] std::string fileOf(const FieldKey& key, TextSide side = TextSide::local) const {
        return folder_.fieldFile(key.locale, key.field, side).native();
    }

    void add(CheckSeverity severity, CheckRule rule, const FieldKey& key, std::string text) {
        found_.insert({key, rule});
        result_.findings.push_back(
            {severity, rule, key.locale, key.field, fileOf(key), {}, {}, std::move(text)});
    }

    void checkTexts(const std::string& locale, const FieldTexts& texts) {
        for (const FieldType field : fieldsOf(locale)) {
            if (!texts[field]) continue;
            ++result_.texts;
            // What App Store Connect holds already it did not refuse.
            const bool isTaken = textIn(read_.pulled, locale, field) == texts[field];
            for (TextFault& fault : faultsOf(*texts[field], field, texts)) {
                add(isTaken ? CheckSeverity::warning : factsOf(fault.rule).severity, fault.rule,
                    {locale, field}, std::move(fault.text));
                if (!fault.offset) continue;
                const TextPlace place = placeOf(*texts[field], *fault.offset);
                result_.findings.back().line = place.line;
                result_.findings.back().column = place.column;
            }
        }
    }

    void takeUnreadable(const ReadTexts& read, TextSide side) {
        for (const UnreadableText& text : read.unreadable) {
            if (disabled_.contains(text.locale)) continue;
            add(CheckSeverity::error, CheckRule::unreadableFile, text.key(), text.explanation);
            result_.findings.back().file = fileOf(text.key(), side);
        }
    }

    // What a push leaves out for a reason that no rule above found by itself.
    void takeLeftOut(const LeftOutChange& left) {
        const auto rule = ruleOf(left.reason);
        if (rule && !found_.contains({left.change.key(), *rule}))
            add(left.isMissed ? CheckSeverity::error : CheckSeverity::warning, *rule, left.change.key(),
                left.explanation);
    }

    [[nodiscard]] bool isMissing(const std::string& locale, FieldType field) const {
        return !hasText(read_.local, locale, field) && !hasText(read_.pulled, locale, field) &&
               !found_.contains({{locale, field}, CheckRule::unreadableFile});
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
                if (field != FieldType::releaseNotes || release_ != Release::first)
                    addMissing({locale, field}, locales - lacking.size(), locales - 1);
    }

    void addMissing(const FieldKey& key, std::size_t having, std::size_t others) {
        const std::string_view label = shortLabelOf(key.field);
        const bool isKnown = wasPulled_;
        if (key.field == FieldType::name)
            return add(CheckSeverity::warning, CheckRule::missingText, key,
                       fmt::format("{} has no name; App Store Connect takes no locale without one, so a push "
                                   "that creates it takes the app's own. Write {}.",
                                   key.locale, fileNameOf(key.field)));
        const bool isRequired = std::ranges::find(requiredTexts, key.field) != requiredTexts.end() &&
                                (isKnown || key.field != FieldType::releaseNotes);
        if (isRequired)
            return add(isKnown ? CheckSeverity::error : CheckSeverity::warning, CheckRule::missingText, key,
                       fmt::format("{} has no {}, without which the version cannot be submitted. {}",
                                   key.locale, label,
                                   isKnown ? "Write it, or disable the locale."
                                           : "Write it, or pull what App Store Connect holds."));
        if (having > 0 && having * 2 >= others)
            add(CheckSeverity::warning, CheckRule::missingBeside, key,
                fmt::format("{} has no {}, which {} of the other {} have.", key.locale, label, having,
                            others));
    }

    void checkMissingLocales() {
        const LocaleSet onStore(read_.withoutFolder.begin(), read_.withoutFolder.end());
        LocaleSet missing = onStore;
        for (const std::string& locale : expected_)
            if (!disabled_.contains(locale) && !read_.local.texts.contains(locale)) missing.insert(locale);
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
        for (const SkippedEntry& entry : strayEntries(folder_)) {
            const std::string name = entry.path.substr(0, entry.path.find('/'));
            const bool isFolder = name == entry.path && read_.local.texts.contains(name);
            if (disabled_.contains(name) || (isFolder && isChecked(name))) continue;
            CheckFinding finding{
                CheckSeverity::warning,
                isFolder ? CheckRule::notAnAppStoreLocale : CheckRule::unknownFile,
                isAppStoreLocale(name) ? name : std::string(),
                std::nullopt,
                (folder_.boundary() / entry.path).native(),
                {},
                {},
                fmt::format("\"{}\" {}. No push takes it.", escapeControls(entry.path), entry.reason)};
            // A push counts such a folder as left out of what was asked for.
            if (isFolder && nearestAppStoreLocale(name) && !read_.local.texts.at(name).isAbsent())
                finding.severity = CheckSeverity::error;
            result_.findings.push_back(std::move(finding));
        }
    }

    MetadataFolder folder_;
    const LocaleSet& disabled_;
    Release release_;
    const LocaleSet& expected_;
    ReadContext read_;
    bool wasPulled_; // else nothing is known of what App Store Connect holds
    CheckedTree result_;
    std::set<std::pair<FieldKey, CheckRule>> found_;
};

} // namespace

CheckedTree checkTree(const MetadataStore& store, const TextRules& rules, Release release,
                      const LocaleSet& expected) {
    return TreeCheck(store, rules, release, expected).run();
}

void sortFindings(std::vector<CheckFinding>& findings) {
    std::ranges::sort(findings, {}, [](const CheckFinding& one) {
        return std::tie(one.severity, one.rule, one.file, one.line, one.column);
    });
}

} // namespace quorvel
