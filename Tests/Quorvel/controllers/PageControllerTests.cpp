// The fields of the page through the controllers: the history, the way back, and a password that nobody sees.
#include "Platform/log/Log.h"
#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/controllers/metadata/SecretExposure.h"
#include "Tests/support/ControllerSandbox.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/GitRepository.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using F = FieldType;

namespace {

constexpr std::string_view firstPassword = "xK7-first-secret";
constexpr std::string_view secondPassword = "xK7-second-secret";

struct PageSandbox : test::ControllerSandbox {
    PageSandbox() { (void)pull(); }
    void put(F field, std::string_view text) const { store().write(pageLocale, field, text); }
    [[nodiscard]] std::string local(F field) const {
        return store().read(pageLocale, field).value_or("none");
    }
};

// The files below `folder` that hold `text`, relative to it.
std::vector<std::string> filesWith(const std::filesystem::path& folder, std::string_view text) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && readFile(entry.path()).value_or("").find(text) != std::string::npos)
            found.push_back(entry.path().lexically_relative(folder).native());
    return found;
}

} // namespace

TEST(PageController, putsAllFieldsOfAPushBack) {
    PageSandbox sandbox;
    const FieldTexts before = sandbox.store().readLocale(pageLocale);
    sandbox.put(F::copyright, "2027");
    sandbox.put(F::ageRating, R"({"gambling": false, "contests": "NONE"})");
    sandbox.put(F::primaryCategory, "weather");
    sandbox.put(F::demoAccountRequired, "yes");
    sandbox.put(F::demoAccountName, "review");
    sandbox.store().write("de-DE", F::marketingURL, "https://fernhollow.example/neu");
    const auto pushed = sandbox.push();
    EXPECT_EQ(pushed.report, "Pushed 6 fields · 1 locale");
    sandbox.put(F::copyright, "2028"); // newer, so it is backed up

    const auto report = sandbox.controller.revert(pushed.run);
    EXPECT_EQ(report.reverted.size(), 6U);
    ASSERT_EQ(report.kept.size(), 1U);
    EXPECT_EQ(readFile(report.kept.front().path), "2028");
    EXPECT_EQ(sandbox.local(F::copyright), "2026 Fernhollow Studio");
    EXPECT_EQ(sandbox.local(F::ageRating), "{\n  \"gambling\": null,\n  \"contests\": null\n}");
    EXPECT_EQ(sandbox.store().read("de-DE", F::marketingURL), "https://fernhollow.example/mosswick");
    EXPECT_EQ(sandbox.push().report, "Pushed 6 fields · 1 locale");
    (void)sandbox.pull();
    for (const F field : pageFields)
        EXPECT_EQ(sandbox.store().read(pageLocale, field, TextSide::pulled).value_or(""),
                  before[field].value_or(""))
            << rawValue(field);
    EXPECT_TRUE(sandbox.controller.planPush({}).nothing.has_value());
}

TEST(PageController, leavesAnswersAloneThatTheRunDidNotSend) {
    PageSandbox sandbox;
    sandbox.put(F::ageRating, R"({"gambling": true})");
    const std::string run = sandbox.push().run;
    const auto info = sandbox.client.listAppInfos(test::gardenApp).back().id; // of the next version
    const auto declaration = sandbox.client.getAgeRatingDeclaration(info)->id;
    (void)sandbox.client.updateAgeRatingDeclaration(
        declaration, JSONValue::object({{"contests", "FREQUENT"}, {"lootBox", true}}));
    (void)sandbox.pull();

    const auto report = sandbox.controller.revert(run);
    EXPECT_EQ(report.reverted.size(), 1U);
    EXPECT_TRUE(report.kept.empty()) << "nobody edited";
    const auto plan = sandbox.controller.planPush({}, {}, DryRun::yes, MetadataController::Requests::include);
    ASSERT_EQ(plan.requests.size(), 1U);
    EXPECT_THAT(encodeJSON(plan.requests.front().body), HasSubstr(R"("attributes":{"gambling":null})"));
    EXPECT_EQ(sandbox.controller.revert(run).unchanged.size(), 1U);
}

TEST(PageController, showsAndKeepsTheDemoPasswordNowhere) {
    const LogCapture log;
    PageSandbox sandbox;
    const auto detail = sandbox.client.getReviewDetail(
        sandbox.client.listAppStoreVersions(test::gardenApp, ASCPlatform::iOS, {}, {1}).at(0).id);
    (void)sandbox.client.updateReviewDetail(detail->id, {.demoAccountPassword = std::string(firstPassword)});
    std::string shown = encodeJSON(sandbox.pull());
    const auto show = [&](const auto& document) { shown += encodeJSON(document); };
    EXPECT_EQ(sandbox.local(F::demoAccountPassword), firstPassword);

    sandbox.put(F::demoAccountPassword, secondPassword);
    sandbox.put(F::contactPhone, std::string(30, '1')); // refused, so each field is tried alone
    const auto compared = sandbox.controller.compare({});
    show(textChangesOf(compared.texts));
    for (const TextChange& change : textChangesOf(compared.texts))
        if (change.field == F::demoAccountPassword) {
            EXPECT_EQ(change.remote, "(set)");
            EXPECT_EQ(change.local, "(changed)");
        }
    show(sandbox.controller.planPush({}, {}, DryRun::yes, MetadataController::Requests::include));
    const PushPlan plan = sandbox.controller.planPush({});
    show(plan);
    const auto pushed = sandbox.controller.push(decodeJSON<PushPlan>(encodeJSON(plan)));
    show(pushed);
    EXPECT_EQ(sandbox.client.getReviewDetail(plan.version.versionId)->attributes.demoAccountPassword,
              secondPassword);
    for (const PushHistoryEntry& entry : sandbox.history())
        show(entry);
    const auto reverted = sandbox.controller.revert(pushed.run);
    show(reverted);
    EXPECT_THAT(reverted.warnings, ElementsAre(HasSubstr("is kept in no history")));
    EXPECT_EQ(sandbox.local(F::demoAccountPassword), secondPassword);

    // An edit that a pull replaces is backed up, readable by its owner only.
    sandbox.put(F::demoAccountPassword, firstPassword);
    const auto merged = sandbox.pull(); // where a choice would need both texts, the edit stays
    show(merged);
    EXPECT_EQ(sandbox.local(F::demoAccountPassword), firstPassword);
    const auto again = sandbox.controller.pull({.edits = LocalEdits::keepBeside}).at(0).result.value();
    show(again);
    ASSERT_THAT(again.kept, testing::SizeIs(2)); // the telephone number too
    EXPECT_THAT(again.kept.back().path, testing::EndsWith("demo_password.txt"));
    EXPECT_EQ(test::modeOf(again.kept.back().path), 0600U);
    for (const TextSide side : {TextSide::local, TextSide::pulled})
        EXPECT_EQ(test::modeOf(sandbox.store().folder().fieldFile(pageLocale, F::demoAccountPassword, side)),
                  0600U);
    const std::string logged = log.text();
    for (const std::string_view password : {firstPassword, secondPassword}) {
        EXPECT_THAT(shown, Not(HasSubstr(std::string(password))));
        EXPECT_THAT(logged, Not(HasSubstr(std::string(password))));
        for (const std::string& file : filesWith(sandbox.home.root, password))
            EXPECT_THAT(file, testing::EndsWith("review_information/demo_password.txt"));
    }
    EXPECT_EQ(filesWith(sandbox.home.root, secondPassword).size(), 2U); // the local file and its copy
}

TEST(PageController, warnsOfARepositoryThatWouldTakeThePassword) {
    PageSandbox sandbox;
    sandbox.put(F::demoAccountPassword, firstPassword);
    const auto warnings = [&] { return sandbox.pull().summary.warnings; };
    const auto notices = [&] { return sandbox.controller.planPush({}).notices; };
    EXPECT_THAT(notices(), testing::IsEmpty()); // no repository
    const test::GitRepository repository(sandbox.appFolder().rootURL);
    EXPECT_THAT(notices(), ElementsAre(HasSubstr("would take it. Write a line \"demo_password.txt\"")));
    EXPECT_THAT(notices(), Not(ElementsAre(HasSubstr(std::string(firstPassword)))));
    writeFileAtomically(sandbox.appFolder().rootURL / ".gitignore", "demo_password.txt\n");
    EXPECT_THAT(notices(), testing::IsEmpty());
    EXPECT_THAT(warnings(), testing::IsEmpty());
}

TEST(SecretExposure, looksWhereverAPasswordIsLeft) {
    const test::TemporaryFolder outer;
    const test::GitRepository repository(outer.path());
    const MetadataFolder tree{repository.root(), TreeInPlace{TreeLayout::platforms}};
    const MetadataFolder context = tree.contextFolder({});
    const std::filesystem::path places[] = {context.rootURL / "review_information/demo_password.txt",
                                            tree.rootURL / "review_information/demo_password.txt",
                                            context.privateFolder() /
                                                "kept/2026-03-01/review_information/demo_password.txt"};
    for (const auto& place : places) {
        createFolders(place.parent_path());
        writeFileAtomically(place, "\n");
        EXPECT_FALSE(exposedSecret(context).has_value()) << "no password";
        writeFileAtomically(place, firstPassword);
        const auto exposed = exposedSecret(context);
        ASSERT_TRUE(exposed.has_value()) << place;
        EXPECT_EQ(exposed->file, place.native());
        EXPECT_THAT(exposed->text, HasSubstr("a line \"demo_password.txt\""));
        std::filesystem::remove(place);
    }
}
