// Commands on the store texts of an app, in the folder "texts".
#pragma once

#include "Tests/Programs/QuorvelFixture.h"

namespace quorvel::test {

class MetadataCommands : public QuorvelAccountTest {
  protected:
    explicit MetadataCommands(sandbox::Seed seed = sandbox::Seed::demo) : QuorvelAccountTest(seed) {}

    ProgramResult pull() { return run({"pull", "--app", app, "--folder", "texts"}); }
    ProgramResult push(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"push", "--app", app, "--folder", "texts", "--yes"});
        return run(std::move(more));
    }
    void write(std::string_view locale, std::string_view file, std::string_view content) const {
        createFolders(text(locale, file).parent_path());
        writeFileAtomically(text(locale, file), content);
    }
    std::string read(std::string_view locale, std::string_view file) const {
        return readFile(text(locale, file)).value_or("(no file)");
    }
    static void expectRebuilds(const JSONValue& difference) {
        std::string remote;
        std::string local;
        for (const JSONValue& segment : *difference.find("segments")->items()) {
            const std::string& kind = *segment.find("kind")->text();
            if (kind != "added") remote += *segment.find("text")->text();
            if (kind != "removed") local += *segment.find("text")->text();
        }
        EXPECT_EQ(remote, *difference.at("change", "remote")->text());
        EXPECT_EQ(local, *difference.at("change", "local")->text());
    }
    JSONValue document(std::vector<std::string> words) {
        words.push_back("--json");
        const auto result = run(words);
        EXPECT_EQ(result.status, 0) << result.error;
        return onlyDocument(result.out);
    }
    /// A member of the document, such as the list that a command is about.
    JSONValue documented(std::vector<std::string> words, std::string_view member) {
        const JSONValue whole = document(std::move(words));
        const JSONValue* found = whole.find(member);
        EXPECT_NE(found, nullptr) << member;
        return found ? *found : JSONValue();
    }
    /// What the pull of one context did.
    JSONValue pulledResult(std::vector<std::string> words) {
        const JSONValue pulls = documented(std::move(words), "pulls");
        EXPECT_EQ(pulls.items()->size(), 1u);
        return *pulls.items()->front().find("result");
    }
};

} // namespace quorvel::test
