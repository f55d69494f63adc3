#include "Quorvel/controllers/metadata/RunReverter.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/records/Records.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

// What a run made of one field.
struct Change {
    std::string previous;
    std::string sent;
    bool isUnknown = false; // App Store Connect may have taken it
};

bool areEqual(FieldType field, std::string_view left, std::string_view right) {
    return left == right || (isBlank(left) && isBlank(right)) ||
           canonicalValue(field, left) == canonicalValue(field, right);
}

class Reverter {
  public:
    Reverter(const MetadataStore& store, const TextRules& rules, Date moment, DryRun dryRun)
        : store_(store),
          rules_(rules),
          fallbacks_(store.folder()),
          onDisk_(store.localesOnDisk()),
          pulled_(store.localesOnDisk(TextSide::pulled)),
          moment_(moment),
          dryRun_(dryRun) {}

    void revertLocale(const std::string& locale, const std::map<FieldType, Change>& changes) {
        if (rules_.disabledLocales.contains(locale))
            return warn("{} is disabled for this app, so its texts stay as they are. "
                        "Enable the locale to revert them.",
                        locale);
        if (locale != pageLocale && !std::ranges::binary_search(onDisk_, locale)) {
            // A folder with the reverted texts alone would say that all the others are to be removed, as long
            // as there are others.
            if (std::ranges::binary_search(pulled_, locale))
                return warn("{} has no folder any more, so nothing of it was reverted. Pull to get it back.",
                            locale);
            warn("{} was removed. Its folder {} made anew; the next push creates the locale.", locale,
                 dryRun_ == DryRun::no ? "was" : "would be");
        }
        for (const auto& [field, change] : changes) {
            try {
                revertField({locale, field}, change);
            } catch (const MetadataError& error) {
                warn("The {} of {} stays as it is: {}", shortLabelOf(field), shownLocale(locale),
                     error.what());
            }
        }
    }

    template <typename... Arguments>
    void warn(fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        report_.warnings.push_back(fmt::format(text, std::forward<Arguments>(arguments)...));
    }
    [[nodiscard]] RevertReport takeReport() {
        if (unknown_ > 0)
            warn("The answer to {} was lost, so App Store Connect may hold the old text or the new one. "
                 "The next push makes sure that it holds the old one.",
                 counted(unknown_, "field"));
        return std::move(report_);
    }

  private:
    void revertField(const FieldKey& key, const Change& change) {
        if (key.field == FieldType::name && isBlank(change.previous))
            return warn("The name of {} stays, as App Store Connect has no localization without one. "
                        "Remove the locale on App Store Connect if it should go.",
                        key.locale);
        if (isSecret(key.field))
            return warn("The {} is kept in no history, so it stays as it is. Write it into {} again.",
                        shortLabelOf(key.field), fileNameOf(key.field));
        const bool isAgeRating = kindOf(key.field) == FieldKind::json;
        std::string copy;
        if (change.isUnknown || isAgeRating)
            copy = store_.read(key.locale, key.field, TextSide::pulled).value_or("");
        if (change.isUnknown) expectSent(key, change, copy);
        const std::string& previous = change.previous;
        const auto takeBack = [&](const std::optional<std::string>& local) -> std::optional<std::string> {
            if (isAgeRating) return takeAnswersBack(key, change, copy, local);
            if (counts(key.field, local, previous)) return std::nullopt;
            const bool isNewer = local && !isBlank(*local) && !counts(key.field, local, change.sent);
            if (isNewer) keep(key, *local);
            return previous + lineBreakOf(local, previous);
        };
        const bool reverts = dryRun_ == DryRun::no ? store_.update(key.locale, key.field, takeBack)
                                                   : takeBack(store_.read(key.locale, key.field)).has_value();
        (reverts ? report_.reverted : report_.unchanged).push_back(key);
        if (isBlank(change.previous) && fallbacks_.standingFor(std::nullopt, key.field))
            warn("The {} of {} was none before, but the text of default/ stands for a blank one.",
                 shortLabelOf(key.field), key.locale);
    }

    // Other answers of the file may be newer than the run.
    [[nodiscard]] std::optional<std::string> takeAnswersBack(const FieldKey& key, const Change& change,
                                                             const std::string& copy,
                                                             const std::optional<std::string>& local) {
        const auto back = ageRatingBack(local.value_or(""), copy, change.previous, change.sent);
        if (!back) return std::nullopt;
        if (back->replacesEdit) keep(key, *local);
        return back->text + lineBreakOf(local, back->text);
    }

    // Whether the local text counts as `text`; that of all locales counts for a blank one.
    [[nodiscard]] bool counts(FieldType field, const std::optional<std::string>& local,
                              const std::string& text) const {
        const auto& standIn = fallbacks_.standingFor(local, field);
        const std::string here = standIn ? *standIn : local.value_or("");
        return areEqual(
            field, isStoreText(field) ? countedText(rules_.finalLineBreak, field, here, text) : here, text);
    }

    // Other tools and editors end each file with a line break, and versions of the file are compared.
    [[nodiscard]] std::string lineBreakOf(const std::optional<std::string>& local,
                                          const std::string& text) const {
        const auto hasLineBreak = [](std::string_view one) {
            return withoutFinalLineBreak(one).size() < one.size();
        };
        const bool keepsIt = rules_.finalLineBreak == FinalLineBreak::strip && local &&
                             hasLineBreak(*local) && !isBlank(text) && !hasLineBreak(text);
        return keepsIt ? "\n" : "";
    }

    // The copy would say that the previous text needs no push.
    void expectSent(const FieldKey& key, const Change& change, std::string& copy) {
        ++unknown_;
        if (!areEqual(key.field, copy, change.previous)) return;
        copy = change.sent;
        if (dryRun_ == DryRun::no) store_.write(key.locale, key.field, copy, TextSide::pulled);
    }

    void keep(const FieldKey& key, const std::string& text) {
        const std::string path = dryRun_ == DryRun::no
                                     ? store_.keepBeside(key.locale, key.field, text, moment_).native()
                                     : std::string();
        report_.kept.push_back({key.locale, key.field, path});
    }

    const MetadataStore& store_;
    const TextRules& rules_;
    FallbackTexts fallbacks_;
    std::vector<std::string> onDisk_;
    std::vector<std::string> pulled_;
    Date moment_;
    DryRun dryRun_;
    RevertReport report_;
    std::size_t unknown_ = 0;
};

} // namespace

PlatformContext contextOfRun(const std::vector<PushHistoryEntry>& entries) {
    for (const PushHistoryEntry& entry : entries) {
        const auto platform = fromRawValue<ASCPlatform>(entry.platform.value_or(""));
        const auto stateClass = fromRawValue<AppStoreVersionStateClass>(entry.stateClass.value_or(""));
        if (platform && stateClass) return {*platform, *stateClass, entry.versionString.value_or(""), {}, {}};
    }
    throw MetadataError(
        MetadataError::Kind::failed,
        "The history does not tell which platform and version this run was of, so it cannot be reverted.");
}

RevertReport revertEntries(const std::vector<PushHistoryEntry>& entries, const MetadataStore& store,
                           const TextRules& rules, Date moment, DryRun dryRun) {
    Reverter reverter(store, rules, moment, dryRun);
    std::map<std::string, std::map<FieldType, Change>> changes;
    for (const PushHistoryEntry& entry : entries) {
        const bool isUnknown = isOutcomeUnknown(entry);
        if (!entry.success && !isUnknown) continue;
        const auto field = fromRawValue<FieldType>(entry.fieldType);
        if (!field) {
            reverter.warn("The field \"{}\" of {} is not known here, so it stays as it is.",
                          escapeControls(entry.fieldType), entry.locale);
            continue;
        }
        // Should a field have been sent twice, the text before the first counts.
        const auto [place, isFirst] =
            changes[entry.locale].try_emplace(*field, Change{entry.previousValue, entry.newValue, isUnknown});
        if (!isFirst) {
            place->second.sent = entry.newValue;
            place->second.isUnknown = isUnknown;
        }
    }
    if (changes.empty()) reverter.warn("Nothing of this run reached App Store Connect.");
    for (const auto& [locale, fields] : changes)
        reverter.revertLocale(locale, fields);
    return reverter.takeReport();
}

} // namespace quorvel
