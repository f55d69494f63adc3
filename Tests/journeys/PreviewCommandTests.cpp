// The program's preview commands, as people and build services run them.
#include "Platform/task/StopToken.h"
#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/SampleVideo.h"
#include "Tests/support/ScreenshotTree.h"

#include <csignal>

using namespace quorvel;
using test::onlyDocument;
using test::put;
using test::sampleVideo;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class PreviewCommands : public test::QuorvelAccountTest {
  protected:
    void video(const std::string& path, unsigned number, test::VideoTraits traits = {}) const {
        traits.number = number;
        traits.bytes = 1'000 + number;
        put(folder / "texts/previews" / path, sampleVideo(traits));
    }
    [[nodiscard]] std::vector<std::string> words(std::vector<std::string> command) const {
        command.insert(command.begin(), "previews");
        for (const char* word : {"--app", app, "--folder", "texts"})
            command.emplace_back(word);
        return command;
    }
    test::ProgramResult previews(std::vector<std::string> command) { return run(words(std::move(command))); }
    // The names in a set of the coming iOS version.
    [[nodiscard]] std::vector<std::string> held(const std::string& set) const {
        std::vector<std::string> names;
        const JSONValue state = server.state();
        for (const auto& [id, version] : *state.find("appStoreVersions")->members())
            if (*version.at("attributes", "versionString")->text() == "3.5" &&
                *version.at("attributes", "platform")->text() == "IOS" &&
                *version.at("links", "app")->text() == "6700000101") {
                auto sets = test::heldSets(server, id, AssetKind::preview);
                for (const auto& preview : sets[set])
                    names.push_back(preview.fileName);
            }
        return names;
    }
};

} // namespace

TEST_F(PreviewCommands, pullCompareAndPush) {
    auto result = previews({"status"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.error, AllOf(HasSubstr("the previews of ios/next have not been pulled"),
                                    HasSubstr("quorvel previews pull")));
    result = previews({"push", "--yes"});
    EXPECT_EQ(result.status, 4) << "there is no folder of videos";
    EXPECT_THAT(result.error, HasSubstr("Previews belong into <locale>/<display type>"));
    ASSERT_EQ(previews({"pull"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "texts/previews-catalog.json"));

    for (const unsigned number : {10u, 2u, 1u})
        video("sv/iphone-67/" + std::to_string(number) + ".mp4", number);
    video("sv/iphone-65/long.mov", 9, {.seconds = 61});
    put(folder / "texts/previews/sv/iphone-67/2.poster.txt", "7");
    put(folder / "texts/previews/sv/iphone-67/20.poster.txt", "7");
    result = previews({"push", "--dry-run"});
    EXPECT_EQ(result.status, 7) << result.all();
    EXPECT_THAT(result.all(), AllOf(HasSubstr("upload 1.mp4, 2.mp4, 10.mp4"), HasSubstr("0 + 1 refused"),
                                    HasSubstr("sv IPHONE_65 long.mov: lasts 61.0 seconds"),
                                    HasSubstr("20.poster.txt: there is no video beside it"),
                                    HasSubstr("Dry run: 3 previews would be uploaded")));
    EXPECT_EQ(changesSent(), 0u);
    std::filesystem::remove_all(folder / "texts/previews/sv/iphone-65");
    result = previews({"push", "--yes", "--no-wait", "--json"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_EQ(*onlyDocument(result.out).at("report", "uploaded")->integer(), 3);
    EXPECT_THAT(result.error, HasSubstr("Uploaded sv/iphone-67/10.mp4 ("));
    EXPECT_THAT(held("sv IPHONE_67"), ElementsAre("1.mp4", "2.mp4", "10.mp4"));
    EXPECT_THAT(previews({"status", "--display", "IPHONE_67"}).all(),
                HasSubstr("sv IPHONE_67 10.mp4: App Store Connect was still processing it"));

    server.advance(10);
    std::filesystem::rename(folder / "texts/previews/sv/iphone-67/1.mp4",
                            folder / "texts/previews/sv/iphone-67/3.mp4");
    put(folder / "texts/previews/sv/iphone-67/2.poster.txt", "8");
    ASSERT_EQ(previews({"pull"}).status, 0);
    result = previews({"status"});
    EXPECT_THAT(result.all(), AllOf(HasSubstr("set the poster frame of 2.mp4"), HasSubstr("sent again")));
    result = previews({"push", "--mode", "replace", "--yes", "--no-wait", "--locale", "sv"});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.out, HasSubstr("Uploaded 2 previews, deleted 2, created 0 sets, set 1 poster frame."));
    EXPECT_THAT(held("sv IPHONE_67"), ElementsAre("2.mp4", "3.mp4", "10.mp4"));
    EXPECT_THAT(previews({"push", "--yes"}).out, HasSubstr("App Store Connect has these previews."));

    EXPECT_EQ(previews({"push", "--display", "phone", "--yes"}).status, 2);
    EXPECT_EQ(previews({"push", "--flatten", "--yes"}).status, 2) << "of pictures";
    EXPECT_EQ(
        run({"previews", "push", "--app", app, "--folder", "texts", "--context", "ios/live", "--yes"}).status,
        5);
}

TEST_F(PreviewCommands, takeTheVideosOfAnotherToolsTree) {
    const auto tree = folder / "other tool";
    put(tree / "sv/home.png", test::pictureFor("APP_IPHONE_67", 1));
    put(tree / "sv/tour.mp4", sampleVideo());
    put(tree / "sv/tour.poster.txt", "6");
    put(tree / "sv/pad.mov", sampleVideo({.width = 1200, .height = 1600}));
    put(tree / "sv/IPAD_97_old.mp4", sampleVideo({.width = 900, .height = 1200}));
    put(tree / "sv/odd.mp4", sampleVideo({.width = 600, .height = 600}));
    auto result = previews({"import", tree.string()});
    EXPECT_EQ(result.status, 7) << result.all();
    EXPECT_THAT(result.all(),
                AllOf(HasSubstr("Imported 4 files of 1 locale"), HasSubstr("tour.mp4: taken for IPHONE_67"),
                      HasSubstr("none has 600 × 600 pixels"), Not(HasSubstr("home.png"))));
    const auto local = folder / "texts/previews/sv";
    EXPECT_EQ(readFile(local / "IPHONE_67/tour.mp4"), sampleVideo());
    EXPECT_EQ(readFile(local / "IPHONE_67/tour.poster.txt"), "6");
    EXPECT_TRUE(std::filesystem::exists(local / "IPAD_PRO_3GEN_129/pad.mov"));
    EXPECT_TRUE(std::filesystem::exists(local / "IPAD_97/IPAD_97_old.mp4"));
    std::filesystem::remove(tree / "sv/odd.mp4");
    put(local / "IPHONE_67/tour.mp4", "edited");
    result = previews({"import", tree.string()});
    EXPECT_EQ(result.status, 0) << result.all();
    EXPECT_THAT(result.all(),
                AllOf(HasSubstr("Imported 1 file"), HasSubstr("3 unchanged"), HasSubstr("kept as")));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "texts"))
        EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr(".part")));
}

TEST_F(PreviewCommands, completeAPushThatWasKilledAtEachOfItsRequests) {
    for (std::size_t moment = 4; moment < 20; moment += 3) {
        for (const unsigned number : {1u, 2u, 3u})
            video("sv/iphone-67/" + std::to_string(number) + ".mp4",
                  static_cast<unsigned>(moment) * 4 + number);
        server.forgetRequests();
        {
            test::ChildProgram child(
                call(words({"push", "--mode", "replace", "--no-wait", "--quiet", "--yes"})));
            std::jthread killer([&](const std::stop_token& ended) {
                (void)server.awaitRequests(moment, ended);
                child.signal(SIGKILL);
            });
            while (!child.readSome().empty())
                ;
            killer.request_stop();
            killer.join();
            (void)child.wait();
        }
        const auto again = previews({"push", "--mode", "replace", "--no-wait", "--quiet", "--yes"});
        ASSERT_EQ(again.status, 0) << "killed at " << moment << ": " << again.all();
        EXPECT_THAT(held("sv IPHONE_67"), ElementsAre("1.mp4", "2.mp4", "3.mp4")) << "killed at " << moment;
    }
}
