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
void put(const std::filesystem::path& file, std::string_view text) {
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
         [](ControllerAccount& account) { put(account.appFolder().rootURL, "a file"); }, pull, "garden"},
        {Refusal::noVersions, "No versions found on App Store Connect.",
         [](ControllerAccount& account) { account.connect.versions.clear(); }, pull, "", 2},
        {Refusal::noVersions, "No versions found on App Store Connect.",
         [](ControllerAccount& account) { account.connect.versions.clear(); },
         [](ControllerAccount& account) { account.controller->addLocale("ja"); }, "", 1},
        {Refusal::noContextSelected, "No context selected — click Pull first.", nothing, push},
        {Refusal::noContextSelected, "No context selected — click Pull first.", pull,
         [](ControllerAccount& account) { (void)account.controller->preparePush({}, "macos/next"); },
         "has not been pulled"},
        {Refusal::readOnlyContext, "This context is read-only.",
         [](ControllerAccount& account) {
             account.controller->pull({.contexts = MetadataController::PullRequest::Contexts::all});
         },
         [](ControllerAccount& account) { (void)account.controller->preparePush({}, "ios/live"); },
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
         [](ControllerAccount& account) {
             (void)account.controller->preparePush({{"ja"}, {}});
         },
         "", 1},
        {Refusal::nothingSelected, "Nothing selected to push.", pullAndEdit,
         [](ControllerAccount& account) { (void)account.controller->push({}); }},
        {Refusal::noPendingChanges, "No pending changes — local matches the last-pulled ASC snapshot.", pull,
         push, "", 1},
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
        EXPECT_EQ(account.controller->state()->error, one.text);
        EXPECT_EQ(account.controller->state()->running, std::nullopt);
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
        [](ControllerAccount& one) { one.controller->selectContext("ios/next"); },
        [](ControllerAccount& one) { one.controller->perform(MetadataOperation::tidy, [] {}); },
    };
    account.connect.requests.clear();
    account.controller->perform(MetadataOperation::importTexts, [&] {
        for (const Step& operation : operations)
            try {
                operation(account);
                ADD_FAILURE() << "was not refused";
            } catch (const OperationRefused& refused) {
                EXPECT_STREQ(refused.what(), "Another operation is running.");
            }
        EXPECT_EQ(account.controller->state()->running, MetadataOperation::importTexts);
        EXPECT_EQ(account.controller->state()->error, std::nullopt);
    });
    EXPECT_THAT(account.connect.requests, IsEmpty());
    account.controller->selectContext("ios/live"); // and not for ever
    EXPECT_EQ(account.controller->state()->selectedContextId, "ios/live");
}

TEST(MetadataController, saysWhatWasLeftOutWhenNothingIsSelected) {
    ControllerAccount account;
    (void)account.pull();
    account.write("de-DE", FieldType::subtitle, std::string(31, 'x'));
    try {
        (void)account.controller->preparePush({});
        ADD_FAILURE() << "was not refused";
    } catch (const MetadataController::NothingToPush& refused) {
        ASSERT_THAT(refused.preparation.selection.leftOut, SizeIs(1));
        EXPECT_EQ(refused.preparation.selection.leftOut[0].reason, LeftOutReason::overLimit);
        EXPECT_THAT(refused.preparation.changes, SizeIs(1));
    }
}

// The exception passes through, so that a caller can tell an exit status from it.
TEST(MetadataController, leavesTheTextOfAFailureAndRethrowsIt) {
    const auto fail = [](ControllerAccount& account) {
        account.connect.before = [](const ASCRequest&) {
            throw test::FakeConnect::refusal("403", "FORBIDDEN_ERROR", "No such right");
        };
    };
    struct Case {
        std::string_view name;
        std::string_view error; // how the state's begins
        std::string_view code;  // of the `MetadataError`; empty for an `ASCError`
        Step arrange;
        Step act;
    };
    const Case cases[] = {
        {"a refused pull", "Pull failed: ", "", fail, pull},
        {"a refused push", "Push failed: ", "",
         [&](ControllerAccount& account) {
             pullAndEdit(account);
             fail(account);
         },
         push},
        {"a version that was locked after it was looked at",
         "Push failed: Current state is IN_REVIEW. Create a new editable version on App Store Connect to "
         "push "
         "changes.",
         "READ_ONLY_CONTEXT", pullAndEdit,
         [](ControllerAccount& account) {
             auto preparation = account.controller->preparePush({});
             preparation.context.appStoreState = "IN_REVIEW";
             (void)account.controller->push(preparation);
         }},
        {"a context that the app does not have", "Pull failed: There is no context \"tvos/next\"",
         "UNKNOWN_CONTEXT", nothing,
         [](ControllerAccount& account) { (void)account.controller->pull({.context = "tvos/next"}); }},
        {"a context that is none", "Pull failed: \"ios\" is no context", "INVALID_CONTEXT", nothing,
         [](ControllerAccount& account) { (void)account.controller->pull({.context = "ios"}); }},
        {"another version than the one pulled", "Push failed: The last pull was of another version",
         "OTHER_VERSION_PULLED",
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.connect.versions.clear();
             account.connect.addVersion("v2", "IOS", "PREPARE_FOR_SUBMISSION");
             account.connect.addVersion("v0", "IOS", "READY_FOR_SALE");
         },
         push},
        {"a pull that was killed", "Push failed: ", "INTERRUPTED_PULL",
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.store().beginPull();
         },
         push},
        {"another app's folder", "Push failed: ", "OTHER_APP",
         [](ControllerAccount& account) {
             pullAndEdit(account);
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         push},
        {"another app's folder, named", "Pull failed: ", "OTHER_APP",
         [](ControllerAccount& account) {
             pull(account);
             account.use(account.appFolder());
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         pull},
        {"another app's folder, chosen for this one too", "Pull failed: ", "OTHER_APP",
         [](ControllerAccount& account) {
             pull(account);
             const ManagedApp other = account.apps.add({.slug = "other", .displayName = "Other"});
             (void)keepAppFolder(other, account.appFolder(), account.apps);
             account.connect.versions.clear();
             account.connect.addVersion("x1", "IOS", "PREPARE_FOR_SUBMISSION");
         },
         pull},
        {"a locale for a context that the app does not have", "There is no context \"tvos/next\"",
         "UNKNOWN_CONTEXT", pull,
         [](ControllerAccount& account) { account.controller->addLocale("ko", "tvos/next"); }},
        {"a locale that is not there", "Push failed: There is no locale \"fi\" in ", "UNKNOWN_LOCALE",
         pullAndEdit,
         [](ControllerAccount& account) {
             (void)account.controller->preparePush({{"fi"}, {}});
         }},
        {"a locale that is none", "\"pt\" is no App Store locale. Did you mean pt-PT?", "INVALID_LOCALE",
         pull, [](ControllerAccount& account) { account.controller->addLocale("pt"); }},
        {"a run that never was", "There is no push \"none\" in this app's history.", "UNKNOWN_RUN", pull,
         [](ControllerAccount& account) { (void)account.controller->revert("none"); }},
        {"an app that was removed", "Pull failed: The app is no longer among the imported ones.",
         "UNKNOWN_APP", [](ControllerAccount& account) { account.apps.remove(account.app.id); }, pull},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        ControllerAccount account;
        one.arrange(account);
        try {
            one.act(account);
            ADD_FAILURE() << "did not fail";
        } catch (const MetadataError& error) {
            EXPECT_EQ(error.code(), one.code);
        } catch (const ASCError& error) {
            EXPECT_EQ(one.code, "");
            EXPECT_THAT(account.controller->state()->error.value(), HasSubstr(error.description()));
        }
        EXPECT_THAT(account.controller->state()->error.value_or(""), testing::StartsWith(one.error));
    }
}

TEST(MetadataController, saysWhatIsMissingOnAppStoreConnect) {
    ControllerAccount account;
    account.connect.appInfos.clear();
    EXPECT_THAT(account.pull().summary.warnings,
                testing::Contains("No editable AppInfo found — name and subtitle were not pulled."));
    account.write("de-DE", FieldType::subtitle, "Neu");
    EXPECT_EQ(
        account.push().report,
        "Pushed 0 fields · 0 locales. 1 failed.\nFirst error: ASC has no AppInfo for this app — name and "
        "subtitle cannot be created. Add a localization in ASC web UI first.");
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
    put(account.store().folder().rootURL / "ko", "a file");
    EXPECT_THROW(account.controller->addLocale("ko"), MetadataError);
    EXPECT_THAT(account.controller->state()->error.value_or(""),
                testing::StartsWith("Could not create locale folder: "));
    EXPECT_THAT(log.text(), HasSubstr("Add locale failed: "));

    ControllerAccount other;
    put(other.appFolder().rootURL, "a file");
    EXPECT_THROW((void)other.pull(), OperationRefused);
    EXPECT_THAT(log.text(),
                HasSubstr("Could not create metadata folder " + other.appFolder().rootURL.native()));
}
