// Pushes from a checkout that never was pulled.
#include "Quorvel/actions/CompareActions.h"
#include "Quorvel/actions/PullActions.h"
#include "Quorvel/actions/PushActions.h"
#include "Tests/support/ApplicationSandbox.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace quorvel;
using test::ApplicationSandbox;
using test::gardenID;
using test::kindOf;
using testing::SizeIs;

namespace {

// A checkout of what App Store Connect holds, without copies, and a colleague's folder with them.
struct Checkout {
    Checkout() {
        (void)PullTexts::perform(*sandbox.application, {.app = gardenID, .folder = "colleague"});
        std::filesystem::copy(sandbox.folder / "colleague", sandbox.folder / "checkout",
                              std::filesystem::copy_options::recursive);
        std::filesystem::remove_all(store.folder().privateFolder());
    }
    [[nodiscard]] PushPlan plan() const {
        return PlanPush::perform(*sandbox.application,
                                 {.app = gardenID, .folder = "checkout", .overwrite = true})
            .plan;
    }
    [[nodiscard]] FailureKind refusalOf(const PushPlan& plan) const {
        return kindOf([&] { (void)PushTexts::perform(*sandbox.application, {.plan = plan}); });
    }
    void colleaguePushes(std::string_view subtitle) const {
        (void)PullTexts::perform(*sandbox.application, {.app = gardenID, .folder = "colleague"});
        colleague.write("de-DE", FieldType::subtitle, subtitle);
        const auto planned =
            PlanPush::perform(*sandbox.application, {.app = gardenID, .folder = "colleague"});
        (void)PushTexts::perform(*sandbox.application, {.plan = planned.plan});
    }

    ApplicationSandbox sandbox;
    MetadataStore store{MetadataFolder{sandbox.folder / "checkout"}.contextFolder({})};
    MetadataStore colleague{MetadataFolder{sandbox.folder / "colleague"}.contextFolder({})};
};

} // namespace

TEST(OverwritingPush, isRefusedAsAWholeOnceATextThatItReplacesChanged) {
    Checkout checkout;
    const MetadataStore& store = checkout.store;
    store.write("de-DE", FieldType::subtitle, "Ernten und feiern");
    store.write("ja", FieldType::subtitle, "庭の日記");
    const PushPlan plan = checkout.plan();
    EXPECT_TRUE(plan.overwrites);
    EXPECT_THAT(plan.changes, SizeIs(2));
    EXPECT_FALSE(store.wasPulled()) << "a plan changes nothing";

    checkout.colleaguePushes("Ihr Garten");
    checkout.sandbox.server.forgetRequests();
    EXPECT_EQ(checkout.refusalOf(plan), FailureKind::stalePlan);
    for (const auto& request : checkout.sandbox.server.requests())
        EXPECT_EQ(request.method, "GET");
    EXPECT_FALSE(store.wasPulled());
    EXPECT_EQ(checkout.plan().changes.front().remote, "Ihr Garten");

    const PushPlan second = checkout.plan();
    store.write("ja", FieldType::subtitle, "庭園"); // edited while somebody read the plan
    EXPECT_EQ(checkout.refusalOf(second), FailureKind::stalePlan);
    store.write("ja", FieldType::subtitle, "庭の日記");
    const auto pushed = PushTexts::perform(*checkout.sandbox.application, {.plan = second});
    EXPECT_EQ(pushed.report.outcomes.at(0).textBefore(), "Ihr Garten");
    EXPECT_TRUE(pushed.report.outcomes.at(1).success);
    EXPECT_EQ(store.read("fr-FR", FieldType::description, TextSide::pulled),
              store.read("fr-FR", FieldType::description));
    EXPECT_FALSE(checkout.plan().overwrites) << "the copies are there";

    // What a colleague changes from here on is a conflict as after any pull.
    checkout.colleaguePushes("Ihr schöner Garten");
    store.write("de-DE", FieldType::subtitle, "Mein Garten");
    const auto conflict = PushTexts::perform(*checkout.sandbox.application, {.plan = checkout.plan()});
    EXPECT_FALSE(conflict.report.outcomes.at(0).success);
}

TEST(OverwritingPush, leavesAloneWhatHasNoFileAndTakesCopiesWhereNothingDiffers) {
    const Checkout checkout;
    const MetadataStore& store = checkout.store;
    (void)store.remove("de-DE", FieldType::keywords, TextSide::local);
    store.write("ja", FieldType::keywords, "\n");
    std::filesystem::remove_all(store.folder().localeFolder("fr-FR"));
    store.write("de-DE", FieldType::promotionalText, *store.read("de-DE", FieldType::promotionalText));
    const PushPlan plan = checkout.plan();
    EXPECT_THAT(plan.changes, SizeIs(0));
    ASSERT_THAT(plan.leftOut, SizeIs(1)) << "the emptied file waits for a word of the user's";
    EXPECT_EQ(plan.leftOut.front().reason, LeftOutReason::clearsField);

    EXPECT_EQ(store.read("de-DE", FieldType::keywords, TextSide::pulled), std::nullopt);
    const auto diff =
        DiffTexts::perform(*checkout.sandbox.application, {.app = gardenID, .folder = "checkout"});
    EXPECT_TRUE(diff.wasPulled);
    EXPECT_THAT(diff.differences, SizeIs(1)) << "the missing file does not look like a removed text";
    const auto next = PlanPush::perform(*checkout.sandbox.application,
                                        {.app = gardenID, .folder = "checkout", .allowClear = true});
    EXPECT_THAT(next.plan.changes, SizeIs(1));
}
