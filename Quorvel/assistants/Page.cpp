#include "Quorvel/assistants/Page.h"

#include "Platform/json/JSON.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/assistants/LeanSchema.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::size_t mostItems = 50;
constexpr std::size_t mostBytes = 24'000;
constexpr std::size_t mostBytesOfOthers = 6'000;

} // namespace

void addPageMembers(JSONValue& input, JSONValue& output) {
    addOptional(input, "offset", "integer");
    addRequired(output, "total");
    addRequired(output, "nextOffset");
}

std::size_t takeOffset(JSONValue& arguments) {
    const JSONValue* const given = arguments.find("offset");
    if (!given) return 0;
    const std::int64_t* const offset = given->integer();
    if (!offset || *offset < 0)
        throw ApplicationError(FailureKind::badRequest, "\"offset\" must be a whole number from 0");
    const auto result = static_cast<std::size_t>(*offset);
    arguments.erase("offset");
    return result;
}

std::string cutToPage(JSONValue& result, std::string_view list, std::size_t offset) {
    auto& items = *result.find(list)->items();
    const std::size_t total = items.size();
    if (offset > 0 && offset >= total)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("the offset {} is behind the end: there are {}", offset, total));
    std::size_t end = offset;
    for (std::size_t bytes = 0; end < total && end - offset < mostItems; ++end) {
        bytes += encodeJSON(items[end]).size();
        if (bytes > mostBytes && end > offset) break;
    }
    items = JSONValue::Array(items.begin() + static_cast<std::ptrdiff_t>(offset),
                             items.begin() + static_cast<std::ptrdiff_t>(end));
    result.set("total", static_cast<std::int64_t>(total));
    result.set("nextOffset", end < total ? JSONValue(static_cast<std::int64_t>(end)) : JSONValue());
    if (end == total && offset == 0) return "";
    return fmt::format("These are {} {} to {} of {}{}", list, offset + 1, end, total,
                       end < total ? fmt::format("; call again with \"offset\": {} for more.", end) : ".");
}

std::string shortenOtherLists(JSONValue& result, std::string_view list) {
    std::string text;
    for (auto& [name, member] : *result.members()) {
        auto* const items = member.items();
        if (!items || name == list) continue;
        std::size_t end = 0;
        for (std::size_t bytes = 0; end < items->size(); ++end) {
            bytes += encodeJSON((*items)[end]).size();
            if (bytes > mostBytesOfOthers && end > 0) break;
        }
        if (end == items->size()) continue;
        text += fmt::format("{}{} shows {} of {}.", text.empty() ? "" : " ", name, end, items->size());
        items->resize(end);
    }
    return text;
}

} // namespace quorvel
