// The fields of the page from the command line.
#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/GitRepository.h"

#include <fmt/format.h>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class PageCommands : public MetadataCommands {
  protected:
    ProgramResult on(std::vector<std::string> words, std::vector<std::string> more = {}) {
        words.insert(words.end(), {"--app", app, "--folder", "texts"});
        words.insert(words.end(), more.begin(), more.end());
        return run(std::move(words));
    }
    void put(std::string_view file, std::string_view content) const { write(".", file, content); }

    static constexpr const char* passwordFile = "review_information/demo_password.txt";
};

TEST_F(PageCommands, goFromAPullToAPushAndBack) {
    ASSERT_EQ(pull().status, 0);
    EXPECT_EQ(read(".", "copyright.txt"), "2026 Fernhollow Studio");
    put("copyright.txt", "2027 Fernhollow Studio\n");
    put("primary_category.txt", "WETHER\n");
    put("rating_config.json", "{\"gambling\": false}\n");
    const auto status = on({"status"});
    EXPECT_THAT(status.out, AllOf(HasSubstr("Page: Copyright, "), HasSubstr("3 changed.")));
    EXPECT_THAT(on({"diff", "--field", "copyright"}).out,
                AllOf(HasSubstr("page Copyright"), Not(HasSubstr("Age rating"))));
    const auto checked = on({"check"});
    EXPECT_EQ(checked.status, 1);
    EXPECT_THAT(checked.out, AllOf(HasSubstr("primary_category.txt"), HasSubstr("did you mean WEATHER?")));

    // What is no value waits, and the rest goes.
    const auto pushed = on({"push", "--yes", "--locale", "page"});
    EXPECT_EQ(pushed.status, 7) << pushed.all();
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 2 fields · page"));
    put("primary_category.txt", "weather\n");
    EXPECT_EQ(push().status, 0);
    EXPECT_THAT(on({"status"}).out, HasSubstr("Local matches App Store Connect"));
    const auto runs = documented({"history", "--app", app}, "runs");
    EXPECT_EQ(*runs.items()->back().find("locales"), JSONValue(0)); // the page is none
    EXPECT_EQ(on({"history", "revert", *runs.items()->back().find("run")->text(), "--yes"}).status, 0);
    EXPECT_EQ(read(".", "copyright.txt"), "2026 Fernhollow Studio");
}

TEST_F(PageCommands, tellTheDemoPasswordToNobody) {
    const std::string password = "xK7-secret-4711";
    const GitRepository repository(folder / "texts"); // that would take it
    ASSERT_EQ(pull().status, 0);
    put(passwordFile, password + "\n");
    put("review_information/phone_number.txt", std::string(30, '1')); // refused, so each field is sent alone

    std::string shown;
    const auto show = [&](const std::vector<std::string>& words) {
        shown += on(words, {"--verbose", "--json"}).all();
    };
    shown += on({"diff"}, {"--verbose"}).all();
    shown += on({"push", "--dry-run"}, {"--verbose"}).all();
    show({"status"});
    show({"diff", "--remote"});
    show({"check"});
    show({"push", "--dry-run"});
    EXPECT_THAT(shown, AllOf(HasSubstr("(set)"), HasSubstr(passwordFile)));
    EXPECT_EQ(modeOf(text(".", passwordFile)), 0644U); // as an editor or git makes it
    const GitRepository other(folder / "out");
    const auto exported = on({"metadata", "export", "out"});
    EXPECT_THAT(exported.error,
                AllOf(HasSubstr("out/review_information/demo_password.txt"), HasSubstr("would take it")));
    shown += exported.all();
    const auto pushed = on({"push", "--yes", "--verbose", "--json"});
    EXPECT_THAT(pushed.error, HasSubstr("would take it"));
    EXPECT_EQ(modeOf(text(".", passwordFile)), 0600U);
    shown += pushed.all();
    shown += run({"history", "show", "last", "--app", app, "--json"}).all();
    shown += run({"history", "show", "last", "--app", app, "--verbose"}).all();
    put(passwordFile, password + "-2");
    show({"pull"});
    show({"conflicts"});
    show({"push", "--yes"});
    show({"metadata", "export", (folder / "exported").string()});
    EXPECT_THAT(shown, Not(HasSubstr(password)));

    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path()))
        if (entry.is_regular_file() && entry.path().parent_path().filename() != "sandbox" &&
            readFile(entry.path()).value_or("").find(password) != std::string::npos)
            files.push_back(entry.path());
    EXPECT_THAT(files, testing::Each(EndsWith(passwordFile)));
    EXPECT_THAT(files, Contains(EndsWith(std::string("exported/") + passwordFile)));
}

TEST_F(PageCommands, leaveAColleaguesPasswordAloneUntilSomebodyChooses) {
    const auto at = [&](std::vector<std::string> words) { // the colleague's checkout
        words.insert(words.end(), {"--app", app, "--folder", "theirs"});
        return run(std::move(words));
    };
    const auto theirs = folder / "theirs/ios/next" / passwordFile;
    ASSERT_EQ(pull().status, 0);
    ASSERT_EQ(at({"pull"}).status, 0);
    createFolders(theirs.parent_path());
    writeFileAtomically(theirs, "fern-0815");
    ASSERT_EQ(at({"push", "--yes"}).status, 0);
    put(passwordFile, "moss-4711");
    EXPECT_EQ(on({"push", "--yes"}).status, 1); // changed since the last pull

    std::string shown = on({"pull", "--dry-run"}).all();
    EXPECT_THAT(shown, HasSubstr("yours stays in the file"));
    const auto pulled = on({"pull"});
    EXPECT_THAT(pulled.error,
                HasSubstr("1 text in conflict, with yours left in the file: page Demo password"));
    EXPECT_EQ(read(".", passwordFile), "moss-4711");
    shown += pulled.all() + on({"push", "--yes"}).all() + on({"check"}).all() + on({"status"}).all();
    const auto listed = on({"conflicts"});
    EXPECT_THAT(listed.out, AllOf(HasSubstr("page Demo password  Ours: another one here"),
                                  HasSubstr("Theirs: another one on App Store Connect, pulled")));
    const auto edited = on({"resolve", "--edit"});
    EXPECT_EQ(edited.status, 1);
    EXPECT_THAT(edited.error, HasSubstr("no secret is written into a text to be edited"));
    shown += listed.all() + edited.all() + on({"conflicts", "--json"}).all();
    EXPECT_THAT(shown, Not(testing::AnyOf(HasSubstr("moss-4711"), HasSubstr("fern-0815"))));
    ASSERT_EQ(at({"pull"}).status, 0);
    EXPECT_EQ(readFile(theirs), "fern-0815"); // no push overwrote it

    EXPECT_EQ(on({"resolve", "--ours"}).status, 0);
    EXPECT_EQ(on({"push", "--yes"}).status, 0);
    ASSERT_EQ(at({"pull"}).status, 0);
    EXPECT_EQ(readFile(theirs), "moss-4711");
}

TEST_F(PageCommands, overwriteNothingWithTheEmptyFilesOfOtherTools) {
    for (const auto* name : {"first_name", "last_name", "phone_number", "email_address", "notes"})
        put(std::string("review_information/") + name + ".txt", "\n");
    put("copyright.txt", "2027 Fernhollow Studio\n");
    const auto pushed = on({"push", "--overwrite", "--allow-clear", "--yes"});
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 1 field")) << pushed.all();
    // Nor are they something that was emptied since.
    EXPECT_THAT(on({"push", "--allow-clear", "--yes"}).all(), Not(HasSubstr("Pushed")));
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "elsewhere"}).status, 0);
    const auto pulled = folder / "elsewhere/ios/next";
    EXPECT_EQ(readFile(pulled / "review_information/email_address.txt"), "review@fernhollow.example");
    EXPECT_EQ(readFile(pulled / "copyright.txt"), "2027 Fernhollow Studio");
}

TEST_F(PageCommands, areShownOfAFreshCheckoutInAFewLines) {
    using testing::ContainsRegex;
    ASSERT_EQ(pull().status, 0);
    std::filesystem::remove_all(folder / "texts/ios/next/.brevant");
    put(passwordFile, "moss-4711");
    const std::string alike = "Changed on both sides alike.";
    EXPECT_THAT(on({"diff", "--remote"}).all(),
                AllOf(Not(HasSubstr(alike)), HasSubstr("on both alike"), HasSubstr("listed with --verbose"),
                      HasSubstr("page Demo password  Changed here only.")));
    EXPECT_THAT(on({"diff", "--remote", "--verbose"}).out, HasSubstr(alike));
    EXPECT_THAT(on({"diff", "--remote", "--stat"}).out,
                AllOf(ContainsRegex("page +Demo password +– +changed\n"), Not(HasSubstr("the same"))));
    EXPECT_THAT(on({"pull", "--dry-run"}).out, ContainsRegex("page +Demo password +your edit stays"));
    ASSERT_EQ(on({"pull", "--leave-edits"}).status, 0);
    EXPECT_THAT(on({"diff", "--stat"}).out, AllOf(ContainsRegex("Demo password +changed *\n"),
                                                  HasSubstr("0 characters added, 0 removed")));
}

} // namespace
} // namespace quorvel::test
