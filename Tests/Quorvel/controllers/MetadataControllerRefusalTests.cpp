#include "Quorvel/workspace/AppFolder.h"
#include "Tests/Quorvel/controllers/ControllerAccount.h"

#include <gmock/gmock.h>

#include <functional>

using namespace quorvel;
using test::ControllerAccount;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Step = std::function<void(ControllerAccount&)>;

void nothing(ControllerAccount&) {}
void pull(ControllerAccount& account) {
    (void)account.pull();
}
void push(ControllerAccount& account) {
    (void)account.push();
}
void pullAndEdit(ControllerAccount& account) {
    pull(account);
    account.write("de-DE", FieldType::description, "Neu");
}
void putFile(const std::filesystem::path& file, std::string_view text) {
    createFolders(file.parent_path());
    writeFileAtomically(file, text);
}
void loseFolder(ControllerAccount& account) {
    pull(account);
    std::filesystem::remove_all(account.appFolder().rootURL);
}

} // namespace

TEST(MetadataController, refusesWithTheWordsForEachReason) {
    struct Case {
        Refusal refusal;
        std::string_view text;
        Step arrange;
        Step act;
        std::string_view detail = "";
        std::size_t requests = 0;
    };
    const Case cases[] = {
        {Refusal::noAppStoreID, "App Store ID is empty — set it in the app's identity.",
         [](ControllerAccount& account) {
             account.app.appStoreId = " ";
             account.apps.update(account.app);
         },
         pull},
        {Refusal::folderNotResolved, "Metadata folder bookmark could not be resolved.", loseFolder, pull,
         "choose the folder again in the app's settings"},
        {Refusal::folderNotResolved, "Metadata folder bookmark could not be resolved.", loseFolder, push,
         "choose the folder again in the app's settings"},
        {Refusal::folderUnavailable, "Metadata folder unavailable.",
         [](ControllerAccount& account) { putFile(account.appFolder().rootURL, "a file"); }, pull, "garden"},
        {Refusal::noVersions, "No versions found on App Store Connect.",
         [](ControllerAccount& account) { account.connect.versions.clear(); }, pull, "", 2},
        {Refusal::noVersions, "No versions found on App Store Connect.",
         [](ControllerAccount& account) { account.connect.versions.clear(); },
         [](ControllerAccount& account) { account.controller->addLocale("ja"); }, "", 1},
        {Refusal::noContextSelected, "No context selected — click Pull first.", nothing, push},
        {Refusal::noContextSelected, "No context selected — click Pull first.", pull,
         [](ControllerAccount& account) { (void)account.controller->planPush({}, "macos/next"); },
         "has not been pulled"},
        {Refusal::readOnlyContext, "This context is read-only.",
         [](ControllerAccount& account) {
             account.controller->pull({.contexts = MetadataController::PullRequest::Contexts::all});
         },
         [](ControllerAccount& account) { (void)account.controller->planPush({}, "ios/live"); },
         "Current state is READY_FOR_SALE. Create a new editable version on App Store Connect to push "
         "changes."},
        {Refusal::readOnlyContext, "This context is read-only.", pull,
         [](ControllerAccount& account) { account.controller->addLocale("ko", "ios/live"); },
         "Current state is READY_FOR_SALE."},
        {Refusal::readOnlyContext, "This context is read-only.",
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.setState("IN_REVIEW");
         },
         push, "Current state is IN_REVIEW.", 1},
        {Refusal::nothingSelected, "Nothing selected to push.", pullAndEdit,
         [](ControllerAccount& account) { (void)account.controller->push({}); }},
        {Refusal::nothingSelected, "Nothing selected to push.", pull, push, "", 1},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.text);
        ControllerAccount account;
        one.arrange(account);
        account.connect.requests.clear();
        try {
            one.act(account);
            ADD_FAILURE() << "was not refused";
        } catch (const OperationRefused& refused) {
            EXPECT_EQ(refused.refusal(), one.refusal);
            EXPECT_EQ(refused.what(), one.text);
            EXPECT_THAT(refused.detail(), HasSubstr(one.detail));
        }
        EXPECT_EQ(account.controller->gate()->state()->error, one.text);
        EXPECT_EQ(account.controller->gate()->state()->running, std::nullopt);
        EXPECT_THAT(account.connect.requests, SizeIs(one.requests));
    }
}

TEST(MetadataController, refusesEveryOperationWhileAnotherRuns) {
    ControllerAccount account;
    (void)account.pull();
    const Step operations[] = {
        pull,
        push,
        [](ControllerAccount& one) { (void)one.controller->push({}); },
        [](ControllerAccount& one) { (void)one.controller->planPush({}); },
        [](ControllerAccount& one) { one.controller->addLocale("ko"); },
        [](ControllerAccount& one) { (void)one.controller->revert("run"); },
        [](ControllerAccount& one) { (void)one.controller->importTexts(one.folder.path(), {}, DryRun::no); },
        [](ControllerAccount& one) { (void)one.controller->tidy({}, DryRun::yes); },
        [](ControllerAccount& one) { one.controller->change(OperationKind::translate, {}, nullptr); },
    };
    account.connect.requests.clear();
    account.controller->change(OperationKind::importTexts, {}, [&](auto&, const MetadataStore&) {
        for (const Step& operation : operations)
            try {
                operation(account);
                ADD_FAILURE() << "was not refused";
            } catch (const OperationRefused& refused) {
                EXPECT_STREQ(refused.what(), "Another operation is running.");
            }
        EXPECT_EQ(account.controller->gate()->state()->running, OperationKind::importTexts);
        EXPECT_EQ(account.controller->gate()->state()->error, std::nullopt);
    });
    EXPECT_THAT(account.connect.requests, IsEmpty());
    EXPECT_THAT(account.pull().updated, IsEmpty()); // and not for ever
}

TEST(MetadataController, plansAPushOfNothingAndSaysWhy) {
    struct Case {
        std::string_view why;
        Step arrange;
        PushFilter filter = {};
        std::vector<LeftOutReason> leftOut = {};
        bool leavesWaiting = false;
    };
    const Case cases[] = {
        {"No pending changes — local matches the last-pulled ASC snapshot.", pull},
        {"Nothing selected to push.", pullAndEdit, {{"ja"}, {}}},
        {"Nothing selected to push.",
         [](ControllerAccount& account) {
             pull(account);
             account.write("de-DE", FieldType::subtitle, std::string(31, 'x'));
         },
         {},
         {LeftOutReason::overLimit},
         true},
    };
    for (const Case& one : cases) {
        ControllerAccount account;
        one.arrange(account);
        account.connect.requests.clear();
        const PushPlan plan = account.controller->planPush(one.filter);
        EXPECT_EQ(plan.nothing, one.why);
        EXPECT_THAT(plan.changes, IsEmpty());
        std::vector<LeftOutReason> reasons;
        for (const LeftOutChange& left : plan.leftOut)
            reasons.push_back(left.reason);
        EXPECT_EQ(reasons, one.leftOut);
        EXPECT_EQ(plan.leavesWaiting(), one.leavesWaiting);
        EXPECT_EQ(account.controller->gate()->state()->error, std::nullopt);
        EXPECT_THAT(account.connect.requests, SizeIs(1));
    }
}

// The exception passes through, so that a caller can tell an exit status from it.
TEST(MetadataController, leavesTheTextOfAFailureAndRethrowsIt) {
    const auto fail = [](ControllerAccount& account) {
        account.connect.before = [](const ASCRequest&) {
            throw test::FakeConnect::refusal("403", "FORBIDDEN_ERROR", "No such right");
        };
    };
    using ErrorKind = MetadataError::Kind;
    struct Case {
        std::string_view name;
        std::string_view error;        // how the state's begins
        std::optional<ErrorKind> kind; // of the `MetadataError`; none for an `ASCError`
        Step arrange;
        Step act;
    };
    const Case cases[] = {
        {"a refused pull", "Pull failed: ", std::nullopt, fail, pull},
        {"a refused push", "Push failed: ", std::nullopt,
         [&](ControllerAccount& account) {
             pullAndEdit(account);
             fail(account);
         },
         push},
        {"a version that was locked after it was looked at",
         "Push failed: Current state is IN_REVIEW. Create a new editable version on App Store Connect to "
         "push changes.",
         ErrorKind::readOnlyContext, pullAndEdit,
         [](ControllerAccount& account) {
             auto plan = account.controller->planPush({});
             plan.version.appStoreState = "IN_REVIEW";
             (void)account.controller->push(plan);
         }},
        {"a context that the app does not have", "Pull failed: There is no context \"tvos/next\"",
         ErrorKind::unknownContext, nothing,
         [](ControllerAccount& account) { (void)account.controller->pull({.context = "tvos/next"}); }},
        {"a context that is none", "Pull failed: \"ios\" is no context", ErrorKind::invalidContext, nothing,
         [](ControllerAccount& account) { (void)account.controller->pull({.context = "ios"}); }},
        {"another version than the one pulled", "Push failed: The last pull was of another version",
         ErrorKind::otherVersionPulled,
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.connect.versions.clear();
             account.connect.addVersion("v2", "IOS", "PREPARE_FOR_SUBMISSION");
             account.connect.addVersion("v0", "IOS", "READY_FOR_SALE");
         },
         push},
        {"a pull that was killed", "Push failed: ", ErrorKind::interruptedPull,
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.store().beginPull();
         },
         push},
        {"another app's folder", "Push failed: ", ErrorKind::otherApp,
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         push},
        {"another app's folder, named", "Pull failed: ", ErrorKind::otherApp,
         [](ControllerAccount& account) {
             pull(account);
             account.use(account.appFolder());
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         pull},
        {"another app's folder, chosen for this one too", "Pull failed: ", ErrorKind::otherApp,
         [](ControllerAccount& account) {
             pull(account);
             const ManagedApp other = account.apps.add({.slug = "other", .displayName = "Other"});
             (void)keepAppFolder(other, account.appFolder(), account.apps);
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         pull},
        {"a locale for a context that the app does not have", "There is no context \"tvos/next\"",
         ErrorKind::unknownContext, pull,
         [](ControllerAccount& account) { account.controller->addLocale("ko", "tvos/next"); }},
        {"a locale that is not there", "Push failed: There is no locale \"fi\" in ", ErrorKind::unknownLocale,
         pullAndEdit,
         [](ControllerAccount& account) {
             (void)account.controller->planPush({{"fi"}, {}});
         }},
        {"a locale that is none", "\"pt\" is no App Store locale. Did you mean pt-PT?",
         ErrorKind::invalidLocale, pull,
         [](ControllerAccount& account) { account.controller->addLocale("pt"); }},
        {"a run that never was", "There is no push \"none\" in this app's history.", ErrorKind::unknownRun,
         pull, [](ControllerAccount& account) { (void)account.controller->revert("none"); }},
        {"an app that was removed", "Pull failed: The app is no longer among the imported ones.",
         ErrorKind::unknownApp, [](ControllerAccount& account) { account.apps.remove(account.app.id); },
         pull},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        ControllerAccount account;
        one.arrange(account);
        try {
            one.act(account);
            ADD_FAILURE() << "did not fail";
        } catch (const MetadataError& error) {
            EXPECT_EQ(error.kind(), one.kind);
        } catch (const ASCError& error) {
            EXPECT_EQ(one.kind, std::nullopt);
            EXPECT_THAT(account.controller->gate()->state()->error.value(), HasSubstr(error.description()));
        }
        EXPECT_THAT(account.controller->gate()->state()->error.value_or(""), testing::StartsWith(one.error));
    }
}

TEST(MetadataController, saysWhatIsMissingOnAppStoreConnect) {
    ControllerAccount account;
    account.connect.appInfos.clear();
    EXPECT_THAT(account.pull().summary.warnings,
                testing::Contains("No editable AppInfo found — name and subtitle were not pulled."));
    account.write("de-DE", FieldType::subtitle, "Neu");
    EXPECT_EQ(account.push().report,
              "Pushed 0 fields · 0 locales. 1 failed.\n"
              "First error: ASC has no AppInfo for this app — name and subtitle cannot be created. "
              "Add a localization in ASC web UI first.");
    ASSERT_THAT(account.history(), SizeIs(1));
    EXPECT_FALSE(account.history()[0].success);
}

TEST(MetadataController, pushesAllTheSameWhenTheHistoryCannotBeSaved) {
    const LogCapture log;
    ControllerAccount account;
    pullAndEdit(account);
    account.connect.before = [&](const ASCRequest& request) {
        if (request.method == "PATCH") account.apps.remove(account.app.id);
    };
    EXPECT_EQ(account.push().report, "Pushed 1 field · 1 locale");
    EXPECT_THAT(log.text(), HasSubstr("Failed to save push history: "));
}

TEST(MetadataController, saysWhyAFolderCannotBeMade) {
    const LogCapture log;
    ControllerAccount account;
    (void)account.pull();
    putFile(account.store().folder().rootURL / "ko", "a file");
    EXPECT_THROW(account.controller->addLocale("ko"), MetadataError);
    EXPECT_THAT(account.controller->gate()->state()->error.value_or(""),
                testing::StartsWith("Could not create locale folder: "));
    EXPECT_THAT(log.text(), HasSubstr("Add locale failed: "));

    ControllerAccount other;
    putFile(other.appFolder().rootURL, "a file");
    EXPECT_THROW((void)other.pull(), OperationRefused);
    EXPECT_THAT(log.text(),
                HasSubstr("Could not create metadata folder " + other.appFolder().rootURL.native()));
}
