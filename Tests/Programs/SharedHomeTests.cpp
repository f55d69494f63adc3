#include "Core/records/Records.h"
#include "Platform/files/FileLock.h"
#include "Tests/Programs/MetadataFixture.h"

#include <signal.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <thread>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// Several processes on one home folder, some of them killed; the app is a small one.
class SharedHome : public MetadataCommands {
  protected:
    static constexpr const char* sketchbook = "studio.fernhollow.mosswick.sketchbook";

    SharedHome() { server.setHourlyQuota(1'000'000); }

    std::filesystem::path root() const { return folder / "home/Documents/Brevant/mosswick-skizzenbuch"; }
    std::filesystem::path file(std::string_view locale, std::string_view name) const {
        return root() / "ios/next" / locale / name;
    }
    void edit(std::string_view locale, std::string_view name, std::string_view text) const {
        createFolders(file(locale, name).parent_path());
        writeFileAtomically(file(locale, name), text);
    }
    // Opens the store as the next process would.
    std::size_t recordedRuns() const {
        const auto container = ModelContainer::open(folder / "home/Library/Application Support",
                                                    systemClock(), std::chrono::seconds(60));
        EXPECT_FALSE(container->rebuilt());
        const auto record = AppRecords(container, systemClock()).locate(sketchbook);
        return record ? PushHistory(container).runs(record->id).size() : 0;
    }
    static std::string readUntil(ChildProgram& child, std::string_view text) {
        std::string seen;
        while (seen.find(text) == std::string::npos) {
            const std::string more = child.readSome();
            if (more.empty()) break;
            seen += more;
        }
        return seen;
    }
    ProgramCall onTerminal(std::vector<std::string> words) {
        auto asking = call(std::move(words));
        asking.streams = ProgramCall::Streams::terminal;
        return asking;
    }
};

TEST_F(SharedHome, letsTwoProcessesTakeTurnsAndTellsWhatTheyWaitFor) {
    ASSERT_EQ(run({"pull", "--app", sketchbook}).status, 0);
    constexpr std::size_t rounds = 20;
    for (std::size_t round = 1; round <= rounds; ++round) {
        edit("de-DE", "subtitle.txt", "Runde " + std::to_string(round));
        std::optional<FileLock> lock(root() / ".brevant/lock");
        lock->noteHolder("a test");
        ChildProgram pulling(onTerminal({"pull", "--leave-edits", "--no-color"}));
        ChildProgram pushing(onTerminal({"push", "--yes", "--no-color"}));
        for (ChildProgram* child : {&pulling, &pushing})
            EXPECT_THAT(readUntil(*child, "which is at work"), HasSubstr("Waiting for a test (process "));
        ChildProgram listing(call({"history"})); // reads beside them
        lock.reset();
        EXPECT_EQ(listing.wait().status, 0);
        for (ChildProgram* child : {&pulling, &pushing}) {
            const auto ended = child->wait();
            EXPECT_EQ(ended.status, 0) << ended.all();
        }
        EXPECT_EQ(readFile(file("de-DE", "subtitle.txt")), "Runde " + std::to_string(round));
    }
    EXPECT_EQ(recordedRuns(), rounds);
    EXPECT_THAT(run({"diff"}).out, HasSubstr("No pending changes"));
}

TEST_F(SharedHome, letsManyImportAtOnceIntoANewHome) {
    std::vector<std::unique_ptr<ChildProgram>> children;
    for (int count = 0; count < 4; ++count)
        children.push_back(std::make_unique<ChildProgram>(call({"apps", "import", "--all"})));
    for (const auto& child : children) {
        const auto ended = child->wait();
        EXPECT_EQ(ended.status, 0) << ended.all();
    }
    EXPECT_EQ(documented({"apps", "--all"}, "apps").items()->size(), 3u);
    EXPECT_EQ(documented({"workspaces"}, "workspaces").items()->size(), 1u);
}

// A sanitized program takes seven times as long to start, and dies at the same places.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int rounds = 14;
#else
constexpr int rounds = 100;
#endif

/// Kills the program at moments that the requests seen by the sandbox tell.
class KilledProgram : public SharedHome {
  protected:
    static constexpr const char* locales[] = {"de-DE", "en-US", "fr-FR"};
    static constexpr const char* files[] = {"subtitle.txt", "description.txt"};

    // Every text is whole or not there: it says itself how long it is.
    static std::string wholeText(std::string_view what, int round) {
        return std::string(what) + " " + std::to_string(round) + " ganz.";
    }
    void expectWholeFiles() const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root()))
            if (entry.is_regular_file() && entry.path().extension() == ".txt" &&
                std::ranges::find(files, entry.path().filename().native()) != std::end(files)) {
                const std::string text = readFile(entry.path()).value_or("");
                EXPECT_TRUE(text.empty() || text.ends_with(".")) << entry.path() << ": " << text;
            }
    }
    void editAll(int round) const {
        for (const auto* locale : locales)
            for (const auto* name : files)
                edit(locale, name, wholeText("Neu", round));
    }
    // How many requests a whole run sends.
    std::size_t requestsOf(const std::vector<std::string>& words) {
        server.forgetRequests();
        const auto result = run(words);
        EXPECT_EQ(result.status, 0) << result.all();
        return server.requests().size();
    }
    // Kills the program once the sandbox has seen what `isDue` waits for, and a little later.
    template <typename IsDue>
    void killWhen(const IsDue& isDue, int yields, const std::vector<std::string>& words) {
        server.forgetRequests();
        ChildProgram child(call(words));
        constexpr int patience = 50'000'000;
        int waited = 0;
        for (; !isDue(server.requests()) && waited < patience; ++waited)
            std::this_thread::yield();
        ASSERT_LT(waited, patience) << "after " << server.requests().size() << " requests";
        for (int count = 0; count < yields; ++count)
            std::this_thread::yield();
        child.signal(SIGKILL);
        (void)child.wait();
    }
    void killAfter(std::size_t requests, int yields, const std::vector<std::string>& words) {
        killWhen([&](const auto& seen) { return seen.size() >= requests; }, yields, words);
    }
    bool isKept(const std::string& text) const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root() / "ios/next"))
            if (entry.is_regular_file() && entry.path().filename() == "promotional_text.txt" &&
                readFile(entry.path()) == text)
                return true;
        return false;
    }
};

TEST_F(KilledProgram, losesNoEditAndCompletesWhenItIsRunAgain) {
    const std::vector<std::string> push = {"push", "--yes"};
    const std::vector<std::string> pull = {"pull"};
    ASSERT_EQ(run({"pull", "--app", sketchbook}).status, 0);
    for (const auto* locale : locales) {
        edit(locale, "name.txt", wholeText(locale, 0));
        for (const auto* name : {"keywords.txt", "promotional_text.txt", "release_notes.txt"})
            edit(locale, name, "");
    }
    editAll(0);
    (void)run({"push", "--yes", "--allow-clear"});
    ASSERT_EQ(run(pull).status, 0);
    editAll(1);
    const std::size_t pushRequests = requestsOf(push);
    const std::size_t pullRequests = requestsOf(pull);
    std::mt19937 random(11);
    constexpr int last = rounds + 1;
    for (int round = 2; round <= last; ++round) {
        editAll(round);
        killAfter(random() % (pushRequests + 1), static_cast<int>(random() % 4000), push);
        expectWholeFiles();
        (void)recordedRuns();
        const auto pushed = run(push);
        ASSERT_EQ(pushed.status, 0) << pushed.all();
        for (const auto* locale : locales)
            for (const auto* name : files)
                EXPECT_EQ(readFile(file(locale, name)), wholeText("Neu", round));

        const std::string mine = wholeText("Mein", round);
        edit("de-DE", "promotional_text.txt", mine);
        killAfter(random() % (pullRequests + 1), static_cast<int>(random() % 4000), pull);
        expectWholeFiles();
        EXPECT_TRUE(isKept(mine)) << round;
        const auto pulled = run(pull);
        ASSERT_EQ(pulled.status, 0) << pulled.all();
        EXPECT_TRUE(isKept(mine)) << round;
    }
    ASSERT_EQ(run({"pull", "--replace-edits"}).status, 0);
    EXPECT_THAT(run({"diff"}).out, HasSubstr("No pending changes"));
    EXPECT_GE(recordedRuns(), static_cast<std::size_t>(rounds));
    ASSERT_EQ(run({"pull", "--folder", "second"}).status, 0);
    for (const auto* locale : locales)
        EXPECT_EQ(readFile(folder / "second/ios/next" / locale / "subtitle.txt"), wholeText("Neu", last));
}

// App Store Connect has the text and the program is gone before it hears of that.
TEST_F(KilledProgram, takesBackWhatItSentBeforeItCouldRecordTheAnswer) {
    for (const bool isPushedAgain : {false, true}) {
        SCOPED_TRACE(isPushedAgain);
        ASSERT_EQ(run({"pull", "--app", sketchbook}).status, 0);
        const auto before = readFile(file("de-DE", "subtitle.txt"));
        edit("de-DE", "subtitle.txt", "Neu.");
        server.setFaults({{.route = "PATCH /v1/appInfoLocalizations/*",
                           .status = 429,
                           .action = "statusAfter",
                           .count = 1,
                           .retryAfter = 300}});
        const auto isPatched = [](const auto& seen) {
            return std::ranges::any_of(seen, [](const auto& request) { return request.method == "PATCH"; });
        };
        killWhen(isPatched, 0, {"push", "--yes"});
        server.setFaults({});

        const auto entries = documented({"history", "show", "last"}, "entries");
        ASSERT_EQ(entries.items()->size(), 1u);
        EXPECT_EQ(*entries.items()->front().find("previous")->text(), before);
        EXPECT_EQ(*entries.items()->front().find("sent")->text(), "Neu.");
        EXPECT_THAT(
            run({"history", "show", "last"}).out,
            AllOf(HasSubstr("ANSWER LOST"), HasSubstr("1 field tried, 0 failed, 1 without an answer.")));
        if (isPushedAgain) {
            ASSERT_EQ(run({"push", "--yes"}).status, 0);
        }
        const auto reverted = run({"history", "revert", "last"});
        EXPECT_EQ(reverted.status, 0);
        EXPECT_EQ(reverted.error.find("was lost") == std::string::npos, isPushedAgain) << reverted.error;
        EXPECT_EQ(readFile(file("de-DE", "subtitle.txt")), before);
        const auto pushed = run({"push", "--yes"});
        EXPECT_THAT(pushed.out, HasSubstr("Pushed 1 field")) << pushed.all();
        const std::string fresh = isPushedAgain ? "second" : "first";
        ASSERT_EQ(run({"pull", "--folder", fresh}).status, 0);
        EXPECT_EQ(readFile(folder / fresh / "ios/next/de-DE/subtitle.txt"), before);
    }
}

} // namespace
} // namespace quorvel::test
