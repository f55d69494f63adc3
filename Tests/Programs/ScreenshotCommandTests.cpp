#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/ScreenshotTree.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class ScreenshotCommands : public MetadataCommands {
  protected:
    ScreenshotCommands() : MetadataCommands(sandbox::Seed::demo) {}

    std::vector<std::string> words(std::string_view command, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"screenshots", std::string(command), "--app", app, "--folder", "texts"});
        return more;
    }
    void draw(const std::string& file, unsigned number) {
        put(folder / "texts/screenshots" / file, pictureFor("APP_IPHONE_67", number));
    }
    // The file names of the German set on the service, in order.
    std::vector<std::string> german() {
        const JSONValue versions = document({"versions", "--app", app, "--platform", "ios"});
        std::vector<std::string> names;
        for (const JSONValue& version : *versions.items())
            if (*version.at("attributes", "versionString")->text() == "3.5")
                for (const HeldScreenshot& held :
                     heldSets(server, *version.find("id")->text())["de-DE APP_IPHONE_67"])
                    names.push_back(held.fileName);
        return names;
    }
};

TEST_F(ScreenshotCommands, pushComparePlanAndPull) {
    EXPECT_EQ(run(words("status")).status, 4); // nothing is recorded, nor pulled
    document(words("pull"));
    std::vector<std::string> expected = german();
    draw("de-DE/iphone-67/1.png", 1);
    draw("de-DE/iphone-67/2.png", 2);
    const auto narrowed = [&](std::string_view command, std::vector<std::string> more = {}) {
        more.insert(more.end(), {"--locale", "de-DE", "--display", "iphone-67"});
        return words(command, std::move(more));
    };
    const JSONValue pushed = document(narrowed("push"));
    EXPECT_EQ(*pushed.find("uploaded")->integer(), 2);
    EXPECT_EQ(*pushed.find("deleted")->integer(), 0);
    expected.insert(expected.end(), {"1.png", "2.png"});
    EXPECT_EQ(german(), expected);
    const auto again = run(narrowed("push"));
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_THAT(again.out, HasSubstr("Nothing to push"));

    const JSONValue status = document(narrowed("status", {"--mode", "append"}));
    const JSONValue& set = status.find("sets")->items()->front();
    EXPECT_EQ(*set.find("local")->integer(), 2);
    EXPECT_TRUE(set.find("toUpload")->items()->empty());
    draw("de-DE/iphone-67/3.png", 3);
    std::filesystem::remove(folder / "texts/screenshots/de-DE/iphone-67/1.png");
    server.forgetRequests();
    const JSONValue plan = document(narrowed("push", {"--mode", "replace", "--dry-run"}));
    EXPECT_EQ(changesSent(), 0u);
    const JSONValue& planned = plan.find("sets")->items()->front();
    const auto& deleted = *planned.find("toDelete")->items();
    EXPECT_EQ(deleted.size(), expected.size() - 1);
    EXPECT_EQ(*deleted.back().text(), "1.png");
    EXPECT_EQ(planned.find("toUpload")->items()->size(), 1u);
    EXPECT_EQ(german(), expected);

    // One that is of a wrong size is named and keeps no other back.
    put(folder / "texts/screenshots/de-DE/iphone-67/4.png", samplePicture({100, 100}, 4));
    const auto partly = run(narrowed("push", {"--mode", "replace"}));
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_THAT(partly.error, AllOf(HasSubstr("4.png"), HasSubstr("100")));
    EXPECT_THAT(german(), ElementsAre("2.png", "3.png"));
    const auto pulled = run(words("pull"));
    EXPECT_EQ(pulled.status, 0) << pulled.all();
    EXPECT_THAT(readFile(folder / "texts/screenshots-catalog.json").value_or(""), HasSubstr("\"3.png\""));
    EXPECT_EQ(run(words("push", {"--context", "ios/live"})).status, 5);
}

} // namespace
} // namespace quorvel::test
