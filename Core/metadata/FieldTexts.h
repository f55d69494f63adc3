// The texts of locales as plain values.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Platform/json/JSON.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quorvel {

/// One field of one locale, or of the page (`pageLocale`).
struct FieldKey {
    std::string locale;
    FieldType field = FieldType::name;
    QUORVEL_RECORD(FieldKey, locale, field)
    auto operator<=>(const FieldKey&) const = default;
};

/// The texts of one locale, or of the page; none where there is no file, or where App Store Connect has no
/// localization.
struct FieldTexts {
    std::array<std::optional<std::string>, allFieldTypes.size()> texts;

    [[nodiscard]] std::optional<std::string>& operator[](FieldType field) {
        return texts[static_cast<std::size_t>(field)];
    }
    [[nodiscard]] const std::optional<std::string>& operator[](FieldType field) const {
        return texts[static_cast<std::size_t>(field)];
    }
    /// Takes over every text that `other` has.
    void take(const FieldTexts& other) {
        for (const FieldType field : allFieldTypes)
            if (other[field]) (*this)[field] = other[field];
    }
    /// Whether there is no text at all, not even an empty one.
    [[nodiscard]] bool isAbsent() const {
        return std::ranges::none_of(texts, [](const auto& text) { return text.has_value(); });
    }
    bool operator==(const FieldTexts&) const = default;
};

/// Locale code → its texts; iterates in sorted order. The page is not among them unless that is said.
using LocaleTexts = std::map<std::string, FieldTexts, std::less<>>;

/// Locale codes.
using LocaleSet = std::set<std::string, std::less<>>;

/// A file that cannot be taken as a text, and why; nothing is read from it, pushed or written over it.
struct UnreadableText {
    std::string locale;
    FieldType field = FieldType::name;
    std::string explanation;
    bool isFile =
        false; // a file of the tree whose content is the trouble, and nothing that only looks like one
    QUORVEL_RECORD_EXCEPT(UnreadableText, (isFile), locale, field, explanation)

    [[nodiscard]] FieldKey key() const { return {locale, field}; }
    bool operator==(const UnreadableText&) const = default;
};

/// The texts that could be read, and the files that could not; in locale order and then in field order.
struct ReadTexts {
    LocaleTexts texts; // an unreadable text is absent; its locale is there
    FieldTexts page;
    std::vector<UnreadableText> unreadable;

    /// The texts of the locale, or of the page; nothing for a locale that is not there.
    [[nodiscard]] const FieldTexts* find(std::string_view locale) const {
        if (locale == pageLocale) return &page;
        const auto found = texts.find(locale);
        return found == texts.end() ? nullptr : &found->second;
    }
    [[nodiscard]] std::optional<std::string> text(const FieldKey& key) const {
        const FieldTexts* const of = find(key.locale);
        return of ? (*of)[key.field] : std::nullopt;
    }
};

} // namespace quorvel
