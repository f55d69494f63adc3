// A git repository of a test's own, made with git itself.
#pragma once

#include "Platform/files/Files.h"
#include "Platform/process/ProcessRunner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace quorvel::test {

class GitRepository {
  public:
    explicit GitRepository(const std::filesystem::path& folder) {
        createFolders(folder);
        root_ = std::filesystem::canonical(folder);
        git({"init", "--quiet", "--initial-branch=main"});
    }

    void git(std::vector<std::string> arguments, const std::string& input = "") const {
        arguments.insert(arguments.begin(), {"-c", "user.name=A", "-c", "user.email=a@example.org", "-c",
                                             "commit.gpgSign=false", "-c", "tag.gpgSign=false"});
        const auto result = ProcessRunner::run({.executable = "git",
                                                .arguments = arguments,
                                                .environment = {{"GIT_CONFIG_GLOBAL", "/dev/null"},
                                                                {"GIT_COMMITTER_DATE", date()},
                                                                {"GIT_AUTHOR_DATE", date()}},
                                                .workingFolder = root_,
                                                .input = input});
        ASSERT_TRUE(result.succeeded()) << result.stderrTail;
    }
    /// A later commit has a later date.
    void commit(const std::string& message) {
        ++commits_;
        git({"commit", "--quiet", "--allow-empty", "--cleanup=verbatim", "--file=-"}, message);
    }
    /// Many commits at once on top of those there are, "Commit 1" and so on, each with `body`.
    void commitMany(std::size_t count, const std::string& body) const {
        std::string stream;
        const bool isEmpty = hashOf("HEAD").size() != 40;
        for (std::size_t number = 1; number <= count; ++number) {
            const std::string message = "Commit " + std::to_string(number) + "\n\n" + body;
            stream += "commit refs/heads/main\ncommitter A <a@example.org> " +
                      std::to_string(1'767'225'600 + number) + " +0000\ndata " +
                      std::to_string(message.size()) + "\n" + message + "\n" +
                      (number == 1 && !isEmpty ? "from refs/heads/main^0\n" : "");
        }
        git({"fast-import", "--quiet"}, stream);
    }
    void tag(const std::string& name) const { git({"tag", name}); }
    [[nodiscard]] const std::filesystem::path& root() const { return root_; }
    /// The hash of a revision.
    [[nodiscard]] std::string hashOf(const std::string& revision) const {
        return ProcessRunner::run(
                   {.executable = "git", .arguments = {"rev-parse", revision}, .workingFolder = root_})
            .stdoutTail;
    }

  private:
    [[nodiscard]] std::string date() const {
        return "2026-01-01T00:00:" + std::string(commits_ < 10 ? "0" : "") + std::to_string(commits_) +
               "+02:00";
    }
    std::filesystem::path root_;
    int commits_ = 0;
};

} // namespace quorvel::test
