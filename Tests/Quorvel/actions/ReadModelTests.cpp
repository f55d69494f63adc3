#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/actions/HomeActions.h"
#include "Quorvel/actions/LocaleActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Quorvel/application/Failure.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <random>

using namespace quorvel;
using test::ApplicationSandbox;

namespace {

constexpr std::string_view readModelSlug = "mosswick-garden-journal";

// Changes files of a context's tree at random, in ways that users and their tools do.
class RandomEdits {
  public:
    RandomEdits(MetadataStore store, unsigned seed) : store_(std::move(store)), random_(seed) {}

    void apply() {
        for (int count = pick(6); count >= 0; --count)
            editOnce();
    }

  private:
    int pick(int bound) { return std::uniform_int_distribution<int>(0, bound)(random_); }

    void editOnce() {
        const auto locales = store_.localesOnDisk();
        const std::string locale =
            locales[static_cast<std::size_t>(pick(static_cast<int>(locales.size()) - 1))];
        const FieldType field = storeTexts[static_cast<std::size_t>(pick(5))];
        const auto file = store_.folder().fieldFile(locale, field);
        switch (pick(8)) {
        case 0:
            return store_.write(locale, field, "");
        case 1:
            return store_.write(locale, field, std::string(limitOf(field) + 1, 'x'));
        case 2:
            return store_.write(locale, field, "text\n");
        case 3:
            return writeFileAtomically(file, "no text \xFF\xFE");
        case 4:
            std::filesystem::remove(file);
            return;
        case 5:
            store_.createLocaleLocally("bn-BD");
            return store_.write("bn-BD", FieldType::name, "Mosswick");
        case 6:
            return store_.write("default", FieldType::name, "of another tool");
        case 7:
            std::filesystem::remove_all(store_.folder().localeFolder(locale, TextSide::pulled));
            return;
        default:
            return store_.write(locale, field, "edited " + std::to_string(pick(1000)));
        }
    }

    MetadataStore store_;
    std::mt19937 random_;
};

} // namespace

TEST(ReadModel, isOneForStatusDiffHomePushDryRunAndChecklist) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    const std::string app(test::gardenApp);
    (void)PullTexts::perform(application, {.app = app});
    (void)SwitchLocales::perform(application, {.locales = {"ja", "fr-FR"}, .enabled = false});
    const auto session = application.session(application.apps().all().front().id);
    const MetadataStore store(sandbox.contextFolder(readModelSlug));
    std::filesystem::remove_all(store.folder().localeFolder("ja", TextSide::local)); // nobody misses it
    for (unsigned seed = 1; seed <= 25; ++seed) {
        SCOPED_TRACE(seed);
        RandomEdits(MetadataStore(sandbox.contextFolder(readModelSlug)), seed).apply();
        const auto status = TextStatus::perform(application, {});
        const auto diff = DiffTexts::perform(application, {});
        const auto home = ShowHome::perform(application, {});
        const PushPlan plan = PlanPush::perform(application, {}).plan;
        const PushPlan dryRun = PlanPush::perform(application, {.dryRun = true}).plan;
        session->metadata->refresh();
        const MetadataChecklist checklist = session->metadata->state()->checklist();

        EXPECT_EQ(dryRun.changes, plan.changes);
        EXPECT_EQ(dryRun.leftOut, plan.leftOut);
        EXPECT_EQ(status.leftOut, plan.leftOut);
        EXPECT_EQ(diff.leftOut, plan.leftOut);
        EXPECT_EQ(diff.compared.context, plan.context);
        EXPECT_EQ(status.changes.size(), diff.differences.size());
        EXPECT_EQ(status.checklist, checklist);
        std::int64_t sent = 0;
        for (const TextChange& change : status.changes)
            sent += change.leftOut ? 0 : 1;
        EXPECT_EQ(sent, std::ssize(plan.changes));
        const auto waiting = std::ranges::count_if(
            plan.leftOut, [](const LeftOutChange& one) { return waitsForUser(one.reason); });
        EXPECT_EQ(status.waiting, sent + waiting);
        EXPECT_EQ(home.apps.at(0).pendingChanges, status.waiting) << "macos/next was not pulled";
        EXPECT_EQ(checklist.pushed.holds, status.waiting == 0);
        for (const PendingChange& change : plan.changes)
            EXPECT_TRUE(change.locale != "ja" && change.locale != "fr-FR") << change.locale;
    }
}

TEST(ReadModel, carriesATreeOfTheOlderLayoutOverWhereverItIsRead) {
    const ApplicationSandbox sandbox;
    Application& application = *sandbox.application;
    (void)PullTexts::perform(application, {.app = std::string(test::gardenApp)});
    const auto next = sandbox.contextFolder(readModelSlug).rootURL;
    const auto root = next.parent_path().parent_path();
    const auto makeOlder = [&] { // iOS texts directly under the root, their copies beside them
        std::filesystem::create_directories(root / ".brevant/asc");
        for (const char* locale : {"de-DE", "ja"}) {
            std::filesystem::rename(next / locale, root / locale);
            std::filesystem::rename(next / ".brevant/asc" / locale, root / ".brevant/asc" / locale);
        }
    };
    const auto expected = TextStatus::perform(application, {}).locales;
    makeOlder();
    try {
        (void)PlanPush::perform(application, {.dryRun = true});
        ADD_FAILURE() << "a dry run moves nothing";
    } catch (const std::exception& error) {
        EXPECT_THAT(failureOf(error).text, testing::HasSubstr("older layout"));
    }
    EXPECT_TRUE(std::filesystem::exists(root / "de-DE"));
    EXPECT_EQ(TextStatus::perform(application, {}).locales, expected);
    makeOlder();
    EXPECT_TRUE(DiffTexts::perform(application, {}).differences.empty());
    makeOlder();
    EXPECT_TRUE(PlanPush::perform(application, {}).plan.nothing.has_value());
    EXPECT_FALSE(std::filesystem::exists(root / "de-DE"));
}
