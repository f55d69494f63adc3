#include "Platform/store/Database.h"
#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST_F(MetadataCommands, listsShowsAndRevertsARun) {
    ASSERT_EQ(pull().status, 0);
    EXPECT_THAT(run({"history"}).out, HasSubstr("Nothing was pushed for Mosswick: Garden Journal yet."));
    EXPECT_EQ(run({"history", "revert", "last"}).status, 4);
    const std::string subtitle = read("de-DE", "subtitle.txt");
    const std::string keywords = read("ja", "keywords.txt");
    write("de-DE", "subtitle.txt", "Beete planen, Ernten feiern");
    write("ja", "keywords.txt", keywords + ",園芸");
    // The subtitle ends last, and yet is listed first.
    server.setFaults(
        {{.route = "PATCH /v1/appInfoLocalizations/*", .status = 429, .count = 1, .retryAfter = 1}});
    ASSERT_EQ(push().status, 0);
    write("fr-FR", "subtitle.txt", "Second run");
    server.setFaults({{.route = "PATCH /v1/appInfoLocalizations/*", .status = 409}});
    EXPECT_EQ(push().status, 5);
    server.setFaults({});

    const JSONValue runs = documented({"history"}, "runs");
    ASSERT_EQ(runs.items()->size(), 2u);
    EXPECT_EQ(*(*runs.items())[0].find("failed")->integer(), 1);
    EXPECT_EQ(*(*runs.items())[1].find("fields")->integer(), 2);
    EXPECT_EQ(*(*runs.items())[1].find("locales")->integer(), 2);
    const std::string first = *(*runs.items())[1].find("run")->text();
    EXPECT_EQ(documented({"history", "--limit", "1"}, "runs").items()->size(), 1u);
    EXPECT_THAT(run({"history"}).out, HasSubstr(first.substr(0, 8) + "  "));

    const auto failed = run({"history", "show", "last"});
    EXPECT_THAT(failed.out, AllOf(HasSubstr("fr-FR Subtitle  FAILED\n    The version is in a state"),
                                  HasSubstr("1 field tried, 1 failed.")));
    const auto shown = run({"history", "show", first.substr(0, 8)});
    EXPECT_THAT(shown.out, AllOf(HasSubstr("{+Ernten feiern+}"), HasSubstr("ios/next 3.5")));
    const JSONValue entries = document({"history", "show", first});
    EXPECT_EQ(*entries.find("entries")->items()->front().find("previous")->text(), subtitle);

    write("ja", "keywords.txt", "新しい");
    const auto dry = run({"history", "revert", first, "--folder", "texts", "--dry-run"});
    EXPECT_THAT(dry.error, testing::AllOf(HasSubstr("which would be backed up: ja Keywords\n"),
                                          HasSubstr("nothing was written")));
    EXPECT_EQ(read("ja", "keywords.txt"), "新しい");
    server.forgetRequests();
    const auto reverted = run({"history", "revert", first.substr(0, 6), "--folder", "texts"});
    EXPECT_EQ(reverted.status, 0) << reverted.all();
    EXPECT_THAT(reverted.out, HasSubstr("2 texts of ios/next put back locally; 'quorvel push' sends that."));
    EXPECT_THAT(reverted.error,
                testing::ContainsRegex("1 text edited locally, backed up under .*: ja Keywords"));
    EXPECT_EQ(server.requests().size(), 0u);
    EXPECT_EQ(push({"--locale", "de-DE", "--locale", "ja"}).status, 0);
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "second"}).status, 0);
    EXPECT_EQ(readFile(folder / "second/ios/next/de-DE/subtitle.txt"), subtitle);
    EXPECT_EQ(readFile(folder / "second/ios/next/ja/keywords.txt"), keywords);

    // What had no text before is removed by the next push only when that is allowed to.
    write("sv", "promotional_text.txt", "");
    ASSERT_EQ(push({"--locale", "sv", "--allow-clear"}).status, 0);
    write("sv", "promotional_text.txt", "Nytt");
    ASSERT_EQ(push({"--locale", "sv"}).status, 0);
    EXPECT_THAT(run({"history", "revert", "last", "--folder", "texts"}).out,
                HasSubstr("'quorvel push --allow-clear' sends that."));
    // So it is when nobody knows whether the text was taken.
    Database store(folder / "home/Library/Application Support/default.store");
    store.execute("UPDATE PushHistoryEntry SET success = 0, errorMessage = NULL WHERE newValue = 'Nytt'");
    write("sv", "promotional_text.txt", "Nytt");
    EXPECT_THAT(run({"history", "revert", "last", "--folder", "texts"}).out,
                HasSubstr("'quorvel push --allow-clear' sends that."));
    // A pulled copy that is behind: what replaced it on App Store Connect may have been an earlier push.
    writeFileAtomically(folder / "texts/ios/next/.brevant/asc/sv/promotional_text.txt", "Gammalt");
    write("sv", "promotional_text.txt", "Nytt");
    ASSERT_EQ(push({"--locale", "sv"}).status, 0);
    EXPECT_THAT(run({"history", "show", "last"}).out, HasSubstr("sv Promo text  pushed\n"));
    EXPECT_EQ(run({"history", "revert", "last", "--folder", "texts"}).status, 0);
    EXPECT_EQ(read("sv", "promotional_text.txt"), "Gammalt");
    // Without the copies a text looks new that App Store Connect has.
    std::filesystem::remove_all(folder / "texts/ios/next/.brevant/asc");
    write("sv", "promotional_text.txt", "Nytt");
    ASSERT_EQ(push({"--locale", "sv", "--field", "promotionalText"}).status, 0);
    EXPECT_THAT(run({"history", "show", "last"}).out,
                HasSubstr("sv Promo text  App Store Connect had it already\n"));
    ASSERT_EQ(run({"locale", "disable", "sv"}).status, 0);
    EXPECT_THAT(run({"history", "revert", "last", "--folder", "texts"}).error,
                AllOf(HasSubstr("sv is disabled for this app"), HasSubstr("'quorvel locale enable LOCALE'")));

    store.execute("UPDATE PushHistoryEntry SET sessionId = 'same-' || sessionId");
    for (const char* command : {"show", "revert"}) {
        const auto several = run({"history", command, "same-"});
        EXPECT_EQ(several.status, 2) << several.all();
        EXPECT_THAT(several.error, AllOf(HasSubstr("\"same-\" stands for several runs"),
                                         HasSubstr("same-" + first.substr(0, 3))));
    }
}

TEST_F(MetadataCommands, pushesThoughTheHistoryCannotBeWrittenAndEndsAsPartlyDone) {
    ASSERT_EQ(pull().status, 0);
    Database(folder / "home/Library/Application Support/default.store")
        .execute("CREATE TRIGGER noHistory BEFORE INSERT ON PushHistoryEntry "
                 "BEGIN SELECT RAISE(ABORT, 'out of order'); END");
    write("de-DE", "subtitle.txt", "Eins");
    const auto pushed = push({"--yes"});
    EXPECT_EQ(pushed.status, 7) << pushed.all();
    EXPECT_THAT(pushed.out, HasSubstr("Pushed 1 field · 1 locale"));
    EXPECT_THAT(pushed.error,
                AllOf(HasSubstr("Not all of this push is in the history"), HasSubstr("out of order")));
}

} // namespace
} // namespace quorvel::test
