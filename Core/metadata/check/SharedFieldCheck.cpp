#include "Core/metadata/check/SharedFieldCheck.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace quorvel {

namespace {

bool isSharedByPlatforms(FieldType field) {
    const FieldHome home = homeOf(field);
    return home == FieldHome::appInfoLocalization || home == FieldHome::appInfo ||
           home == FieldHome::ageRating;
}

// One side of the comparison.
struct PlatformTexts {
    MetadataFolder folder;
    ReadContext read;

    // What a push would set; nothing where it would not.
    [[nodiscard]] std::optional<std::string> toSet(const FieldKey& key) const {
        auto text = read.local.text(key);
        if (!text || isBlank(*text) || text == read.pulled.text(key)) return std::nullopt;
        return valueFault(key.field, *text, copyOf(key)) ? std::nullopt : std::move(text);
    }
    [[nodiscard]] std::string copyOf(const FieldKey& key) const { return read.pulled.text(key).value_or(""); }
    [[nodiscard]] std::string fileOf(const FieldKey& key) const {
        const bool isOfDefault = std::ranges::binary_search(read.fromDefault, key);
        return folder.fieldFile(isOfDefault ? fallbackFolderName : std::string_view(key.locale), key.field)
            .native();
    }
};

// Whether both answer one question anew, and differently.
bool answerDifferently(const JSONValue& here, const JSONValue& there) {
    return std::ranges::any_of(*here.members(), [&](const auto& member) {
        const JSONValue* const other = there.find(member.first);
        return other && *other != member.second;
    });
}

bool setDifferently(const FieldKey& key, const PlatformTexts& here, const PlatformTexts& there) {
    const auto mine = here.toSet(key);
    const auto theirs = there.toSet(key);
    if (!mine || !theirs) return false;
    if (kindOf(key.field) == FieldKind::json)
        return answerDifferently(ageRatingChanges(here.copyOf(key), *mine),
                                 ageRatingChanges(there.copyOf(key), *theirs));
    return canonicalValue(key.field, *mine) != canonicalValue(key.field, *theirs);
}

} // namespace

std::vector<CheckFinding> differencesOfSharedFields(const MetadataStore& store, const MetadataStore& other,
                                                    const TextRules& rules, const PushFilter& filter) {
    const PlatformTexts here{store.folder(), readContext(store, rules)};
    const PlatformTexts there{other.folder(), readContext(other, rules)};
    std::vector<CheckFinding> findings;
    std::set<std::pair<std::string, std::string>> told; // a file of all locales is told once
    const auto compare = [&](const std::string& locale) {
        for (const FieldType field : fieldsOf(locale)) {
            const FieldKey key{locale, field};
            if (!isSharedByPlatforms(field) || !filter.takes(key) || !setDifferently(key, here, there))
                continue;
            const std::string file = here.fileOf(key);
            const std::string otherFile = there.fileOf(key);
            if (told.emplace(file, otherFile).second)
                findings.push_back({CheckSeverity::warning, CheckRule::differsBetweenPlatforms, locale, field,
                                    file, std::nullopt, std::nullopt,
                                    fmt::format("All platforms share the {}, and {} says otherwise, so each "
                                                "push would undo the other's. Write the same into both.",
                                                shortLabelOf(field), escapeControls(otherFile))});
        }
    };
    compare(std::string(pageLocale));
    for (const auto& [locale, texts] : here.read.local.texts)
        if (!rules.disabledLocales.contains(locale)) compare(locale);
    return findings;
}

} // namespace quorvel
