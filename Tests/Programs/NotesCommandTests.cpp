#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/GitRepository.h"

#include <algorithm>
#include <tuple>

namespace quorvel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// The garden journal's texts in the folder "texts", and its project in a repository.
class NotesCommands : public QuorvelAccountTest {
  protected:
    NotesCommands() {
        EXPECT_EQ(run({"apps", "import", app}).status, 0);
        EXPECT_EQ(run({"pull", "--folder", "texts"}).status, 0);
        for (const char* message : {"Add the old picker", "feat: old"})
            repository.commit(message);
        repository.tag("v3.4");
        repository.tag("v3.4-99");
        repository.git({"tag", "--annotate", "release/2.0", "--message=another tag of the same commit"});
        for (const char* message : {"Add a watering calendar", "Fix a crash \x1b[31mat dawn", "chore: tidy",
                                    "Merge branch 'calendar'", "Grüße 🌱 an alle"})
            repository.commit(message);
    }
    ProgramResult notes(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"notes", "--folder", "texts", "--repo", "project"});
        return run(std::move(more));
    }
    std::string read(std::string_view file, std::string_view locale = "en-US") const {
        return readFile(text(locale, file)).value_or("(no file)");
    }
    std::int64_t calls() const { return server.relayAccount().calls; }

    GitRepository repository{folder / "project"};
};

TEST_F(NotesCommands, showTheCommitsAndTheCostWithoutTheService) {
    environment.erase("QUORVEL_ENDPOINTS");
    const auto shown = notes({"--dry-run"});
    EXPECT_EQ(shown.status, 0) << shown.error;
    EXPECT_THAT(shown.out,
                HasSubstr("5 commits of v3.4-99..HEAD, since the version before 3.5, 3 for the draft, in " +
                          repository.root().string()));
    EXPECT_THAT(shown.out, testing::ContainsRegex("feature +yes +[0-9a-f]+ +Add a watering calendar\n"));
    EXPECT_THAT(shown.out, testing::ContainsRegex("fix +yes +[0-9a-f]+ +Fix a crash .x1B.31mat dawn\n"));
    EXPECT_THAT(shown.out, testing::ContainsRegex("merge +– +[0-9a-f]+ +Merge branch 'calendar'\n"));
    EXPECT_THAT(shown.error, HasSubstr("one request would be sent at an estimated cost of at most $0.0"));
    EXPECT_THAT(notes({"--dry-run", "--verbose"}).out,
                HasSubstr("- [Feature] Add a watering calendar\n- [Fix]"));

    const auto refused = notes();
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.out, HasSubstr("Add a watering calendar"));
    EXPECT_THAT(refused.error, HasSubstr("The AI service is not configured"));
    EXPECT_EQ(calls(), 0);
}

TEST_F(NotesCommands, draftFromTheChosenCommitsAndPayOnce) {
    const std::string tidy = repository.hashOf("HEAD~2").substr(0, 7);
    const auto drafted = notes({"--include", tidy, "--exclude", repository.hashOf("HEAD"), "--json"});
    EXPECT_EQ(drafted.status, 0) << drafted.error;
    const JSONValue document = onlyDocument(drafted.out);
    const JSONValue& whatsNew = document.at("report", "texts")->items()->at(0);
    EXPECT_EQ(*whatsNew.find("text")->text(),
              "• Add a watering calendar\n• Fix a crash [31mat dawn\n• chore: tidy");
    EXPECT_EQ(*whatsNew.find("length")->integer(), 65);
    EXPECT_EQ(*whatsNew.find("limit")->integer(), 4000);
    EXPECT_EQ(document.at("report", "commits")->items()->size(), 5U);
    EXPECT_GT(std::get<double>(document.at("report", "costUSD")->value), 0);

    EXPECT_THAT(notes({"--include", tidy, "--exclude", repository.hashOf("HEAD")}).error,
                HasSubstr("Drafted for $0.00."));
    EXPECT_EQ(calls(), 1) << "the second answer is the kept one";
    EXPECT_EQ(notes({"--include", tidy, "--exclude", repository.hashOf("HEAD"), "--fresh"}).status, 0);
    EXPECT_EQ(calls(), 2);
    EXPECT_THAT(run({"costs"}).out, HasSubstr("2"));
    EXPECT_EQ(read("release_notes.txt"), "") << "nothing is written unless it is asked for";
}

TEST_F(NotesCommands, writeBothTextsForReviewAndNeverOverAnUnpushedEdit) {
    const std::string live = read("promotional_text.txt");
    const auto written = notes({"--write"});
    EXPECT_EQ(written.status, 0) << written.all();
    EXPECT_THAT(read("release_notes.txt"), HasSubstr("• Add a watering calendar\n"));
    EXPECT_EQ(read("promotional_text.txt"), "Now: Add a watering calendar");
    EXPECT_THAT(written.error, testing::ContainsRegex("backed up as .*/kept/.*/en-US/promotional_text.txt"));
    EXPECT_THAT(run({"status", "--folder", "texts"}).all(), HasSubstr("unread"));
    EXPECT_THAT(notes({"--write"}).out, HasSubstr("en-US What's new holds this text already."));
    EXPECT_EQ(notes({"--write", "--exclude", repository.hashOf("HEAD")}).status, 0)
        << "nobody edited the draft";

    writeFileAtomically(text("en-US", "release_notes.txt"), "By hand");
    const auto before = calls();
    const auto refused = notes({"--write"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.error, HasSubstr("What's new of en-US holds an edit that was not pushed"));
    EXPECT_EQ(calls(), before) << "nobody pays for what cannot be written";
    EXPECT_EQ(read("release_notes.txt"), "By hand");

    auto asked = call({"notes", "--folder", "texts", "--repo", "project", "--write", "--from", "v3.4",
                       "--exclude", repository.hashOf("HEAD~1")});
    asked.streams = ProgramCall::Streams::terminal;
    asked.input = "n\n";
    const auto declined = runProgram(asked);
    EXPECT_EQ(declined.status, 7) << declined.out;
    EXPECT_EQ(read("release_notes.txt"), "By hand");
    EXPECT_EQ(notes({"--write", "--yes"}).status, 0);
    EXPECT_THAT(read("release_notes.txt"), HasSubstr("• Add a watering calendar\n"));
    EXPECT_NE(live, read("promotional_text.txt"));
}

TEST_F(NotesCommands, writeNoReleaseNotesOfAFirstVersion) {
    const std::string sketchbook = "studio.fernhollow.mosswick.sketchbook";
    EXPECT_EQ(run({"pull", "--app", sketchbook, "--folder", "sketches"}).status, 0);
    const auto written =
        run({"notes", "--app", sketchbook, "--folder", "sketches", "--repo", "project", "--write"});
    EXPECT_EQ(written.status, 0) << written.all();
    EXPECT_THAT(written.error, HasSubstr("a first version takes no release notes"));
    EXPECT_THAT(written.out, HasSubstr("Wrote de-DE Promo text"));
    EXPECT_EQ(readFile(folder / "sketches/ios/next/de-DE/promotional_text.txt"),
              "Now: Add a watering calendar");
    EXPECT_THAT(readFile(folder / "sketches/ios/next/de-DE/release_notes.txt").value_or(""),
                Not(HasSubstr("Add")));
}

TEST_F(NotesCommands, surviveAModelThatMisbehaves) {
    server.setModelManner({.wrapping = "proseAndFence"});
    EXPECT_EQ(notes().status, 0);
    server.setModelManner({.script = {"refusal", "brokenOff", "usual"}});
    EXPECT_EQ(notes({"--fresh"}).status, 0);
    server.setModelManner({.script = {"refusal", "refusal", "refusal"}});
    const auto malformed = notes({"--fresh"});
    EXPECT_EQ(malformed.status, 1);
    EXPECT_THAT(malformed.error, HasSubstr("Claude returned malformed JSON. Raw output: — I'm sorry"));
    server.setModelManner({.tooLongAnswers = 9});
    const auto tooLong = notes({"--fresh", "--write"});
    EXPECT_EQ(tooLong.status, 7);
    EXPECT_THAT(tooLong.error,
                HasSubstr("promotionalText is over the App Store limit even after retries. Edit by hand."));
    EXPECT_THAT(tooLong.out, HasSubstr("Promo text 184/170"));
}

TEST_F(NotesCommands, sayWhichRepositoryTagOrCommitIsMissing) {
    const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
        {{"--from", "v9"}, 4, "git can't resolve the range 'v9..HEAD' — the tag or commit may not exist."},
        {{"--to", "--all"}, 4, "the range 'v3.4-99..--all'"},
        {{"--include", "abcdef12"}, 4, "\"abcdef12\" begins the hash of no commit of v3.4-99..HEAD"},
        {{"--exclude", "a"}, 4, "\"a\" begins the hash of no commit"},
        {{"--from", "HEAD"}, 4, "No user-relevant commits in the selected range."},
        {{"--from", "HEAD", "--dry-run"}, 4, "Add or include commits manually."},
        {{"--context", "ios/live"}, 5, "read-only"},
        {{"--context", "tvos/next", "--write"}, 4, "has not been pulled"},
    };
    for (const auto& [words, status, text] : cases) {
        const auto result = notes(words);
        EXPECT_EQ(result.status, status) << words.front() << result.all();
        EXPECT_THAT(result.error, HasSubstr(text));
    }
    const auto none = run({"notes", "--folder", "texts"});
    EXPECT_EQ(none.status, 4);
    EXPECT_THAT(none.error, HasSubstr("No git repository found at or above " + folder.path().string() +
                                      ". Run `git init` to enable auto-notes."));
    EXPECT_THAT(none.error, HasSubstr("--repo"));
    EXPECT_EQ(calls(), 0);

    auto inside = call({"notes", "--folder", (folder / "texts").string(), "--dry-run"});
    inside.workingFolder = repository.root();
    EXPECT_THAT(runProgram(inside).out, HasSubstr("5 commits of v3.4-99..HEAD")) << "the working folder's";
    const GitRepository around(folder / "texts");
    EXPECT_THAT(run({"notes", "--folder", "texts", "--dry-run"}).out, HasSubstr("0 commits of HEAD"))
        << "the app's folder";
}

} // namespace
} // namespace quorvel::test
