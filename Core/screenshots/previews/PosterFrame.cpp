#include "Core/screenshots/previews/PosterFrame.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"
#include "Platform/text/Decimal.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace quorvel {

namespace {

constexpr std::string_view posterSuffix = ".poster.txt";
constexpr double longestSeconds = 99 * 3600; // that two digits of hours can tell

using Parts = std::array<int, 4>; // hours, minutes, seconds, frames

std::optional<Parts> partsOf(std::string_view code) {
    constexpr std::string_view form = "HH:MM:SS:FF";
    if (code.size() != form.size()) return std::nullopt;
    Parts parts{};
    for (std::size_t at = 0; at < parts.size(); ++at) {
        const std::string_view digits = code.substr(at * 3, 2);
        for (const char digit : digits) {
            if (digit < '0' || digit > '9') return std::nullopt;
            parts[at] = parts[at] * 10 + (digit - '0');
        }
        // A semicolon before the frames is usual where frames are dropped from the count.
        if (at > 0 && code[at * 3 - 1] != ':' && code[at * 3 - 1] != ';' && code[at * 3 - 1] != '.')
            return std::nullopt;
    }
    return parts[1] < 60 && parts[2] < 60 ? std::optional(parts) : std::nullopt;
}

std::string textOf(const Parts& parts) {
    return fmt::format("{:02}:{:02}:{:02}:{:02}", parts[0], parts[1], parts[2], parts[3]);
}

std::string_view trimmedText(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace

std::optional<std::string> timeCodeOf(std::string_view text) {
    text = trimmedText(text);
    if (const auto parts = partsOf(text)) return textOf(*parts);
    const auto seconds = parseDecimal(text);
    if (!seconds || *seconds >= longestSeconds) return std::nullopt;
    const auto frames = static_cast<long>(std::lround(*seconds * framesOfTimeCode));
    const auto whole = static_cast<int>(frames / framesOfTimeCode);
    return textOf({whole / 3600, whole / 60 % 60, whole % 60, static_cast<int>(frames % framesOfTimeCode)});
}

double secondsOfTimeCode(std::string_view timeCode) {
    const Parts parts = partsOf(timeCode).value_or(Parts{});
    return parts[0] * 3600 + parts[1] * 60 + parts[2] + static_cast<double>(parts[3]) / framesOfTimeCode;
}

bool isSameTimeCode(std::string_view left, std::string_view right) {
    const auto parts = partsOf(left);
    return parts ? parts == partsOf(right) : left == right;
}

std::filesystem::path posterFileOf(const std::filesystem::path& video) {
    return video.parent_path() / (video.stem().native() + std::string(posterSuffix));
}

bool isPosterFileName(std::string_view name) {
    return name.ends_with(posterSuffix);
}

std::string readPosterFrame(const std::filesystem::path& video) {
    const auto file = posterFileOf(video);
    const std::string name = shownPath(file.filename());
    std::optional<std::string> text;
    try {
        text = readFile(file);
    } catch (const FileError& error) {
        throw PosterFrameError(fmt::format("has a poster frame that cannot be read: {}", error.what()));
    }
    if (!text || trimmedText(*text).empty()) return {};
    if (auto code = timeCodeOf(*text)) return *code;
    throw PosterFrameError(fmt::format("has no poster frame in {}. Write a time code such as {} into it, or "
                                       "seconds such as 7.5.",
                                       name, usualPosterFrame));
}

} // namespace quorvel
