#include "Core/metadata/FieldValue.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/AppCategories.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/WebAddress.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"
#include "Platform/time/Date.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvel {

namespace {

constexpr std::array<std::string_view, 3> releaseTypes = {"MANUAL", "AFTER_APPROVAL", "SCHEDULED"};

constexpr std::pair<std::string_view, std::string_view> flagSpellings[] = {
    {"true", "true"},   {"yes", "true"}, {"1", "true"},  {"on", "true"},
    {"false", "false"}, {"no", "false"}, {"0", "false"}, {"off", "false"},
};

// Quotes a value, cut, as a file may hold anything.
std::string quotedValue(std::string_view value) {
    constexpr std::size_t shown = 60;
    const std::string_view start = graphemePrefix(value, shown);
    return fmt::format("\"{}{}\"", escapeControls(start), start.size() < value.size() ? "…" : "");
}

CategoryLevel levelOf(FieldType field) {
    return field == FieldType::primaryCategory || field == FieldType::secondaryCategory
               ? CategoryLevel::category
               : CategoryLevel::subcategory;
}

// "AFTER_APPROVAL" of "after approval".
std::string choiceSpelling(std::string_view text) {
    std::string choice(text);
    std::ranges::transform(choice, choice.begin(), [](char byte) {
        if (byte >= 'a' && byte <= 'z') return static_cast<char>(byte - 'a' + 'A');
        return byte == ' ' || byte == '-' ? '_' : byte;
    });
    return choice;
}

std::optional<std::string_view> flagIn(std::string_view text) {
    const std::string word = asciiLowercase(text);
    for (const auto& [spelling, flag] : flagSpellings)
        if (word == spelling) return flag;
    return std::nullopt;
}

bool hasSeveralLines(std::string_view text) {
    return text.find_first_of("\r\n") != std::string_view::npos;
}

// Somebody at a host of a domain; what else is allowed only its server knows.
bool isEMailAddress(std::string_view line) {
    const std::size_t at = line.find('@');
    if (at == std::string_view::npos || at == 0 || line.find_first_of(" \t") != std::string_view::npos)
        return false;
    const std::string_view host = line.substr(at + 1);
    return host.find('@') == std::string_view::npos && host.find('.') != std::string_view::npos &&
           !host.starts_with('.') && !host.ends_with('.') && host.find("..") == std::string_view::npos;
}

bool isPhoneNumber(std::string_view line) {
    constexpr std::string_view ofPhones = "0123456789+-.()/ \u00A0";
    constexpr std::ptrdiff_t fewestDigits = 5; // of a small country, with its code
    return line.find_first_not_of(ofPhones) == std::string_view::npos &&
           std::ranges::count_if(line, [](char byte) { return byte >= '0' && byte <= '9'; }) >= fewestDigits;
}

std::optional<std::string> lineFault(FieldType field, std::string_view line) {
    if (hasSeveralLines(line)) return "has several lines. Write it in one.";
    if (field == FieldType::contactEmail && !isEMailAddress(line))
        return "is no e-mail address. Write one such as help@example.com.";
    if (field == FieldType::contactPhone && !isPhoneNumber(line))
        return "is no phone number. Write it with its country, such as +44 20 7946 0000.";
    return std::nullopt;
}

std::optional<std::string> choiceFault(std::string_view choice) {
    if (std::ranges::find(releaseTypes, choice) != releaseTypes.end()) return std::nullopt;
    const auto nearest = nearestSpelling(choice, releaseTypes);
    return fmt::format("is none of {}{}.", fmt::join(releaseTypes, ", "),
                       nearest ? fmt::format("; did you mean {}?", *nearest) : "");
}

std::optional<std::string> categoryFault(std::string_view category, CategoryLevel level) {
    if (categoryNamed(category, level)) return std::nullopt;
    const auto nearest = nearestCategory(category, level);
    return fmt::format(
        "is no {} of the App Store{}.", level == CategoryLevel::category ? "category" : "subcategory",
        nearest ? fmt::format("; did you mean {}?", *nearest)
                : fmt::format(", such as {}",
                              level == CategoryLevel::category ? "PRODUCTIVITY" : "GAMES_PUZZLE"));
}

// The moment of "2026-12-01T09:00:00+01:00", which people also write without seconds.
std::optional<Date> momentIn(std::string_view date) {
    constexpr std::size_t ofMinutes = std::string_view("2026-12-01T09:00").size();
    if (const auto moment = parseISO8601(date)) return moment;
    if (date.size() <= ofMinutes || date[ofMinutes] == ':') return std::nullopt;
    return parseISO8601(fmt::format("{}:00{}", date.substr(0, ofMinutes), date.substr(ofMinutes)));
}

std::optional<std::string> dateFault(std::string_view date) {
    constexpr std::string_view advice = "Write it with its time zone, such as 2026-12-01T09:00:00+01:00.";
    const auto moment = momentIn(date);
    if (!moment) return fmt::format("is no date with a time. {}", advice);
    if (secondsSince1970(*moment) != 3600 * std::floor(secondsSince1970(*moment) / 3600))
        return "is no whole hour, and App Store Connect takes whole hours only.";
    return std::nullopt;
}

std::optional<std::string> faultOfValue(FieldType field, std::string_view value) {
    switch (kindOf(field)) {
    case FieldKind::address:
        if (auto problem = problemOfAddress(value)) return *problem + ".";
        return std::nullopt;
    case FieldKind::line:
        return lineFault(field, value);
    case FieldKind::choice:
        return choiceFault(value);
    case FieldKind::category:
        return categoryFault(value, levelOf(field));
    case FieldKind::date:
        return dateFault(value);
    case FieldKind::flag:
        return flagIn(value) ? std::nullopt : std::optional<std::string>("is neither true nor false.");
    case FieldKind::text:
    case FieldKind::json:
    case FieldKind::secret:
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::string canonicalValue(FieldType field, std::string_view text) {
    if (isStoreText(field)) return std::string(text);
    const std::string_view bare = withoutByteOrderMark(text);
    const std::string_view trimmed = trim(bare);
    switch (kindOf(field)) {
    case FieldKind::text:
    case FieldKind::secret:
        return std::string(withoutFinalLineBreak(bare));
    case FieldKind::choice:
        return choiceSpelling(trimmed);
    case FieldKind::category:
        return std::string(categoryNamed(trimmed, levelOf(field)).value_or(trimmed));
    case FieldKind::date:
        if (const auto moment = momentIn(trimmed)) return formatISO8601(*moment);
        return std::string(trimmed);
    case FieldKind::flag:
        return std::string(flagIn(trimmed).value_or(trimmed));
    case FieldKind::json:
        return ageRatingOver({}, trimmed);
    case FieldKind::line:
    case FieldKind::address:
        break;
    }
    return std::string(trimmed);
}

std::optional<std::string> valueFault(FieldType field, std::string_view text, std::string_view copy) {
    if (isBlank(text) || isStoreText(field) || text == copy) return std::nullopt;
    if (kindOf(field) == FieldKind::json) {
        const auto fault = ageRatingFault(text, copy);
        return fault ? std::optional(fmt::format("{} {}", fileNameOf(field), *fault)) : std::nullopt;
    }
    const std::string value = canonicalValue(field, text);
    if (isSecret(field)) // which no text quotes
        return hasSeveralLines(value)
                   ? std::optional(fmt::format("{} has several lines. Write it in one.", fileNameOf(field)))
                   : std::nullopt;
    const auto fault = faultOfValue(field, value);
    return fault ? std::optional(fmt::format("{}: {} {}", fileNameOf(field), quotedValue(value), *fault))
                 : std::nullopt;
}

bool canBeCleared(FieldType field) {
    switch (kindOf(field)) {
    case FieldKind::choice:
    case FieldKind::category:
    case FieldKind::flag:
        return false;
    default:
        return field != FieldType::name; // which every localization has
    }
}

} // namespace quorvel
