// A whole release as one command: the program, the sandbox and the stand-in tools, with kills in between.
#include "Platform/task/StopToken.h"
#include "Tests/Programs/QuorvelFixture.h"
#include "Tests/support/DeveloperTools.h"
#include "Tests/support/ScreenshotTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <thread>

using namespace quorvel;
using test::onlyDocument;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string tidesBundle = "studio.fernhollow.tides";

/// Pocket Tides after its version 1.9 came out, with texts and pictures for the next one on disk.
class ShipTest : public test::QuorvelAccountTest {
  protected:
    ShipTest() : tools(QUORVEL_XCRUN) {
        environment["QUORVEL_XCRUN"] = tools.xcrun().string();
        server.setHourlyQuota(10'000'000);
        tools.setProject("1.9", "90");
        tools.behave(JSONValue::object({{"sandbox", server.access().url},
                                        {"bundleID", tidesBundle},
                                        {"schemes", JSONValue::array({"Tides"})},
                                        {"processingSeconds", 0}}));
        expectDone({"pull", "--app", tidesBundle});
        server.setVersionState(*idOf("1.9"), "READY_FOR_SALE");
        expectDone({"build", "config", "--project", tools.project().string(), "--scheme", "Tides",
                    "--exempt-encryption"});
    }
    void edit(const std::string& file, const std::string& text) const {
        writeFileAtomically(root() / "ios/next/en-US" / file, text);
    }
    void prepare() const {
        edit("release_notes.txt", "Moon phases of " + version + ".");
        edit("promotional_text.txt", "The sea, by the hour, in " + version + ".");
        for (const char* name : {"1.png", "2.png", "3.png"})
            test::put(root() / "screenshots/en-US/iphone-65" / name,
                      test::pictureFor("APP_IPHONE_65", name[0]));
    }
    [[nodiscard]] std::filesystem::path root() const {
        return folder / "home/Documents/Brevant/pocket-tides";
    }
    void expectDone(const std::vector<std::string>& words) {
        const auto result = run(words);
        ASSERT_EQ(result.status, 0) << words.front() << ": " << result.all();
    }
    [[nodiscard]] std::vector<std::string> ship(std::vector<std::string> more = {}) const {
        std::vector<std::string> words = {"ship", "--version", version};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    struct Found {
        std::string id;
        JSONValue resource;
    };
    [[nodiscard]] std::vector<Found> all(std::string_view type, std::string_view link,
                                         const std::string& owner) const {
        std::vector<Found> found;
        const JSONValue state = server.state();
        const JSONValue* resources = state.find(type);
        if (resources)
            for (const auto& [id, resource] : *resources->members())
                if (const JSONValue* to = resource.at("links", link);
                    to && to->text() && *to->text() == owner)
                    found.push_back({id, resource});
        return found;
    }
    static std::string attribute(const Found& found, std::string_view name) {
        const JSONValue* value = found.resource.at("attributes", name);
        return value && value->text() ? *value->text() : "";
    }
    [[nodiscard]] std::optional<std::string> idOf(const std::string& number) const {
        std::optional<std::string> id;
        for (const Found& one : all("appStoreVersions", "app", tides))
            if (attribute(one, "versionString") == number) {
                EXPECT_FALSE(id) << "two versions " << number;
                id = one.id;
            }
        return id;
    }
    // Everything of the version is there once, and submitted once.
    void expectShippedOnce() const {
        const auto versionID = idOf(version);
        ASSERT_TRUE(versionID);
        std::map<std::string, int> localizations;
        for (const Found& one : all("appStoreVersionLocalizations", "appStoreVersion", *versionID)) {
            EXPECT_EQ(++localizations[attribute(one, "locale")], 1);
            EXPECT_EQ(attribute(one, "whatsNew"), "Moon phases of " + version + ".");
            std::map<std::string, int> sets;
            for (const Found& set : all("appScreenshotSets", "appStoreVersionLocalization", one.id)) {
                const std::string type = attribute(set, "screenshotDisplayType");
                EXPECT_EQ(++sets[type], 1) << type;
                EXPECT_EQ(all("appScreenshots", "appScreenshotSet", set.id).size(), 3u) << type;
            }
            EXPECT_EQ(sets.size(), 2u);
        }
        const JSONValue state = server.state();
        std::set<std::string> builds;
        for (const Found& build : all("builds", "app", tides))
            if (trainOf(build.resource) == version) builds.insert(build.id);
        ASSERT_EQ(builds.size(), 1u) << "uploaded more than once";
        EXPECT_EQ(*state.at("appStoreVersions", *versionID)->at("links", "build")->text(), *builds.begin());
        int submitted = 0;
        for (const Found& one : all("reviewSubmissions", "app", tides))
            submitted += attribute(one, "state") == "WAITING_FOR_REVIEW";
        EXPECT_EQ(submitted, 1);
        EXPECT_EQ(all("reviewSubmissionItems", "appStoreVersion", *versionID).size(), 1u);
        EXPECT_EQ(*state.at("appStoreVersions", *versionID)->at("attributes", "appStoreState")->text(),
                  "WAITING_FOR_REVIEW");
    }
    [[nodiscard]] std::string trainOf(const JSONValue& build) const {
        const JSONValue state = server.state();
        const JSONValue* train =
            state.at("preReleaseVersions", *build.at("links", "preReleaseVersion")->text());
        return train ? *train->at("attributes", "version")->text() : "";
    }
    std::int64_t changesOfAppStoreConnect() const {
        return std::ranges::count_if(server.requests(), [](const auto& request) {
            return request.method != "GET" && request.path.starts_with("/v1/");
        });
    }
    static std::int64_t numberAt(const JSONValue& document, std::string_view key) {
        return *document.at("plan", key)->integer();
    }
    static std::map<std::string, std::string> textsOf(const JSONValue& steps) {
        std::map<std::string, std::string> texts;
        for (const JSONValue& step : *steps.items())
            texts[*step.find("kind")->text()] = *step.find("text")->text();
        return texts;
    }

    static constexpr const char* tides = "6700000102";
    std::string version = "2.0"; // that is shipped
    test::DeveloperTools tools;
};

} // namespace

TEST_F(ShipTest, goesFromAFreshVersionToReviewInOneGoAndThenHasNothingToDo) {
    prepare();
    server.forgetRequests();
    const auto dry = run(ship({"--dry-run", "--json"}));
    EXPECT_EQ(dry.status, 0) << dry.all();
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_FALSE(idOf("2.0"));
    EXPECT_THAT(tools.calls(), Not(HasSubstr("archive")));
    const auto shipped = run(ship({"--yes", "--json"}));
    ASSERT_EQ(shipped.status, 0) << shipped.all();
    expectShippedOnce();
    server.forgetRequests();
    const auto again = run(ship({"--yes"}));
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_THAT(again.out, HasSubstr("Waiting for Review"));
    EXPECT_EQ(changesSent(), 0u);
    expectDone({"submit", "--remove", "--yes"});
    EXPECT_THAT(run({"checklist"}).out, HasSubstr("quorvel submit"));
    expectDone({"next", "--yes"});
}

TEST_F(ShipTest, doesWhatItsPlanSaysWithTheRequestsItExpects) {
    prepare();
    expectDone({"versions", "create", "--platform", "ios", "--version", "2.0", "--yes"});
    expectDone({"pull", "--leave-edits"});
    server.forgetRequests();
    const auto dry = onlyDocument(run(ship({"--dry-run", "--json"})).out);
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_TRUE(*dry.at("plan", "isExact")->boolean());
    server.forgetRequests();
    const auto shipped = onlyDocument(run(ship({"--yes", "--json"})).out);
    EXPECT_EQ(changesOfAppStoreConnect(), numberAt(dry, "requests"));
    EXPECT_EQ(encodeJSON(*dry.at("plan", "steps")), encodeJSON(*shipped.at("plan", "steps")));
    const auto planned = textsOf(*dry.at("plan", "steps"));
    for (const auto& [kind, text] : textsOf(*shipped.at("outcome", "steps")))
        if (kind != "attach" && kind != "compliance" && kind != "review") {
            EXPECT_EQ(text, planned.at(kind));
        }
    expectShippedOnce();
}

TEST_F(ShipTest, endsAtWhatOnlyAPersonCanDoBeforeItDoesMoreThanThat) {
    EXPECT_EQ(run(ship()).status, 2) << "nobody can be asked";
    EXPECT_EQ(run({"submit"}).status, 2);
    // No release notes: the plan says so before anything is built; everything before the submission is done,
    // once.
    const auto plan = run(ship({"--dry-run"}));
    EXPECT_EQ(plan.status, 5) << plan.all();
    EXPECT_THAT(plan.out, HasSubstr("release notes of en-US"));
    const auto first = run(ship({"--yes"}));
    EXPECT_EQ(first.status, 5) << first.all();
    EXPECT_THAT(first.out, AllOf(HasSubstr("release notes of en-US"), HasSubstr("only you can do")));
    ASSERT_TRUE(idOf("2.0"));
    server.forgetRequests();
    EXPECT_EQ(run(ship({"--yes"})).status, 5);
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_EQ(run({"submit", "--yes"}).status, 5);
    // A text over its limit stops all that comes after the pull.
    edit("release_notes.txt", "Moon phases.");
    edit("subtitle.txt", std::string(60, 'x'));
    const auto blocked = run(ship({"--yes"}));
    EXPECT_EQ(blocked.status, 5);
    EXPECT_THAT(blocked.out, HasSubstr("en-US Subtitle"));
    EXPECT_EQ(changesSent(), 0u);
    EXPECT_EQ(run(ship({"--dry-run"})).status, 5);
    // Pictures of a locale that App Store Connect does not have.
    edit("subtitle.txt", "The sea, by the hour");
    test::put(root() / "screenshots/fr-FR/iphone-65/1.png", test::pictureFor("APP_IPHONE_65", '1'));
    const auto homeless = run(ship({"--yes"}));
    EXPECT_EQ(homeless.status, 7) << homeless.all();
    EXPECT_THAT(homeless.out, HasSubstr("fr-FR"));
    std::filesystem::remove_all(root() / "screenshots/fr-FR");
    // What was done before Apple refused is told.
    server.setFaults({{.route = "PATCH /v1/reviewSubmissions/*", .status = 409}});
    const auto refused = run(ship({"--yes"}));
    EXPECT_EQ(refused.status, 5) << refused.all();
    EXPECT_THAT(refused.out, AllOf(HasSubstr("✓ Attach"), HasSubstr("✗ Submission")));
    EXPECT_EQ(run({"ship", "--version", "v2", "--yes"}).status, 2);
    EXPECT_EQ(run(ship({"--context", "ios/live", "--yes"})).status, 2);
}

// Killed at any moment and run again, until it is done; then the next version.
TEST_F(ShipTest, submitsEachVersionOnceHoweverOftenItIsKilled) {
    const char* wanted = std::getenv("QUORVEL_SHIP_KILLS");
    const int kills = wanted ? std::atoi(wanted) : 8;
    std::mt19937 random(7);
    int killed = 0;
    for (int number = 0; killed < kills; ++number) {
        version = fmt::format("2.{}", number);
        SCOPED_TRACE(version);
        prepare();
        std::size_t most = 70; // requests of a shipment
        for (bool isDone = false; !isDone;) {
            server.forgetRequests();
            const auto moment = std::uniform_int_distribution<std::size_t>(3, most)(random);
            const auto yields = random() % 3000; // between two requests
            test::ChildProgram child(call(ship({"--yes", "--quiet"})));
            std::jthread killer([&](const std::stop_token& ended) {
                if (killed >= kills || !server.awaitRequests(moment, ended)) return;
                for (std::size_t count = 0; count < yields; ++count)
                    std::this_thread::yield();
                child.signal(SIGKILL);
            });
            std::string printed;
            for (std::string more; !(more = child.readSome()).empty();)
                printed += more;
            killer.request_stop();
            killer.join();
            const auto result = child.wait();
            isDone = result.status == 0;
            killed += result.status == 128 + SIGKILL;
            ASSERT_TRUE(isDone || result.status == 128 + SIGKILL) << printed << result.error;
        }
        expectShippedOnce();
        server.setVersionState(*idOf(version), "READY_FOR_SALE");
    }
}
