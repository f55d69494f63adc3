#include "Sandbox/faults/FaultTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace quorvel::sandbox {
namespace {

constexpr std::array<std::string_view, 7> actions = {"reset",    "resetDuring", "resetAfter", "statusAfter",
                                                     "truncate", "slow",        "expireToken"};
constexpr int statusOfStatusAfter = 500;

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (true) {
        const size_t end = std::min(text.find(separator), text.size());
        parts.push_back(text.substr(0, end));
        if (end == text.size()) return parts;
        text.remove_prefix(end + 1);
    }
}

bool pathMatches(std::string_view pattern, std::string_view path) {
    const auto wanted = split(pattern, '/');
    const auto given = split(path, '/');
    for (size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] == "**") return true;
        if (i >= given.size() || (wanted[i] != "*" && wanted[i] != given[i])) return false;
    }
    return wanted.size() == given.size();
}

template <typename Number>
Number readNumber(std::string_view text, std::string_view what) {
    Number number{};
    std::istringstream input{std::string(text)};
    input.imbue(std::locale::classic());
    if (!(input >> std::noskipws >> number) || input.peek() != std::istringstream::traits_type::eof())
        throw std::invalid_argument(fmt::format("The {} \"{}\" of the fault is no number.", what, text));
    return number;
}

void readEffect(std::string_view text, Fault& fault) {
    constexpr std::string_view after = "After";
    const bool number = !text.empty() && text.front() >= '0' && text.front() <= '9';
    if (number && text.ends_with(after)) {
        fault.action = "statusAfter";
        fault.status = readNumber<int>(text.substr(0, text.size() - after.size()), "status");
    } else if (number) {
        fault.status = readNumber<int>(text, "status");
    } else {
        fault.action = text;
        if (text == "statusAfter") fault.status = statusOfStatusAfter;
    }
}

} // namespace

Fault parseFault(std::string_view text) {
    const auto parts = split(text, ':');
    if (parts.size() < 2 || parts.size() > 4 || parts[0].empty())
        throw std::invalid_argument(
            fmt::format("\"{}\" is no fault: it must read ROUTE:STATUS_OR_ACTION[:PROBABILITY[:COUNT]], "
                        "such as \"GET /v1/apps:503:0.2\".",
                        text));
    Fault fault;
    fault.route = parts[0];
    readEffect(parts[1], fault);
    if (parts.size() > 2) fault.probability = readNumber<double>(parts[2], "probability");
    if (parts.size() > 3) fault.count = readNumber<std::int64_t>(parts[3], "count");
    validate(fault);
    return fault;
}

void validate(const Fault& fault) {
    if (fault.route != "*" && fault.route.find('/') == std::string::npos)
        throw std::invalid_argument(fmt::format("The route \"{}\" of the fault is neither \"*\" "
                                                "nor a method and a path, such as \"GET /v1/apps\".",
                                                fault.route));
    if (fault.status && (*fault.status < 400 || *fault.status > 599))
        throw std::invalid_argument(fmt::format(
            "The status {} of the fault is no failure: it must be from 400 to 599.", *fault.status));
    if (fault.action && std::ranges::find(actions, *fault.action) == actions.end())
        throw std::invalid_argument(
            fmt::format("The action \"{}\" of the fault is unknown: it must be a status or one of {}.",
                        *fault.action, fmt::join(actions, ", ")));
    if (!fault.status && !fault.action) throw std::invalid_argument("A fault needs a status or an action.");
    if (fault.action == "statusAfter" && !fault.status)
        throw std::invalid_argument("A fault with the action \"statusAfter\" needs a status.");
    if (!(fault.probability >= 0 && fault.probability <= 1))
        throw std::invalid_argument(
            fmt::format("The probability {} of the fault is not from 0 to 1.", fault.probability));
    if (fault.count && *fault.count < 0)
        throw std::invalid_argument(fmt::format("The count {} of the fault is negative.", *fault.count));
}

bool routeMatches(std::string_view route, std::string_view method, std::string_view path) {
    if (route == "*") return true;
    const size_t space = route.find(' ');
    const std::string_view pattern = space == route.npos ? route : route.substr(space + 1);
    const std::string_view wanted = space == route.npos ? std::string_view("*") : route.substr(0, space);
    return (wanted == "*" || wanted == method) && pathMatches(pattern, path);
}

void FaultTable::set(std::vector<Fault> faults) {
    std::ranges::for_each(faults, validate);
    faults_ = std::move(faults);
}

std::optional<Fault> FaultTable::take(std::string_view method, std::string_view path) {
    for (Fault& fault : faults_) {
        if (fault.count && *fault.count == 0) continue;
        if (!routeMatches(fault.route, method, path)) continue;
        // Its own arithmetic instead of a distribution, so that a seed plays the same everywhere.
        const double drawn = fault.probability < 1 ? static_cast<double>(random_() >> 11) * 0x1p-53 : 0;
        if (drawn >= fault.probability) continue;
        if (fault.count) --*fault.count;
        return fault;
    }
    return std::nullopt;
}

} // namespace quorvel::sandbox
