#include "Sandbox/rules/Query.h"

#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace quorvel::sandbox {
namespace {

constexpr int largestPage = 200;
constexpr int largestLinkage = 50;
constexpr std::string_view cursorMark = "AA"; // cursors are not to be taken for numbers

std::vector<std::string> splitList(std::string_view text) {
    std::vector<std::string> parts;
    while (true) {
        const size_t comma = std::min(text.find(','), text.size());
        parts.emplace_back(text.substr(0, comma));
        if (comma == text.size()) return parts;
        text.remove_prefix(comma + 1);
    }
}

std::optional<std::size_t> number(std::string_view text) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::size_t readLimit(std::string_view name, const std::string& value, int largest) {
    const auto limit = number(value);
    if (!limit || *limit < 1 || *limit > static_cast<std::size_t>(largest))
        throw Refusal(invalidParameter(
            name,
            fmt::format("'{}' is not a valid value for the parameter '{}': it must be a number from 1 to {}",
                        value, name, largest)));
    return *limit;
}

/// The text between the brackets of "filter[platform]"; nothing when `name` has another head.
std::optional<std::string_view> bracketed(std::string_view name, std::string_view head) {
    if (!name.starts_with(head) || name.size() < head.size() + 2) return std::nullopt;
    name.remove_prefix(head.size());
    if (name.front() != '[' || name.back() != ']') return std::nullopt;
    return name.substr(1, name.size() - 2);
}

[[noreturn]] void refuseValue(std::string_view name, std::string_view value) {
    throw Refusal(
        invalidParameter(name, fmt::format("'{}' is not a valid value for the parameter '{}'", value, name)));
}

bool isTerritory(std::string_view value) {
    return value.size() == 3 && std::ranges::all_of(value, [](char c) { return c >= 'A' && c <= 'Z'; });
}

void readFilter(const ReadOperation& operation, std::string_view name, std::string_view parameter,
                const std::string& value, Query& query) {
    const auto filter = std::ranges::find(operation.filters, name, &Filter::name);
    if (filter == operation.filters.end()) throw Refusal(unknownParameter(parameter));
    QueryFilter read{std::string(name), splitList(value)};
    for (const std::string& item : read.values) {
        const bool valid = filter->choices.empty()        ? !item.empty()
                           : filter->choices == "alpha-3" ? isTerritory(item)
                                                          : isChoice(filter->choices, item);
        if (!valid) refuseValue(parameter, item);
    }
    query.filters.push_back(std::move(read));
}

void readSorts(const ReadOperation& operation, const std::string& value, Query& query) {
    for (std::string item : splitList(value)) {
        const bool descending = item.starts_with('-');
        const std::string key = descending ? item.substr(1) : item;
        if (!isChoice(operation.sorts, key)) refuseValue("sort", item);
        query.sorts.push_back({key, descending});
    }
}

bool isShownType(const ReadOperation& operation, std::string_view type) {
    if (type == operation.type) return true;
    return std::ranges::any_of(relationsOf(operation.type), [&](const Relation& relation) {
        return relation.target == type && isChoice(operation.includes, relation.name);
    });
}

void readParameter(const ReadOperation& operation, const std::string& name, const std::string& value,
                   Query& query) {
    const bool list = operation.result == Result::list;
    if (name == "limit" && list) {
        query.limit = readLimit(name, value, largestPage);
    } else if (name == "cursor" && list) {
        const auto offset =
            value.starts_with(cursorMark) ? number(value.substr(cursorMark.size())) : std::nullopt;
        if (!offset) refuseValue(name, value);
        query.offset = *offset;
    } else if (name == "sort" && !operation.sorts.empty()) {
        readSorts(operation, value, query);
    } else if (name == "include" && !operation.includes.empty()) {
        query.shape.include = splitList(value);
        for (const std::string& item : query.shape.include)
            if (!isChoice(operation.includes, item)) refuseValue(name, item);
    } else if (const auto filter = bracketed(name, "filter")) {
        readFilter(operation, *filter, name, value, query);
    } else if (const auto present = bracketed(name, "exists");
               present && isChoice(operation.exists, *present)) {
        if (!isChoice("true|false", value)) refuseValue(name, value);
        query.exists.emplace_back(*present, value == "true");
    } else if (const auto included = bracketed(name, "limit");
               included && isChoice(operation.includes, *included)) {
        (void)readLimit(name, value, largestLinkage);
    } else if (const auto type = bracketed(name, "fields"); type && isShownType(operation, *type)) {
        const auto fields = splitList(value);
        query.shape.fields[std::string(*type)] = {fields.begin(), fields.end()};
    } else {
        throw Refusal(unknownParameter(name));
    }
}

} // namespace

Query readQuery(const ReadOperation& operation, const Request& request) {
    Query query;
    std::set<std::string> seen;
    for (const auto& [name, value] : request.query) {
        if (!seen.insert(name).second)
            throw Refusal(invalidParameter(name, "A parameter may be given once only"));
        readParameter(operation, name, value, query);
    }
    for (const Filter& filter : operation.filters) {
        const std::string name = fmt::format("filter[{}]", filter.name);
        if (filter.need == Filter::Need::required && !seen.contains(name))
            throw Refusal(missingParameter(name));
    }
    return query;
}

std::string ownAddress(std::string_view baseURL, const Request& request) {
    std::string address = fmt::format("{}{}", baseURL, request.target.substr(0, request.target.find('?')));
    char separator = '?';
    for (const auto& [name, value] : request.query) {
        address += fmt::format("{}{}={}", separator, percentEncode(name), percentEncode(value));
        separator = '&';
    }
    return address;
}

std::string nextPage(std::string_view baseURL, const Request& request, std::size_t offset,
                     std::size_t limit) {
    std::string target(request.target.substr(0, request.target.find('?')));
    target += fmt::format("?cursor={}{}", cursorMark, offset);
    for (const auto& [name, value] : request.query)
        if (name != "cursor" && name != "limit")
            target += fmt::format("&{}={}", percentEncode(name), percentEncode(value));
    return fmt::format("{}{}&limit={}", baseURL, target, limit);
}

} // namespace quorvel::sandbox
