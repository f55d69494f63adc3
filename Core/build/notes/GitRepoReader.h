// The history of the git repository that an app's project lies in.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/process/ProcessRunner.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A repository that cannot be read; the text says what to do.
class GitRepoError : public std::runtime_error {
  public:
    enum class Kind { notARepository, commandFailed, invalidRange, gitNotFound };

    [[nodiscard]] static GitRepoError notARepository(const std::string& path);
    [[nodiscard]] static GitRepoError commandFailed(const std::string& stderrText);
    [[nodiscard]] static GitRepoError invalidRange(const std::string& range);
    [[nodiscard]] static GitRepoError gitNotFound();
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    GitRepoError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    Kind kind_;
};

struct GitCommit {
    std::string sha;
    std::string shortSha;
    std::optional<Date> authorDate; // nothing for one that is no date
    std::string subject;
    std::string body;
    QUORVEL_RECORD(GitCommit, sha, shortSha, authorDate, subject, body)
    bool operator==(const GitCommit&) const = default;
};

/// Commits from `from`, which is left out, up to `to`.
struct VersionRange {
    enum class Source { priorVersionTag, mostRecentTag, headOnly, given };
    std::string from; // a tag or commit; empty: the start of history
    std::string to = "HEAD";
    Source source = Source::headOnly;
    QUORVEL_RECORD(VersionRange, from, to, source)

    /// As git takes it: "v1.2..HEAD", or "HEAD" alone.
    [[nodiscard]] std::string text() const { return from.empty() ? to : from + ".." + to; }
    bool operator==(const VersionRange&) const = default;
};

template <>
struct RawValues<VersionRange::Source> {
    using S = VersionRange::Source;
    static constexpr std::pair<S, std::string_view> values[] = {{S::priorVersionTag, "priorVersionTag"},
                                                                {S::mostRecentTag, "mostRecentTag"},
                                                                {S::headOnly, "headOnly"},
                                                                {S::given, "given"}};
};

/// Where the git executable is looked for, in order; then "xcrun git" is tried.
struct GitPlaces {
    std::vector<std::filesystem::path> executables = {"/usr/local/bin/git", "/usr/bin/git"};
    std::filesystem::path xcrun = "/usr/bin/xcrun";
};

constexpr std::int64_t defaultMaxCommits = 2000;

/// Reads one repository with git itself, never through a shell, with no pager, no prompt, no network, and no
/// program that the repository's own configuration names. Texts are UTF-8; bytes that are none become
/// U+FFFD. All throw `GitRepoError`.
class GitRepoReader {
  public:
    explicit GitRepoReader(GitPlaces places = {}) : places_(std::move(places)) {}

    /// The root of the repository that holds `folder`; for a bare repository the folder itself.
    [[nodiscard]] std::filesystem::path findRoot(const std::filesystem::path& folder) const;
    /// Whether the repository would take `file` with all else that is in the folder: it lies in a working
    /// tree, which does not ignore it.
    [[nodiscard]] bool takes(const std::filesystem::path& file) const;
    /// Whether git leaves `path`, which need not exist, out of the repository that holds `folder`.
    [[nodiscard]] bool ignores(const std::filesystem::path& folder, const std::filesystem::path& path) const;
    /// All tags, the newest first.
    [[nodiscard]] std::vector<std::string> listTags(const std::filesystem::path& root) const;
    /// Whether the clone lacks older history.
    [[nodiscard]] bool isShallow(const std::filesystem::path& root) const;

    /// Calls `onCommit` for each commit of the range, the newest first; none for a repository without
    /// commits.
    void readCommits(const std::filesystem::path& root, const VersionRange& range,
                     const std::function<void(GitCommit)>& onCommit,
                     std::int64_t maxCount = defaultMaxCommits) const;
    [[nodiscard]] std::vector<GitCommit> commits(const std::filesystem::path& root, const VersionRange& range,
                                                 std::int64_t maxCount = defaultMaxCommits) const;

  private:
    ProcessRunner::Result git(const std::filesystem::path& folder, const std::vector<std::string>& arguments,
                              const ProcessRunner::LineHandler& onLine = {}) const;

    GitPlaces places_;
};

} // namespace quorvel
