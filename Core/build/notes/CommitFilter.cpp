#include "Core/build/notes/CommitFilter.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace quorvel {

namespace {

using Kind = CommitKind;

constexpr std::pair<std::string_view, Kind> prefixes[] = {
    {"feat", Kind::feature},
    {"feature", Kind::feature},
    {"fix", Kind::fix},
    {"bugfix", Kind::fix},
    {"perf", Kind::performance},
    {"performance", Kind::performance},
    {"ux", Kind::ux},
    {"ui", Kind::ux},
    {"style", Kind::ux},
    {"design", Kind::ux},
    {"docs", Kind::docs},
    {"doc", Kind::docs},
    {"refactor", Kind::refactor},
    {"chore", Kind::chore},
    {"build", Kind::chore},
    {"ci", Kind::chore},
    {"deps", Kind::chore},
    {"test", Kind::chore},
    {"tests", Kind::chore},
    {"revert", Kind::chore},
};

// Tried before the plain "fix": "fixes typo" is a chore.
constexpr std::array<std::string_view, 18> choreFragments = {
    "bump version", "version bump", "release ",    "tag ",         "ci:",    "build:",
    "deps:",        "deps ",        "dependency ", "dependencies", "style:", "lint:",
    "format:",      "formatting",   "wip",         "tmp",          "stuff",  "fixes "};

std::optional<Kind> kindOfPrefix(std::string_view subject) {
    const auto colon = subject.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    std::string_view prefix = subject.substr(0, colon);
    prefix = prefix.substr(0, prefix.find('('));
    if (prefix.ends_with('!')) prefix.remove_suffix(1);
    prefix = trim(prefix);
    for (const auto& [name, kind] : prefixes)
        if (name == prefix) return kind;
    return std::nullopt;
}

} // namespace

CommitKind CommitFilter::kindOf(std::string_view subject) {
    const std::string lower = asciiLowercase(subject);
    const auto holdsAny = [&](auto... parts) { return ((lower.find(parts) != std::string::npos) || ...); };
    if (lower.starts_with("merge ")) return Kind::merge; // also "merge branch" and "merge pull request"
    if (const auto kind = kindOfPrefix(lower)) return *kind;
    if (std::ranges::any_of(choreFragments, [&](std::string_view part) { return holdsAny(part); }))
        return Kind::chore;
    if (holdsAny("fix", "bug")) return Kind::fix;
    if (holdsAny("performance", "speed", "faster")) return Kind::performance;
    if (holdsAny("add ", "new ", "introduce")) return Kind::feature;
    return Kind::other;
}

ClassifiedCommit CommitFilter::classify(GitCommit commit) {
    const Kind kind = kindOf(commit.subject);
    const bool include =
        kind != Kind::chore && kind != Kind::merge && kind != Kind::docs && kind != Kind::refactor;
    return {std::move(commit), kind, include};
}

} // namespace quorvel
