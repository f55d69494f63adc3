#include "Core/build/ToolOutput.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

bool namesACause(std::string_view line) {
    static constexpr std::array<std::string_view, 8> marks = {
        "error:",         "no profiles for",         "requires a development team", "no signing certificate",
        "no account for", "provisioning profile \"", "errsecinternalcomponent",     "undefined symbol"};
    const std::string lower = asciiLowercase(line);
    if (lower.starts_with("error domain=")) return false; // says the line above again, in one long dump
    return std::ranges::any_of(marks,
                               [&](std::string_view mark) { return lower.find(mark) != std::string::npos; });
}

} // namespace

std::vector<std::string_view> linesOf(std::string_view output) {
    std::vector<std::string_view> lines;
    while (!output.empty()) {
        const auto end = output.find('\n');
        lines.push_back(trim(output.substr(0, end)));
        output.remove_prefix(end == std::string_view::npos ? output.size() : end + 1);
    }
    return lines;
}

void CauseList::add(std::string_view line) {
    if (causes_.size() >= limit_) return;
    line = trim(line.substr(0, maxLineBytes));
    if (!namesACause(line)) return;
    std::string cause = repairUTF8(line);
    if (std::ranges::find(causes_, cause) == causes_.end()) causes_.push_back(std::move(cause));
}

std::vector<std::string> causesIn(std::string_view output, std::size_t limit) {
    CauseList list(limit);
    for (const std::string_view line : linesOf(output))
        list.add(line);
    return list.causes();
}

std::string lastLines(std::string_view text, std::size_t count) {
    while (text.ends_with('\n'))
        text.remove_suffix(1);
    std::size_t start = text.size();
    for (std::size_t found = 0; found < count && start != 0; ++found) {
        const auto lineEnd = text.rfind('\n', start - 1);
        start = lineEnd == std::string_view::npos ? 0 : lineEnd;
    }
    if (start != 0) ++start;
    return std::string(text.substr(start));
}

} // namespace quorvel
