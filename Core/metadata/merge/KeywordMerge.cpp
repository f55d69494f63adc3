#include "Core/metadata/merge/KeywordMerge.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <vector>

namespace quorvel {

namespace {

using Terms = std::vector<std::string_view>;

Terms termsOf(std::string_view list) {
    Terms terms;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        if (const auto term = trim(list.substr(0, end)); !term.empty()) terms.push_back(term);
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return terms;
}

bool namesTerm(const Terms& terms, std::string_view term) {
    return std::ranges::find(terms, term) != terms.end();
}

bool namesOneTwice(Terms terms) {
    std::ranges::sort(terms);
    return std::ranges::adjacent_find(terms) != terms.end();
}

Terms thoseIn(const Terms& terms, const Terms& others) {
    Terms common;
    for (const std::string_view term : terms)
        if (namesTerm(others, term)) common.push_back(term);
    return common;
}

} // namespace

std::optional<std::string> mergeKeywords(std::string_view base, std::string_view ours,
                                         std::string_view theirs) {
    const Terms before = termsOf(base);
    const Terms here = termsOf(ours);
    const Terms there = termsOf(theirs);
    if (namesOneTwice(before) || namesOneTwice(here) || namesOneTwice(there)) return std::nullopt;
    const auto keepsItsOrder = [&](const Terms& side) {
        return thoseIn(before, side) == thoseIn(side, before);
    };
    if (!keepsItsOrder(here) || !keepsItsOrder(there)) return std::nullopt;
    Terms merged;
    for (const std::string_view term : here)
        if (namesTerm(there, term) || !namesTerm(before, term)) merged.push_back(term);
    for (const std::string_view term : there)
        if (!namesTerm(before, term) && !namesTerm(here, term)) merged.push_back(term);
    const bool hasBlanks = ours.find(", ") != std::string_view::npos;
    return fmt::format("{}", fmt::join(merged, hasBlanks ? ", " : ","));
}

} // namespace quorvel
