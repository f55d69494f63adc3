#include "Platform/text/Text.h"
#include "Platform/time/Date.h"
#include "Tests/Programs/QuorvelFixture.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class SandboxCommand : public QuorvelTest {};

TEST_F(SandboxCommand, servesUntilItIsAskedToEnd) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGXFSZ}) {
        ChildProgram server(call({"sandbox", "--state", "state", "--seed", "empty", "--port", "0"}));
        const JSONValue ready = onlyDocument(server.readLine());
        ASSERT_NE(ready.find("url"), nullptr);
        const std::vector<std::string> endpoints = {"--endpoints", *ready.find("endpoints")->text()};
        const auto set = run({"auth", "set", "--key-id", *ready.find("keyID")->text(), "--issuer-id",
                              *ready.find("issuerID")->text(), "--p8", *ready.find("privateKey")->text(),
                              endpoints[0], endpoints[1]});
        EXPECT_EQ(set.status, 0) << set.all();
        EXPECT_EQ(run({"apps", "--remote", endpoints[0], endpoints[1]}).status, 0);
        server.signal(signal);
        EXPECT_EQ(server.wait().status, 0);
    }
}

TEST_F(SandboxCommand, heedsNoHangUpUnderNohupAndLeavesNoCore) {
    auto ignoring = call({});
    ignoring.program = "/bin/sh";
    ignoring.arguments = {"-c", "trap '' HUP; ulimit -c unlimited 2> /dev/null; exec '" QUORVEL_PROGRAM
                                "' sandbox --state state --seed empty"};
    ChildProgram server(ignoring);
    const JSONValue ready = onlyDocument(server.readLine());
    ASSERT_NE(ready.find("url"), nullptr);
    server.signal(SIGHUP);
    const auto set = run({"auth", "set", "--key-id", *ready.find("keyID")->text(), "--issuer-id",
                          *ready.find("issuerID")->text(), "--p8", *ready.find("privateKey")->text(),
                          "--endpoints", *ready.find("endpoints")->text()});
    EXPECT_EQ(set.status, 0) << set.all();
    const auto limits = readFile("/proc/" + std::to_string(server.process()) + "/limits");
    EXPECT_THAT(limits.value_or("Max core file size 0 0 "), // where there is no such file
                testing::ContainsRegex("Max core file size +0 +0 "));
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait().status, 0);
}

TEST_F(SandboxCommand, servesTheSalesReportsOfAFolder) {
    const auto day = [](int back) {
        return formatISO8601(systemClock()() - std::chrono::hours(24) * back).substr(0, 10);
    };
    const auto refusal = [&](const char* folderName) {
        const auto result = run({"sandbox", "--state", "state", "--sales", folderName});
        EXPECT_EQ(result.status, 1) << result.all();
        return result.error;
    };
    EXPECT_THAT(refusal("reports"), HasSubstr("there is no such folder of sales reports"));
    createFolders(folder / "reports");
    EXPECT_THAT(refusal("reports"), HasSubstr("it holds no sales report"));
    writeFileAtomically(folder / "reports/2026-02-30.tsv", "x");
    EXPECT_THAT(refusal("reports"), HasSubstr("2026-02-30.tsv is not named after its day"));
    std::filesystem::remove(folder / "reports/2026-02-30.tsv");
    const std::string report =
        "SKU\tProduct Type Identifier\tUnits\tDeveloper Proceeds\tCurrency of Proceeds\t"
        "Apple Identifier\tParent Identifier\nmoss\t1F\t7\t0\t \t6700000101\t \n";
    writeFileAtomically(folder / "reports" / (day(5) + ".tsv"), report);
    writeFileAtomically(folder / "reports" / (day(3) + ".tsv"), report);

    ChildProgram server(call({"sandbox", "--state", "state", "--sales", "reports"}));
    const JSONValue ready = onlyDocument(server.readLine());
    ASSERT_NE(ready.find("url"), nullptr);
    environment["QUORVEL_ENDPOINTS"] = *ready.find("endpoints")->text();
    environment["ASC_KEY_ID"] = *ready.find("keyID")->text();
    environment["ASC_ISSUER_ID"] = *ready.find("issuerID")->text();
    environment["ASC_PRIVATE_KEY_PATH"] = *ready.find("privateKey")->text();
    EXPECT_EQ(run({"apps", "import", "6700000101"}).status, 0);
    const auto statusOf = [&](const std::string& wanted) -> std::string {
        const JSONValue result = onlyDocument(
            run({"revenue", "--days", "6", "--vendor-number", *ready.find("vendorNumber")->text(), "--json"})
                .out);
        for (const JSONValue& one : *result.find("days")->items())
            if (*one.find("date")->text() == wanted)
                return *one.find("status")->text() + " " + std::to_string(*one.find("downloads")->integer());
        return "not in the window";
    };
    EXPECT_EQ(statusOf(day(3)), "ok 7");
    EXPECT_EQ(statusOf(day(4)), "ok 0") << "no sales";
    EXPECT_EQ(statusOf(day(2)), "notYetPublished 0");
    writeFileAtomically(folder / "reports" / (day(2) + ".tsv"), report); // published between two runs
    EXPECT_EQ(statusOf(day(2)), "ok 7");
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait().status, 0);
}

TEST_F(SandboxCommand, saysWhichFileIsTooLarge) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "this build's checks write a file before the program begins";
#endif
    const auto result =
        runProgram({"/bin/sh",
                    {"-c", "ulimit -f 0; '" QUORVEL_PROGRAM "' sandbox --state state --seed empty"},
                    environment,
                    folder.path(),
                    ""});
    EXPECT_EQ(result.status, 1) << result.all();
    EXPECT_THAT(result.error, AllOf(HasSubstr("state"), HasSubstr("File too large")));
}

class Demo : public QuorvelTest {};

TEST_F(Demo, waitsAfterEachChapterForWhoReadsIt) {
    auto watched = call({"demo"});
    watched.streams = ProgramCall::Streams::terminal;
    watched.input = "\n\nq\n";
    const auto shown = runProgram(watched);
    EXPECT_EQ(shown.status, 0) << shown.out;
    EXPECT_THAT(shown.out, AllOf(HasSubstr("2. The workspace"), Not(HasSubstr("3. Pull")),
                                 HasSubstr("Return goes on, q ends:"), HasSubstr("That was a part of it.")));
    const std::string first = shown.out.substr(0, shown.out.find("Return goes on"));
    EXPECT_LT(std::ranges::count(first, '\n'), 40) << "the first screen holds no more";
    EXPECT_THAT(listFolder(folder.path()).value(), testing::IsEmpty());
}

TEST_F(Demo, playsTheWholeRoundAndLeavesNothingBehind) {
    auto watched = call({"demo", "--yes"});
    watched.streams = ProgramCall::Streams::terminal; // 80 columns
    const auto shown = runProgram(watched);
    EXPECT_EQ(shown.status, 0) << shown.all();
    EXPECT_THAT(shown.out, Not(HasSubstr("\\x1B"))) << "a style that was taken for a text";
    EXPECT_THAT(shown.out,
                AllOf(HasSubstr("Switch context"), HasSubstr("on a stand-in for App Store Connect")));
    std::istringstream lines(shown.out);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("Switch context") != std::string::npos ||
            line.find("on a stand-in for") != std::string::npos) {
            EXPECT_LE(displayWidth(line.substr(0, line.find('\r'))), 80u) << line;
        }
    }
    EXPECT_THAT(shown.out, HasSubstr("Everything held."));
    EXPECT_THAT(shown.out, HasSubstr("0 of 484 texts differ"));
    for (const auto* benefit : {"Less work", "Nothing lost", "A way back"})
        EXPECT_THAT(shown.out.substr(shown.out.find("What you get")), HasSubstr(benefit));
    for (const auto* secret : {"PRIVATE KEY", "eyJ"})
        EXPECT_THAT(shown.all(), Not(HasSubstr(secret)));
    EXPECT_THAT(listFolder(folder.path()).value(), testing::IsEmpty());

    const auto kept = run({"demo", "--keep", "--json"});
    const JSONValue record = onlyDocument(kept.out);
    EXPECT_EQ(*record.find("requestsSent")->integer(),
              *record.find("requestsLeast")->integer() + *record.find("requestsRefused")->integer());
    EXPECT_EQ(*record.find("releaseState")->text(), "WAITING_FOR_REVIEW");
    EXPECT_TRUE(std::filesystem::exists(*record.find("folder")->text() + "/second/ios/next/bn-BD/name.txt"));
}

} // namespace
} // namespace quorvel::test
