// The program's screenshot commands, as people and build services run them.
#include "Platform/crypto/Digest.h"
#include "Platform/http/URLSession.h"
#include "Platform/task/StopToken.h"
#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/AlphaPicture.h"
#include "Tests/support/ScreenshotTree.h"

#include <unistd.h>

#include <csignal>
#include <cstring>
#include <random>

using namespace quorvel;
using test::onlyDocument;
using test::put;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class ScreenshotCommands : public test::QuorvelAccountTest {
  protected:
    [[nodiscard]] std::filesystem::path picture(const std::string& path) const {
        return folder / "texts/screenshots" / path;
    }
    [[nodiscard]] std::string drawn(unsigned number) const {
        static const std::string base = test::pictureFor("APP_IPHONE_65", 5);
        return test::paddedPicture(base, number);
    }
    [[nodiscard]] std::vector<std::string> words(std::vector<std::string> command,
                                                 std::vector<std::string> more = {}) const {
        command.insert(command.begin(), "screenshots");
        for (const char* word : {"--app", app, "--folder", "texts"})
            command.emplace_back(word);
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    test::ProgramResult shots(std::vector<std::string> command, std::vector<std::string> more = {}) {
        if (command.front() == "push") more.push_back("--yes");
        return run(words(std::move(command), std::move(more)));
    }
    // The sets of the coming iOS version that have screenshots.
    [[nodiscard]] test::HeldSets held() const {
        const JSONValue state = server.state();
        for (const auto& [id, version] : *state.find("appStoreVersions")->members())
            if (*version.at("attributes", "appStoreState")->text() == "PREPARE_FOR_SUBMISSION" &&
                *version.at("attributes", "platform")->text() == "IOS" &&
                *version.at("links", "app")->text() == "6700000101")
                return test::namesAndChecksums(test::heldSets(server, id));
        return {};
    }
    [[nodiscard]] test::HeldSets heldLike(const test::HeldSets& wanted) const {
        auto sets = held();
        std::erase_if(sets, [&](const auto& set) { return !wanted.contains(set.first); });
        return sets;
    }
    [[nodiscard]] test::HeldSets local() const {
        return test::expectedSets(ScreenshotPushScanner(folder / "texts/screenshots").scan().items);
    }
    URLSession session;
};

} // namespace

TEST_F(ScreenshotCommands, pullCompareAndPush) {
    auto result = shots({"status"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.error,
                AllOf(HasSubstr("have not been pulled"), HasSubstr("quorvel screenshots pull")));
    EXPECT_EQ(shots({"push"}).status, 4) << "there is no folder of pictures";
    ASSERT_EQ(shots({"pull"}).status, 0);
    result = shots({"status"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.all(), AllOf(HasSubstr("no local files"), HasSubstr("there is no such folder")));
    EXPECT_TRUE(std::filesystem::exists(folder / "texts/screenshots-catalog.json"));

    for (const char* name :
         {"sv/iphone-65/1.png", "sv/iphone-65/2.png", "sv/iphone-65/10.png", "de-DE/flat.png"})
        put(picture(name), drawn(static_cast<unsigned>(std::strlen(name))));
    result = shots({"status"}, {"--json"});
    EXPECT_EQ(result.status, 0) << result.all();
    const JSONValue status = onlyDocument(result.out);
    EXPECT_EQ(*status.at("status", "guesses")->items()->at(0).find("displayType")->text(), "APP_IPHONE_65");
    EXPECT_THAT(shots({"status"}).out, HasSubstr("upload 1.png, 2.png, 10.png"));
    put(picture("en-US/iphone-67/own.png"), test::pictureFor("APP_IPHONE_67", 1));
    EXPECT_THAT(shots({"status"}).all(),
                AllOf(HasSubstr("delete "), HasSubstr("without it a push only adds")));
    EXPECT_THAT(shots({"status", "--mode", "append"}).all(),
                Not(testing::AnyOf(HasSubstr("delete "), HasSubstr("only adds"))));
    std::filesystem::remove_all(picture("en-US"));

    server.forgetRequests();
    result = shots({"push", "--mode", "replace", "--dry-run"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.error, HasSubstr("Dry run: 4 screenshots would be uploaded"));
    EXPECT_EQ(changesSent(), 0u);

    ASSERT_EQ(session
                  .send({.method = "POST",
                         .url = server.access().url + "/__sandbox/pace",
                         .headers = {{"Content-Type", "application/json"}},
                         .body = R"({"screenshots": 1000})"})
                  .status,
              200);
    result = shots({"push", "--mode", "replace", "--no-wait", "--json"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_EQ(*onlyDocument(result.out).at("report", "uploaded")->integer(), 4);
    EXPECT_THAT(result.error, AllOf(HasSubstr("Uploaded sv/iphone-65/10.png ("), HasSubstr(", 4 of 4 files"),
                                    HasSubstr("de-DE/flat.png: taken for APP_IPHONE_65")))
        << "plain lines without a terminal";
    EXPECT_EQ(heldLike(local()), local());
    result = shots({"push", "--mode", "replace", "--no-wait"});
    EXPECT_THAT(result.out, HasSubstr("Nothing to push"));
    EXPECT_THAT(
        result.error,
        HasSubstr("sv APP_IPHONE_65 10.png: was there, but App Store Connect was still processing it"))
        << "all four at once";
    EXPECT_THAT(shots({"status"}).out, Not(HasSubstr("upload"))) << "a push keeps the catalogue up to date";
}

TEST_F(ScreenshotCommands, endWithTheStatusThatTheOutcomeHas) {
    put(picture("sv/iphone-65/1.png"), drawn(1));
    put(picture("sv/iphone-65/2.png"), "");
    auto result = shots({"push", "--no-wait"});
    EXPECT_EQ(result.status, 7) << result.all();
    EXPECT_THAT(result.error, HasSubstr("sv APP_IPHONE_65 2.png: is empty. Export it again."));
    EXPECT_EQ(shots({"push", "--no-wait"}).status, 7) << "what is there already counts";
    put(picture("it/flat.png"), drawn(1));
    result = shots({"push", "--no-wait", "--locale", "de-DE"});
    EXPECT_EQ(result.status, 0) << "nothing is asked for";
    EXPECT_THAT(result.out, HasSubstr("there are no pictures to send"));
    EXPECT_THAT(result.error, Not(HasSubstr("it/flat.png"))) << "not of this locale";
    EXPECT_EQ(shots({"push", "--locale", "german"}).status, 2);
    EXPECT_EQ(shots({"push", "--display", "phone"}).status, 2);
    EXPECT_EQ(shots({"push"}, {"--context", "ios/live"}).status, 5);

    for (int i = 3; i < 14; ++i)
        put(picture("sv/iphone-65/" + std::to_string(i) + ".png"), drawn(static_cast<unsigned>(i)));
    server.forgetRequests();
    result = shots({"push", "--no-wait"});
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.error,
                AllOf(HasSubstr("sv APP_IPHONE_65: would hold 12"), HasSubstr("Remove 2 files")));
    EXPECT_THAT(held()["sv APP_IPHONE_65"], testing::SizeIs(1));
    EXPECT_THAT(held()["it APP_IPHONE_65"], testing::SizeIs(1)) << "one set stops no other";

    for (const char* locale : {"sv", "it"})
        std::filesystem::remove_all(picture(locale));
    put(picture("ta-IN/iphone-65/1.png"), drawn(1)); // no such localization
    EXPECT_EQ(shots({"push", "--no-wait"}).status, 1);
    put(picture("ta-IN/iphone-65/1.png"), "GIF89a");
    result = shots({"push", "--no-wait"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, AllOf(HasSubstr("Nothing was pushed."), Not(HasSubstr("has these"))));
    EXPECT_EQ(shots({"push", "--dry-run"}).status, 1) << "as the push would end";

    if (::geteuid() == 0) return; // root reads every folder
    std::filesystem::remove_all(picture("ta-IN"));
    std::filesystem::create_directory(picture("it"));
    std::filesystem::permissions(picture("it"), std::filesystem::perms::none);
    EXPECT_EQ(shots({"push", "--no-wait"}).status, 1) << "its pictures are missing";
    EXPECT_EQ(shots({"push", "--no-wait", "--locale", "sv"}).status, 0);
    std::filesystem::permissions(picture("it"), std::filesystem::perms::owner_all);
}

TEST_F(ScreenshotCommands, tellWhatWasPushedThoughTheCatalogueCannotBeWritten) {
    put(picture("sv/iphone-65/1.png"), drawn(1));
    put(folder / "texts/screenshots-catalog.json/in the way", "");
    const auto result = shots({"push", "--no-wait", "--json"});
    EXPECT_EQ(result.status, 0) << result.all();
    const JSONValue document = onlyDocument(result.out);
    EXPECT_EQ(*document.at("report", "uploaded")->integer(), 1);
    EXPECT_THAT(*document.at("report", "warnings")->items()->at(0).text(),
                AllOf(HasSubstr("The push is done"), HasSubstr("screenshots-catalog.json")));
    EXPECT_THAT(shots({"push", "--mode", "replace"}).out, HasSubstr("Nothing to push"));
    put(picture("sv/iphone-65/2.png"), "");
    put(picture("sv/iphone-65/3.png"), drawn(2));
    EXPECT_THAT(shots({"push", "--no-wait"}).out,
                HasSubstr("1 item was not uploaded. Fix it and push again."))
        << "the push itself is done";
}

TEST_F(ScreenshotCommands, endWithStatus0WhateverFailsOnTheWay) {
    test::Drawings drawings;
    test::putThirtySixSets(folder / "texts/screenshots", drawings);
    const auto readable = local();
    const auto unreadable = picture("sv/APP_IPHONE_67/4.png");
    std::filesystem::create_symlink("/nowhere.png", unreadable);
    server.setHourlyQuota(10'000'000);
    server.setFaults(test::faultsOfABadDay());
    const auto pushAtMostThrice = [&](int wanted) {
        test::ProgramResult result;
        for (int runs = 0; runs < 3 && (runs == 0 || result.status != wanted); ++runs)
            result = shots({"push", "--mode", "replace", "--locale",
                            "en-US,de-DE,fr-FR,ja,it,ko,nl-NL,pt-BR,ru,es-ES,zh-Hans,sv", "--no-wait",
                            "--quiet", "--json"});
        EXPECT_EQ(result.status, wanted) << result.all();
        return result;
    };
    EXPECT_THAT(pushAtMostThrice(7).out, HasSubstr("sv APP_IPHONE_67 4.png: Could not stat file"));
    std::filesystem::remove(unreadable);
    pushAtMostThrice(0);
    server.setFaults({});
    EXPECT_EQ(readable.size(), 36u);
    EXPECT_EQ(heldLike(readable), readable);
}

TEST_F(ScreenshotCommands, sendOpaquePicturesAsCopiesWithoutTheirAlphaChannel) {
    const std::string original = test::alphaPicture({368, 448});
    put(picture("sv/APP_WATCH_SERIES_4/1.png"), original);
    put(picture("sv/APP_WATCH_SERIES_4/2.png"), test::alphaPicture({368, 448}, {.lastAlpha = 0}));
    auto result = shots({"push", "--no-wait", "--yes"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error, AllOf(HasSubstr("1.png: has an alpha channel, which App Store Connect refuses, "
                                              "though every pixel is opaque"),
                                    HasSubstr("2.png: has transparent pixels"), HasSubstr("--flatten")));
    ASSERT_EQ(shots({"pull"}).status, 0);
    EXPECT_THAT(shots({"status"}).out, HasSubstr("0 + 2 refused"));
    EXPECT_THAT(shots({"status", "--flatten"}).out,
                AllOf(HasSubstr("1 + 1 refused"), HasSubstr("upload 1.png")));
    result = shots({"push", "--flatten", "--no-wait", "--yes"});
    EXPECT_EQ(result.status, 7) << result.all();
    EXPECT_THAT(result.error,
                HasSubstr("sv APP_WATCH_SERIES_4 1.png goes as a copy without the alpha channel"));
    const auto sets = held();
    ASSERT_THAT(sets.at("sv APP_WATCH_SERIES_4"), testing::SizeIs(1));
    EXPECT_EQ(sets.at("sv APP_WATCH_SERIES_4")[0].fileName, "1.png");
    EXPECT_NE(sets.at("sv APP_WATCH_SERIES_4")[0].checksum, md5Hex(original));
    EXPECT_EQ(readFile(picture("sv/APP_WATCH_SERIES_4/1.png")), original) << "the file stays as it is";
    std::filesystem::remove(picture("sv/APP_WATCH_SERIES_4/2.png"));
    EXPECT_THAT(shots({"push", "--flatten", "--yes"}).out, HasSubstr("Nothing to push"))
        << "the copy is recognised";
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("quorvel-"))) << "no copy is left";
}

TEST_F(ScreenshotCommands, leaveDisabledLocalesAlone) {
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "texts"}).status, 0); // records the locales
    for (const char* locale : {"sv", "de-DE"})
        put(picture(std::string(locale) + "/iphone-65/1.png"), drawn(1));
    ASSERT_EQ(shots({"push", "--no-wait", "--yes"}).status, 0);
    ASSERT_EQ(run({"locale", "disable", "de-DE", "--app", app}).status, 0);
    const auto before = held();
    for (const char* locale : {"sv", "de-DE"})
        put(picture(std::string(locale) + "/iphone-65/1.png"), drawn(2));
    auto result = shots({"push", "--mode", "replace", "--prune", "--no-wait", "--yes", "--locale", "de-DE"});
    EXPECT_EQ(result.status, 1) << result.all();
    EXPECT_THAT(result.all(), AllOf(HasSubstr("1 picture of de-DE, which is disabled, is left out"),
                                    HasSubstr("Nothing was pushed.")));
    EXPECT_EQ(shots({"push", "--mode", "replace", "--no-wait", "--yes", "--locale", "de-DE,sv"}).status, 7)
        << "part of what was asked for";
    put(picture("sv/iphone-65/1.png"), drawn(3));
    result = shots({"push", "--mode", "replace", "--prune", "--no-wait", "--yes"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_EQ(held().at("de-DE APP_IPHONE_65"), before.at("de-DE APP_IPHONE_65"));
    EXPECT_NE(held().at("sv APP_IPHONE_65"), before.at("sv APP_IPHONE_65"));
}

TEST_F(ScreenshotCommands, takeThePicturesOfTheContextsPlatformOnly) {
    const auto macPicture = folder / "texts/screenshots-macos-next/en-US/2.png";
    put(folder / "texts/screenshots-macos-next/en-US/1.png", drawn(1));
    auto result = shots({"push", "--no-wait", "--yes"}, {"--context", "macos/next"});
    EXPECT_EQ(result.status, 1) << "nothing is left";
    EXPECT_THAT(result.all(), AllOf(HasSubstr("1 picture with a size of iOS is left out: en-US/1.png"),
                                    HasSubstr("Nothing was pushed.")));
    EXPECT_EQ(shots({"push", "--dry-run"}, {"--context", "macos/next"}).status, 1) << "as the push ends";
    put(macPicture, samplePicture({2880, 1800}, 1));
    result = shots({"push", "--no-wait", "--yes", "--json"}, {"--context", "macos/next"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_EQ(*onlyDocument(result.out).at("report", "uploadedFiles")->items()->at(0).text(),
              macPicture.string());
}

TEST_F(ScreenshotCommands, nameTheSetsThatReplacingLeavesAndEmptyThemWhenTold) {
    for (const char* locale : {"sv", "it"})
        put(picture(std::string(locale) + "/iphone-65/1.png"), drawn(1));
    ASSERT_EQ(shots({"push", "--no-wait", "--yes"}).status, 0);
    std::filesystem::remove_all(picture("it"));
    auto result = shots({"push", "--mode", "replace", "--no-wait", "--yes", "--locale", "it,sv"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.error,
                HasSubstr("1 set without local files stays as it is: it APP_IPHONE_65. --prune empties it."));
    EXPECT_THAT(held(), testing::Contains(testing::Key("it APP_IPHONE_65")));
    EXPECT_EQ(shots({"push", "--prune", "--yes"}).status, 2) << "it belongs to replacing";
    std::filesystem::rename(picture("sv/iphone-65/1.png"), picture("sv/iphone-65/renamed.png"));
    server.forgetRequests();
    result = shots({"push", "--mode", "replace", "--prune", "--no-wait", "--yes", "--locale", "it,sv"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.out, HasSubstr("Uploaded 0 screenshots, deleted 1"));
    EXPECT_EQ(changesSent(), 1u) << "a renamed picture is there already";
    EXPECT_THAT(held(), Not(testing::Contains(testing::Key("it APP_IPHONE_65"))));
}

TEST_F(ScreenshotCommands, takeThePicturesOfAFlatTree) {
    const auto tree = folder / "other tool";
    put(tree / "sv/0_APP_IPHONE_65_0.png", drawn(1));
    put(tree / "sv/home.png", drawn(2));
    put(tree / "sv/wide.png", samplePicture({2880, 1800}, 1));
    put(tree / "de-DE/home.png", drawn(3));
    put(tree / "deutsch/home.png", drawn(4));
    put(picture("de-DE/iphone-65/home.png"), drawn(5));
    const auto import = [&](std::vector<std::string> more = {}) {
        return shots({"import", tree.string()}, std::move(more));
    };
    auto result = import({"--dry-run"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.out, HasSubstr("Would import 3 pictures of 2 locales"));
    EXPECT_FALSE(std::filesystem::exists(picture("sv")));
    result = import();
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.all(), AllOf(HasSubstr("Imported 3 pictures of 2 locales"),
                                    HasSubstr("1 picture with a size of macOS is left out: sv/wide.png"),
                                    HasSubstr("deutsch/home.png: No locale found")));
    EXPECT_EQ(readFile(picture("sv/APP_IPHONE_65/0_APP_IPHONE_65_0.png")), drawn(1));
    EXPECT_EQ(readFile(picture("sv/APP_IPHONE_65/home.png")), drawn(2));
    EXPECT_EQ(readFile(picture("de-DE/iphone-65/home.png")), drawn(3)) << "the set's own folder";
    bool isKept = false;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "texts/.brevant/kept"))
        isKept = isKept || (entry.is_regular_file() && readFile(entry.path()) == drawn(5));
    EXPECT_TRUE(isKept) << "what was there";
    EXPECT_THAT(import().out, AllOf(HasSubstr("Imported 0 pictures"), HasSubstr("3 unchanged")));
    EXPECT_EQ(shots({"push", "--no-wait", "--yes"}).status, 0);
    EXPECT_EQ(heldLike(local()), local());

    put(tree / "sv/iphone-65/home.png", drawn(6));
    result = import();
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.error, HasSubstr("Rename one of them."));
    EXPECT_EQ(readFile(picture("sv/APP_IPHONE_65/home.png")), drawn(2)) << "the first stays";
    EXPECT_EQ(shots({"import", (folder / "texts/screenshots").string()}).status, 2);
    EXPECT_EQ(shots({"import", (folder / "nowhere").string()}).status, 4);
}

TEST_F(ScreenshotCommands, endAPullWithoutThumbnailsAsPartlyDone) {
    server.setFaults({{.route = "GET /image/**", .status = 404}});
    const auto result = shots({"pull"});
    EXPECT_EQ(result.status, 7) << result.all();
    EXPECT_THAT(result.error, HasSubstr("Couldn't download thumbnail for "));
    server.setFaults({});
    EXPECT_EQ(shots({"pull"}).status, 0);
}

TEST_F(ScreenshotCommands, drawBarsOnATerminal) {
    for (const char* name : {"sv/iphone-65/1.png", "sv/iphone-65/2.png"})
        put(picture(name), drawn(90'000));
    server.setLatency(40); // bars are drawn ten times a second
    auto push = call(words({"push", "--no-wait", "--yes"}));
    push.streams = test::ProgramCall::Streams::terminal;
    push.environment["TERM"] = "xterm";
    const auto result = test::runProgram(push);
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, AllOf(HasSubstr("[####################] 100 %"), HasSubstr("2 of 2 files"),
                                  HasSubstr("  sv/iphone-65/")));
}

TEST_F(ScreenshotCommands, showWhatGoesBeforeTheyAsk) {
    put(picture("en-US/iphone-67/own.png"), test::pictureFor("APP_IPHONE_67", 1));
    server.forgetRequests();
    auto asking = call(words({"push", "--mode", "replace"}));
    asking.streams = test::ProgramCall::Streams::terminal;
    asking.input = "n\n";
    const auto result = test::runProgram(asking);
    EXPECT_EQ(result.status, 1) << result.out;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("delete "), HasSubstr("upload own.png"), HasSubstr("Nothing was pushed.")));
    EXPECT_EQ(changesSent(), 0u);
}

TEST_F(ScreenshotCommands, tellHowFarAnInterruptedPushCame) {
    for (const char* name : {"sv/iphone-65/1.png", "sv/iphone-65/2.png"})
        put(picture(name), drawn(1));
    server.setFaults({{.route = "PATCH /v1/appScreenshots/*", .status = 429, .retryAfter = 600}});
    test::ChildProgram pushing(call(words({"push", "--yes"})));
    while (changesSent() < 6) // two reservations, two uploads, two commits that wait
        std::this_thread::yield();
    pushing.signal(SIGINT);
    const auto result = pushing.wait();
    EXPECT_EQ(result.status, 130) << result.all();
    EXPECT_THAT(result.error, HasSubstr("0 of 2 files were uploaded before the interruption"));
}

TEST_F(ScreenshotCommands, completeAPushThatWasKilledAHundredTimes) {
    server.setHourlyQuota(10'000'000); // the program slows down before the usual one is used up
    std::mt19937 random(5);
    std::size_t most = 60; // requests of a push; learnt from those that end
    int killed = 0;
    for (unsigned round = 1; round <= 100; ++round) {
        unsigned number = round * 10;
        for (const char* name : {"sv/iphone-65/1.png", "sv/iphone-65/2.png", "sv/iphone-65/10.png",
                                 "de-DE/iphone-65/1.png", "de-DE/iphone-65/2.png"})
            put(picture(name), drawn(++number));
        server.forgetRequests();
        const std::size_t moment = std::uniform_int_distribution<std::size_t>(4, most)(random);
        {
            test::ChildProgram child(call(words(
                {"push", "--mode", "replace", "--locale", "sv,de-DE", "--no-wait", "--quiet", "--yes"})));
            std::jthread killer([&](const std::stop_token& ended) {
                (void)server.awaitRequests(moment, ended);
                child.signal(SIGKILL);
            });
            while (!child.readSome().empty())
                ;
            killer.request_stop();
            killer.join();
            killed += child.wait().status != 0;
        }
        if (const std::size_t sent = server.requests().size(); sent < moment)
            most = std::max<std::size_t>(sent, 5);
        const auto again =
            shots({"push", "--mode", "replace", "--locale", "sv,de-DE", "--no-wait", "--quiet", "--yes"});
        ASSERT_EQ(again.status, 0) << "round " << round << ", killed at " << moment << ": " << again.all();
        ASSERT_EQ(heldLike(local()), local()) << "round " << round << ", killed at " << moment;
    }
    EXPECT_GT(killed, 80);
}
