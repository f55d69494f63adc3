#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/NotificationBus.h"

#include <signal.h>

#include <chrono>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class Monitor : public QuorvelAccountTest {
  protected:
    Monitor() {
        const auto imported = run({"apps", "import", "studio.fernhollow.tides", app});
        EXPECT_EQ(imported.status, 0) << imported.all();
    }
    // The version of Pocket Tides that is not on sale.
    void moveTides(std::string_view state) {
        if (tides_.empty()) {
            const JSONValue listed =
                onlyDocument(run({"versions", "--app", "studio.fernhollow.tides", "--json"}).out);
            tides_ = *listed.find("versions")->items()->front().find("id")->text();
        }
        server.setVersionState(tides_, state);
    }
    std::string script(const std::string& text) {
        writeFileAtomically(folder / "a program", "#!/bin/sh\n" + text);
        std::filesystem::permissions(folder / "a program", std::filesystem::perms::owner_all);
        return "./a program";
    }

  private:
    std::string tides_;
};

TEST_F(Monitor, checksOnceForASchedulerWhoseStatusTells) {
    moveTides("IN_REVIEW");
    EXPECT_EQ(run({"monitor", "--once"}).out, "") << "nothing is printed where nothing changed";
    moveTides("REJECTED");
    const auto changed = run({"monitor", "--once", "--exec", script("cat > got\n")});
    EXPECT_EQ(changed.status, 0) << changed.all();
    EXPECT_THAT(changed.out, AllOf(HasSubstr("Pocket Tides 1.9 · rejected — Apple rejected the iOS version."),
                                   Not(HasSubstr("Garden"))));
    EXPECT_THAT(changed.error, HasSubstr("not shown on the desktop: there is no session bus"));
    EXPECT_EQ(*onlyDocument(readFile(folder / "got").value_or("")).find("newState")->text(), "REJECTED");

    moveTides("IN_REVIEW");
    const auto failing = run({"monitor", "--once", "--json", "--exec", script("echo no luck; exit 3\n")});
    EXPECT_EQ(failing.status, 7);
    const JSONValue document = onlyDocument(failing.out);
    ASSERT_THAT(*document.find("changes")->items(), SizeIs(1));
    EXPECT_EQ(*document.find("changes")->items()->front().find("programProblem")->text(),
              "ended with status 3: no luck");

    server.setFaults({{.route = "GET /v1/apps/6700000101/appStoreVersions", .status = 404}});
    const auto partly = run({"monitor", "--once", "--json"});
    EXPECT_EQ(partly.status, 7);
    EXPECT_THAT(*onlyDocument(partly.out).find("failures")->items(), SizeIs(1));
    server.setFaults({{.action = "reset"}});
    EXPECT_EQ(run({"monitor", "--once"}).status, 6);
    server.setFaults({});
    server.revokeKey(true);
    const auto refused = run({"monitor", "--once", "--json"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.error, HasSubstr("Mosswick: Garden Journal, Pocket Tides: "));
    EXPECT_THAT(refused.all(), Not(HasSubstr("PRIVATE KEY")));
}

TEST_F(Monitor, refusesWhatItCannotDo) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"monitor", "--json"}, "--json needs --once"},
        {{"monitor", "--once", "--interval", "9"}, "--interval has no meaning with --once"},
        {{"monitor", "--once", "--exec", "no such program"}, "no program that can be run"},
        {{"monitor", "--once", "--exec", "sandbox"}, "no program that can be run"},
        {{"monitor", "--notify", "--no-notify"}, "exclude each other"},
        {{"monitor", "--interval", "0"}, "--interval"},
        {{"monitor", "--print-service", "systemd", "--once"}, "exclude each other"}};
    for (const auto& [words, text] : cases) {
        const auto result = run(words);
        EXPECT_EQ(result.status, 2) << text;
        EXPECT_THAT(result.all(), HasSubstr(text));
    }
    environment["QUORVEL_HOME"] = (folder / "another home").string();
    const auto empty = run({"monitor"});
    EXPECT_EQ(empty.status, 4);
    EXPECT_THAT(empty.error, HasSubstr("apps import"));
}

#ifdef __linux__

TEST_F(Monitor, notifiesEachChangeOnceAndEndsAtOnce) {
    const PrivateBus bus;
    NotificationService service(bus.address(), NotificationService::Manner::answers);
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    moveTides("IN_REVIEW");
    ASSERT_EQ(run({"monitor", "--once"}).status, 0);
    moveTides("INVALID_BINARY");
    for (const int signal : {SIGTERM, SIGINT}) {
        const std::size_t before = server.requests().size();
        ChildProgram watching(call({"monitor", "--interval", "2"}));
        if (signal == SIGTERM) {
            EXPECT_THAT(watching.readLine(), HasSubstr("Pocket Tides 1.9 · binary rejected"));
            service.tap(0);
            // The monitor tells of the tap on standard error; a second one works on the same home meanwhile.
            const auto second = run({"monitor"});
            EXPECT_EQ(second.status, 1);
            EXPECT_THAT(second.error, HasSubstr("another review monitor works on this home (process " +
                                                std::to_string(watching.process()) + ")"));
        } else {
            EXPECT_TRUE(server.awaitRequests(before + 2, std::stop_token()));
        }
        const auto asked = std::chrono::steady_clock::now();
        watching.signal(signal);
        const auto ended = watching.wait();
        EXPECT_EQ(ended.status, 0);
        EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(1));
        if (signal == SIGTERM) {
            EXPECT_THAT(ended.error, HasSubstr("Checks are 5 minutes apart at least."));
        } else {
            EXPECT_EQ(ended.out, "") << "a second run has nothing to tell";
        }
    }
    const auto shown = service.shown();
    ASSERT_THAT(shown, SizeIs(1));
    EXPECT_EQ(shown[0].title, "Pocket Tides 1.9 · binary rejected");
    EXPECT_EQ(shown[0].body,
              "Apple rejected the iOS version. Open Resolution Center for the reviewer's note.");
    EXPECT_EQ(shown[0].urgency, 2);
    EXPECT_THAT(shown[0].id, testing::EndsWith("|IOS|1.9|INVALID_BINARY"));
    const JSONValue defaults =
        onlyDocument(readFile(folder / "home/Library/Preferences/com.halvorne.brevant.json").value_or(""));
    EXPECT_EQ(*defaults.find("ReviewMonitor.notifiedTransitions.v1")->items()->front().text(), shown[0].id);
    EXPECT_EQ(*defaults.find("ReviewMonitor.intervalMinutes")->integer(), 2);
    EXPECT_NE(defaults.find("ReviewMonitor.lastCheckAt"), nullptr);
}

TEST_F(Monitor, drawsItsTableAndAnswersATap) {
    const PrivateBus bus;
    NotificationService service(bus.address(), NotificationService::Manner::answers);
    environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    moveTides("WAITING_FOR_REVIEW");
    ASSERT_EQ(run({"monitor", "--once"}).status, 0);
    moveTides("IN_REVIEW");
    auto watched = call({"monitor"});
    watched.streams = ProgramCall::Streams::terminal;
    ChildProgram watching(watched);
    std::string seen;
    const auto await = [&](std::string_view text) {
        while (seen.find(text) == seen.npos) {
            const std::string more = watching.readSome();
            ASSERT_NE(more, "") << seen;
            seen += more;
        }
    };
    await("next check");
    EXPECT_THAT(seen, AllOf(HasSubstr("Pocket Tides 1.9 · in review"), HasSubstr("Since"),
                            HasSubstr("In Review"), HasSubstr("\x1b[1A")));
    service.tap(0);
    await("'quorvel versions --app pocket-tides'");
    watching.signal(SIGTERM);
    EXPECT_EQ(watching.wait().status, 0);
}

#endif

TEST_F(Monitor, printsServicesThatHoldAnyPath) {
    environment["QUORVEL_HOME"] = "a home/50% \"of\" $HOME & <more>";
    const auto unit = run({"monitor", "--print-service", "systemd", "--exec", script("")});
    EXPECT_EQ(unit.status, 0) << unit.error;
    EXPECT_THAT(unit.error, HasSubstr("auth set")) << "the key of the environment is not carried over";
    EXPECT_THAT(unit.out,
                AllOf(HasSubstr("\nExecStart=\"" QUORVEL_PROGRAM "\" \"monitor\" \"--home\" \"" +
                                folder.path().string() + "/a home/50%% \\\"of\\\" $$HOME & <more>\" "),
                      HasSubstr("\"--exec\" \"" + (folder / "a program").string() + "\"\n"),
                      Not(HasSubstr(server.access().keyID))));
    const auto list = run({"monitor", "--print-service", "launchd", "--no-notify"});
    EXPECT_THAT(list.out, AllOf(HasSubstr("<string>" QUORVEL_PROGRAM "</string>"),
                                HasSubstr("/a home/50% \"of\" $HOME &amp; &lt;more&gt;</string>"),
                                HasSubstr("<string>--no-notify</string>\n    </array>")));
    environment["QUORVEL_HOME"] = "a\x01"
                                  "b";
    EXPECT_EQ(run({"monitor", "--print-service", "launchd"}).status, 2);
    EXPECT_THAT(run({"monitor", "--print-service", "systemd"}).out, HasSubstr("a\\x01b\""));
}

} // namespace
} // namespace quorvel::test
