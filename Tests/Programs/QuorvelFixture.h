// A private account, a private home, and the built program between them.
#pragma once

#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Sandbox/SandboxServer.h"
#include "Tests/support/ChildProgram.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace quorvel::test {

/// Runs the program in a folder and a home of its own; no variable of the test's environment reaches it.
class QuorvelTest : public testing::Test {
  protected:
    ProgramCall call(std::vector<std::string> arguments) {
        return {QUORVEL_PROGRAM, std::move(arguments), environment, folder.path(), input};
    }
    ProgramResult run(std::vector<std::string> arguments) { return runProgram(call(std::move(arguments))); }

    /// What bash offers for the last word of each line; a word that it would expand shows as it was.
    std::vector<std::string> completedInBash(const std::vector<std::string>& lines) {
        std::string script =
            "quorvel() { '" QUORVEL_PROGRAM "' \"$@\"; }\neval \"$(quorvel completion bash)\"\n";
        for (const std::string& line : lines)
            script += "COMP_WORDS=(" + line +
                      "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMPREPLY=(); _quorvel; "
                      "echo \"${COMPREPLY[*]}\"\n";
        const auto result = runProgram({"/bin/bash", {"-c", script}, environment, folder.path(), ""});
        EXPECT_EQ(result.error, "");
        std::vector<std::string> completed;
        std::istringstream offered(result.out);
        for (std::string line; std::getline(offered, line);)
            completed.push_back(line);
        return completed;
    }

    TemporaryFolder folder;
    std::map<std::string, std::string> environment = {{"HOME", (folder / "home").string()},
                                                      {"PATH", "/usr/bin:/bin"},
                                                      {"LC_ALL", "C.UTF-8"},
                                                      {"TMPDIR", folder.path().string()}};
    std::string input;
};

/// With a sandbox that the program talks to, and its key in the environment.
class QuorvelAccountTest : public QuorvelTest {
  protected:
    explicit QuorvelAccountTest(sandbox::Seed seed = sandbox::Seed::demo)
        : server({.stateFolder = folder / "sandbox", .seed = seed}) {
        environment["QUORVEL_ENDPOINTS"] = server.access().endpointsFile.string();
        environment["ASC_KEY_ID"] = server.access().keyID;
        environment["ASC_ISSUER_ID"] = server.access().issuerID;
        environment["ASC_PRIVATE_KEY_PATH"] = server.access().privateKeyFile.string();
    }
    void forgetEnvironmentKey() {
        for (const auto* name : {"ASC_KEY_ID", "ASC_ISSUER_ID", "ASC_PRIVATE_KEY_PATH"})
            environment.erase(name);
    }
    /// The path of a local text of the garden journal's coming iOS version, in the folder "texts".
    [[nodiscard]] std::filesystem::path text(std::string_view locale, std::string_view file) const {
        return folder / "texts/ios/next" / locale / file;
    }
    std::size_t changesSent() const {
        std::size_t count = 0;
        for (const auto& request : server.requests())
            count += request.method != "GET";
        return count;
    }

    static constexpr const char* app = "studio.fernhollow.mosswick";
    sandbox::SandboxServer server;
};

/// The one JSON document that `text` is; fails the test when it is none.
inline JSONValue onlyDocument(const std::string& text) {
    try {
        return decodeJSON<JSONValue>(text);
    } catch (const JSONError& error) {
        ADD_FAILURE() << error.what() << " in: " << text;
        return {};
    }
}

} // namespace quorvel::test
