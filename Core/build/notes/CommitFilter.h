// What kind of change a commit is, read off its subject.
#pragma once

#include "Core/build/notes/GitRepoReader.h"

#include <string_view>

namespace quorvel {

enum class CommitKind { feature, fix, performance, ux, docs, refactor, chore, merge, other };

template <>
struct RawValues<CommitKind> {
    using K = CommitKind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::feature, "feature"}, {K::fix, "fix"},     {K::performance, "performance"},
        {K::ux, "ux"},           {K::docs, "docs"},   {K::refactor, "refactor"},
        {K::chore, "chore"},     {K::merge, "merge"}, {K::other, "other"},
    };
};

struct ClassifiedCommit {
    GitCommit commit;
    CommitKind kind = CommitKind::other;
    bool include = true; // whether the model is told of it
    QUORVEL_RECORD(ClassifiedCommit, commit, kind, include)
    bool operator==(const ClassifiedCommit&) const = default;
};

namespace CommitFilter {

[[nodiscard]] CommitKind kindOf(std::string_view subject);
/// Classified; chores, merges, documentation and refactorings are left out at first, as customers do not
/// notice them.
[[nodiscard]] ClassifiedCommit classify(GitCommit commit);

} // namespace CommitFilter

} // namespace quorvel
