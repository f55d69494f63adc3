#include "Tests/Programs/QuorvelFixture.h"

namespace quorvel::test {
namespace {

constexpr const char* tidesApp = "studio.fernhollow.tides";

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class TestFlightCommands : public QuorvelAccountTest {
  protected:
    ProgramResult testflight(std::vector<std::string> words, bool yes = true) {
        words.insert(words.begin(), "testflight");
        words.insert(words.end(), {"--app", app});
        if (yes) words.emplace_back("--yes");
        return run(words);
    }
};

TEST_F(TestFlightCommands, bringABuildToTesters) {
    EXPECT_THAT(testflight({"groups"}, false).out, AllOf(HasSubstr("Studio"), HasSubstr("internal"),
                                                         HasSubstr("all"), HasSubstr("Translators")));
    const auto made = testflight({"groups", "create", "Beta Readers"});
    EXPECT_THAT(made.out, HasSubstr("Made the external group Beta Readers of Mosswick: Garden Journal."));
    EXPECT_EQ(testflight({"groups", "create", "beta readers"}).status, 5);

    writeFileAtomically(folder / "testers.csv", "Email;First Name\r\nyuki@example.com;Yuki\r\nnobody;X\r\n");
    server.forgetRequests();
    const std::vector<std::string> import = {"testers", "import", "testers.csv", "--group", "Beta Readers"};
    auto dry = import;
    dry.emplace_back("--dry-run");
    const auto shown = testflight(dry, false);
    EXPECT_EQ(shown.status, 7);
    EXPECT_THAT(shown.out, HasSubstr("yuki@example.com (Yuki)"));
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_EQ(testflight(import, false).status, 2) << "nobody can be asked";
    const auto imported = testflight(import);
    EXPECT_EQ(imported.status, 7) << imported.all();
    EXPECT_THAT(imported.error, HasSubstr("line 3: \"nobody\" is no e-mail address"));
    EXPECT_THAT(imported.out, HasSubstr("Added 1 tester to Beta Readers."));
    EXPECT_THAT(testflight(import).out, HasSubstr("Nobody to add."));
    EXPECT_EQ(testflight({"testers", "import", "gone.csv", "--group", "Beta Readers"}).status, 4);
    EXPECT_THAT(testflight({"testers", "--group", "Beta Readers"}, false).out,
                AllOf(HasSubstr("yuki@example.com"), HasSubstr("NOT_INVITED")));

    const auto notes = testflight({"notes", "set", "--text", "Try the week view.", "--locale", "en-US,de-DE",
                                   "--build", "352", "--platform", "ios"});
    EXPECT_THAT(notes.out, HasSubstr("Wrote what to test in 3.5 (352) for ios in 2 locales."));
    const auto given = testflight({"add", "--group", "Beta Readers", "--build", "352", "--platform", "ios"});
    EXPECT_THAT(given.out, HasSubstr("Gave 3.5 (352) for ios to 1 group."));
    EXPECT_THAT(given.error, HasSubstr("'quorvel testflight submit'"));
    const auto refused = testflight({"submit", "--platform", "ios"});
    EXPECT_EQ(refused.status, 5) << "353 misses its answer on encryption";
    EXPECT_THAT(refused.error, HasSubstr("misses its answer on encryption"));
    const auto submitted = testflight({"submit", "--build", "352", "--platform", "ios", "--json"});
    EXPECT_EQ(*onlyDocument(submitted.out).find("betaReviewState")->text(), "WAITING_FOR_REVIEW");
    EXPECT_THAT(testflight({"submit", "--build", "352", "--platform", "ios"}).out,
                HasSubstr("was submitted already: WAITING_FOR_REVIEW"));
    EXPECT_EQ(testflight({"submit", "--build", "999"}).status, 4);
}

TEST_F(TestFlightCommands, releaseWhatIsApprovedAndTellWhereTheRestIs) {
    const auto refused = run({"release", "--app", app, "--platform", "ios", "--yes"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_THAT(refused.error, HasSubstr("ios 3.5: This version is not submitted yet"));
    EXPECT_EQ(run({"release", "--app", tidesApp, "--date", "2031-01-01T00:00:00Z", "--yes"}).status, 2);
    EXPECT_EQ(run({"release", "--app", app, "--type", "manual", "--yes"}).status, 2) << "ios or macos";
    EXPECT_THAT(run({"release", "--app", tidesApp, "--type", "afterApproval", "--yes"}).out,
                HasSubstr("1.9 of Pocket Tides for ios comes out as soon as it is approved."));
    EXPECT_THAT(run({"phased", "start", "--app", tidesApp, "--yes"}).out, HasSubstr("in phases, not begun"));
    const auto dry = run({"release", "--app", tidesApp, "--dry-run", "--json"});
    EXPECT_TRUE(*onlyDocument(dry.out).at("plan", "inPhases")->boolean());
    EXPECT_THAT(run({"release", "--app", tidesApp, "--yes"}).out,
                HasSubstr("Released 1.9 of Pocket Tides for ios to its users over seven days"));
    server.advance(61);
    server.advance(86'401);
    EXPECT_THAT(run({"phased", "--app", tidesApp}).out, HasSubstr("day 2 of 7, 2 % of users"));
    EXPECT_THAT(run({"phased", "pause", "--app", tidesApp, "--yes"}).out, HasSubstr("paused on day 2 of 7"));
    EXPECT_THAT(run({"phased", "pause", "--app", tidesApp, "--yes"}).out, HasSubstr("is paused already"));
    EXPECT_EQ(run({"release", "--app", tidesApp, "--yes"}).status, 5);
}

} // namespace
} // namespace quorvel::test
