#include "Core/build/notes/GitRepoReader.h"

#include "Core/asc/KeyVariables.h"
#include "Core/build/notes/GitLogParser.h"
#include "Platform/text/Text.h"

#include <unistd.h>

namespace quorvel {

namespace {

using Arguments = std::vector<std::string>;

// The repository is foreign: nothing that its configuration names may run, and nothing may reach the network.
Arguments safeArguments(const std::filesystem::path& folder) {
    return {"-C",
            folder.string(),
            "--no-pager",
            "-c",
            "core.fsmonitor=false",
            "-c",
            "core.hooksPath=/dev/null",
            "-c",
            "core.pager=cat",
            "-c",
            "core.alternateRefsCommand=",
            "-c",
            "log.showSignature=false",
            "-c",
            "log.mailmap=false",
            "-c",
            "color.ui=never",
            "-c",
            "protocol.allow=never",
            "-c",
            "i18n.logOutputEncoding=UTF-8"};
}

// Error texts are compared, so they must be in English; what points git elsewhere must not be inherited, nor
// the text of a key.
std::map<std::string, std::optional<std::string>> safeEnvironment() {
    std::map<std::string, std::optional<std::string>> environment = {
        {"LC_ALL", "C"},
        {"GIT_TERMINAL_PROMPT", "0"},
        {"GIT_OPTIONAL_LOCKS", "0"},
        {"GIT_NO_LAZY_FETCH", "1"},
        {"GIT_PAGER", "cat"},
        {"GIT_FLUSH", "0"}, // else each commit is a write, a wake-up and a read of its own
        {"GIT_ASKPASS", "true"},
        {"GIT_DIR", std::nullopt},
        {"GIT_WORK_TREE", std::nullopt},
        {"GIT_INDEX_FILE", std::nullopt},
        {"GIT_COMMON_DIR", std::nullopt},
        {"GIT_SHALLOW_FILE", std::nullopt},
        {"GIT_GRAFT_FILE", std::nullopt},
        {"GIT_REPLACE_REF_BASE", std::nullopt},
        {"GIT_NAMESPACE", std::nullopt},
        {"GIT_OBJECT_DIRECTORY", std::nullopt},
        {"GIT_ALTERNATE_OBJECT_DIRECTORIES", std::nullopt},
        {"GIT_CONFIG_PARAMETERS", std::nullopt},
        {"GIT_EXTERNAL_DIFF", std::nullopt},
        {"GIT_TRACE", std::nullopt}};
    environment.merge(withoutKeyTexts());
    return environment;
}

bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool meansNoRepository(std::string_view errors) {
    return holds(errors, "not a git repository");
}

} // namespace

GitRepoError GitRepoError::notARepository(const std::string& path) {
    return {Kind::notARepository,
            "No git repository found at or above " + path + ". Run `git init` to enable auto-notes."};
}

GitRepoError GitRepoError::commandFailed(const std::string& stderrText) {
    return {Kind::commandFailed, "git command failed: " + stderrText};
}

GitRepoError GitRepoError::invalidRange(const std::string& range) {
    return {Kind::invalidRange,
            "git can't resolve the range '" + range + "' — the tag or commit may not exist."};
}

GitRepoError GitRepoError::gitNotFound() {
    return {Kind::gitNotFound,
            "git is not installed (or `xcrun git` failed). Install Xcode command-line tools."};
}

std::filesystem::path GitRepoReader::findRoot(const std::filesystem::path& folder) const {
    std::error_code unreachable;
    if (!std::filesystem::is_directory(folder, unreachable))
        throw GitRepoError::notARepository(folder.string());
    const auto result = git(folder, {"rev-parse", "--show-toplevel"});
    if (result.succeeded()) return result.stdoutTail;
    if (meansNoRepository(result.stderrTail)) throw GitRepoError::notARepository(folder.string());
    if (holds(result.stderrTail, "must be run in a work tree")) return folder;
    throw GitRepoError::commandFailed(result.stderrTail);
}

bool GitRepoReader::takes(const std::filesystem::path& file) const {
    constexpr int notIgnored = 1;
    return git(file.parent_path(), {"check-ignore", "--quiet", "--", file.filename().string()}).exitCode ==
           notIgnored;
}

bool GitRepoReader::ignores(const std::filesystem::path& folder, const std::filesystem::path& path) const {
    constexpr int noneIsIgnored = 1;
    const auto result = git(folder, {"check-ignore", "--quiet", "--", path.string()});
    if (!result.succeeded() && result.exitCode != noneIsIgnored)
        throw GitRepoError::commandFailed(result.stderrTail);
    return result.succeeded();
}

std::vector<std::string> GitRepoReader::listTags(const std::filesystem::path& root) const {
    std::vector<std::string> tags;
    // Configured columns would put several tags on a line.
    const auto result = git(root, {"tag", "--list", "--no-column", "--sort=-creatordate"},
                            [&](std::string_view line, ProcessRunner::Stream stream) {
                                if (stream == ProcessRunner::Stream::standardOutput) tags.emplace_back(line);
                            });
    if (!result.succeeded()) throw GitRepoError::commandFailed(result.stderrTail);
    return tags;
}

bool GitRepoReader::isShallow(const std::filesystem::path& root) const {
    return git(root, {"rev-parse", "--is-shallow-repository"}).stdoutTail == "true";
}

void GitRepoReader::readCommits(const std::filesystem::path& root, const VersionRange& range,
                                const std::function<void(GitCommit)>& onCommit, std::int64_t maxCount) const {
    GitLogParser parser(onCommit);
    // Without the end of options, a range that begins with a dash would be one.
    const auto result = git(root,
                            {"log", "--max-count=" + std::to_string(maxCount), std::string(gitLogFormat),
                             "--end-of-options", range.text(), "--"},
                            [&](std::string_view line, ProcessRunner::Stream stream) {
                                if (stream == ProcessRunner::Stream::standardOutput) parser.addLine(line);
                            });
    if (!result.succeeded()) {
        const bool isUnknown =
            holds(result.stderrTail, "unknown revision") || holds(result.stderrTail, "bad revision");
        const bool isEmpty =
            range.text() == "HEAD" && !git(root, {"rev-parse", "--verify", "--quiet", "HEAD"}).succeeded();
        if (isEmpty || holds(result.stderrTail, "does not have any commits yet")) return;
        if (isUnknown) throw GitRepoError::invalidRange(range.text());
        throw GitRepoError::commandFailed(result.stderrTail);
    }
    parser.finish();
}

std::vector<GitCommit> GitRepoReader::commits(const std::filesystem::path& root, const VersionRange& range,
                                              std::int64_t maxCount) const {
    std::vector<GitCommit> commits;
    readCommits(
        root, range, [&](GitCommit commit) { commits.push_back(std::move(commit)); }, maxCount);
    return commits;
}

ProcessRunner::Result GitRepoReader::git(const std::filesystem::path& folder, const Arguments& arguments,
                                         const ProcessRunner::LineHandler& onLine) const {
    ProcessRunner::Command command{.arguments = safeArguments(folder), .environment = safeEnvironment()};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    for (const std::filesystem::path& candidate : places_.executables)
        if (command.executable.empty() && ::access(candidate.c_str(), X_OK) == 0)
            command.executable = candidate;
    if (command.executable.empty()) {
        if (::access(places_.xcrun.c_str(), X_OK) != 0) throw GitRepoError::gitNotFound();
        command.executable = places_.xcrun;
        command.arguments.insert(command.arguments.begin(), "git");
    }
    const auto result = ProcessRunner::run(command, onLine);
    const bool isXcrun = command.executable == places_.xcrun.string();
    if (isXcrun && !result.succeeded() && holds(result.stderrTail, "xcrun: error"))
        throw GitRepoError::gitNotFound();
    return result;
}

} // namespace quorvel
