#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Tests/support/ScreenshotTree.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* type = "APP_IPHONE_67";

LocalScreenshot local(const std::string& name, const std::string& checksum) {
    return {{"/shots/en-US/iphone-67/" + name, "en-US", type}, 100, checksum};
}

ScreenshotsCatalog::Entry entry(const std::string& id, const std::string& name, const std::string& checksum,
                                const std::string& state = "COMPLETE") {
    ScreenshotsCatalog::Entry made{.id = id, .fileName = name, .fileSize = 100, .assetState = state};
    if (!checksum.empty()) made.sourceFileChecksum = checksum;
    return made;
}

ScreenshotsCatalog catalogOf(std::vector<ScreenshotsCatalog::Entry> entries) {
    ScreenshotsCatalog catalog;
    catalog.sets["en-US"][type] = std::move(entries);
    return catalog;
}

// "1 2 +3.png": the ids that stay and, after a plus sign, the files that are uploaded.
std::string orderOf(const ScreenshotSetEdit& edit) {
    std::string text;
    for (const ScreenshotOrderToken& token : edit.finalOrder) {
        if (!text.empty()) text += ' ';
        if (const auto* asc = std::get_if<ScreenshotOrderToken::ASC>(&token.value))
            text += asc->id;
        else
            text += "+" + std::get<ScreenshotOrderToken::Local>(token.value).url.filename().string();
    }
    return text;
}

} // namespace

TEST(ScreenshotPlans, doWhatIsMissingAndNoMore) {
    const std::vector<LocalScreenshot> files = {local("1.png", "aa"), local("2.png", "bb"),
                                                local("10.png", "cc")};
    constexpr auto append = ScreenshotPushMode::append, replace = ScreenshotPushMode::replaceSet;
    const struct {
        const char* what;
        std::vector<ScreenshotsCatalog::Entry> remote;
        ScreenshotPushMode mode;
        const char* deleted;
        const char* order; // empty: nothing to do
    } rows[] = {
        {"nothing there", {}, append, "", "+1.png +2.png +10.png"},
        {"all there",
         {entry("A", "1.png", "aa"), entry("B", "2.png", "bb"), entry("C", "10.png", "cc")},
         append,
         "",
         ""},
        {"all there",
         {entry("A", "1.png", "aa"), entry("B", "2.png", "bb"), entry("C", "10.png", "cc")},
         replace,
         "",
         ""},
        {"the rest of a push that was cut off", {entry("B", "2.png", "bb")}, replace, "", "+1.png B +10.png"},
        {"in another order",
         {entry("C", "10.png", "cc"), entry("A", "1.png", "aa"), entry("B", "2.png", "bb")},
         replace,
         "",
         "A B C"},
        {"in another order", // a push that was cut off after its last upload leaves any
         {entry("C", "10.png", "cc"), entry("A", "1.png", "aa"), entry("B", "2.png", "bb")},
         append,
         "",
         "A B C"},
        {"some of ours behind another's",
         {entry("X", "x.png", "xx"), entry("C", "10.png", "cc"), entry("A", "1.png", "aa")},
         append,
         "",
         "X A +2.png C"},
        {"some of ours before another's",
         {entry("B", "2.png", "bb"), entry("X", "x.png", "xx")},
         append,
         "",
         "+1.png B X +10.png"},
        {"listed twice",
         {entry("C", "10.png", "cc"), entry("A", "1.png", "aa"), entry("C", "10.png", "cc")},
         append,
         "",
         "A +2.png C C"},
        {"other pictures",
         {entry("X", "x.png", "xx"), entry("Y", "2.png", "other")},
         append,
         "",
         "X Y +1.png +2.png +10.png"},
        {"other pictures",
         {entry("X", "x.png", "xx"), entry("Y", "2.png", "other")},
         replace,
         "X Y",
         "+1.png +2.png +10.png"},
        {"the same picture under another name", {entry("X", "x.png", "aa")}, replace, "", "X +2.png +10.png"},
        {"two that changed names",
         {entry("A", "2.png", "aa"), entry("B", "1.png", "bb"), entry("C", "old.png", "cc")},
         append,
         "",
         ""},
        {"no checksum yet", {entry("A", "1.png", "")}, append, "", "A +2.png +10.png"},
        {"leftovers of ours and others'",
         {entry("F", "1.png", "aa", "FAILED"), entry("R", "2.png", "", "AWAITING_UPLOAD"),
          entry("O", "o.png", "", "AWAITING_UPLOAD")},
         append,
         "F R",
         "O +1.png +2.png +10.png"},
        {"twice",
         {entry("A", "1.png", "aa"), entry("D", "1.png", "aa"), entry("B", "2.png", "bb"),
          entry("C", "10.png", "cc")},
         replace,
         "D",
         "A B C"},
    };
    for (const auto& row : rows) {
        const auto plan = planScreenshots(files, catalogOf(row.remote), row.mode);
        ASSERT_EQ(plan.edits.size(), *row.order ? 1u : 0u) << row.what;
        if (plan.edits.empty()) continue;
        std::string deleted;
        for (const std::string& id : plan.edits[0].ascIdsToDelete)
            deleted += (deleted.empty() ? "" : " ") + id;
        EXPECT_EQ(deleted, row.deleted) << row.what;
        EXPECT_EQ(orderOf(plan.edits[0]), row.order) << row.what;
    }
}

TEST(ScreenshotPlans, tellPerSetWhatWouldBeDeletedUploadedAndMoved) {
    auto catalog =
        catalogOf({entry("C", "10.png", "cc"), entry("X", "x.png", "xx"), entry("A", "1.png", "aa")});
    catalog.sets["ja"]["APP_DESKTOP"] = {entry("J", "j.png", "jj")};
    catalog.sets["ko"]["APP_DESKTOP"] = {};
    const auto plan = planScreenshots({local("1.png", "aa"), local("2.png", "bb"), local("10.png", "cc")},
                                      catalog, ScreenshotPushMode::replaceSet);
    EXPECT_THAT(plan.sets, ElementsAre(
                               ScreenshotSetStatus{
                                   "en-US", type, {"x.png"}, {"2.png"}, {"1.png", "10.png"}, 0, 3, 0, 3, {}},
                               ScreenshotSetStatus{"ja", "APP_DESKTOP", {}, {}, {}, 1, 0, 0, 1, {}}))
        << "a set without local files is left alone in either mode";
}

TEST(ScreenshotPlans, deleteNothingForAFileThatCannotBeSent) {
    auto second = local("2.png", "");
    second.fate = LocalScreenshot::Fate::refused;
    const auto catalog = catalogOf({entry("O", "2.png", "old"), entry("X", "x.png", "xx"),
                                    entry("P", "1.png", "aa", "UPLOAD_COMPLETE")});
    const auto plan = planScreenshots({local("1.png", "aa"), second, local("10.png", "cc")}, catalog,
                                      ScreenshotPushMode::replaceSet);
    ASSERT_EQ(plan.edits.size(), 1u);
    EXPECT_THAT(plan.edits[0].ascIdsToDelete, ElementsAre("X"));
    EXPECT_EQ(orderOf(plan.edits[0]), "P O +10.png");
    EXPECT_EQ(plan.sets[0].local, 2) << "those that can be sent";
    EXPECT_EQ(plan.sets[0].refused, 1);
    EXPECT_THAT(plan.inProcessing, ElementsAre(local("1.png", "aa").item));
    for (const auto mode : {ScreenshotPushMode::append, ScreenshotPushMode::replaceSet})
        EXPECT_THAT(planScreenshots({second}, catalog, mode).edits, IsEmpty())
            << "a set without a file that can be sent is left alone";
}

TEST(ScreenshotPlans, deleteNothingThatAnUnreadableFolderMayHold) {
    const test::TemporaryFolder folder;
    const auto picture = folder / "en-US/iphone-67/1.png";
    test::put(picture, "new");
    auto catalog = catalogOf({entry("X", "x.png", "xx"), entry("O", "1.png", "old")});
    catalog.sets["sv"]["APP_IPHONE_65"] = {entry("Y", "y.png", "yy")};
    const auto deleted = [&](std::vector<ScreenshotPushScanner::Failure> unreadable) {
        const auto plan =
            prepareScreenshots({.items = {{picture, "en-US", type}}, .unreadable = std::move(unreadable)},
                               catalog, {.mode = ScreenshotPushMode::replaceSet, .check = PictureCheck::none})
                .plan;
        EXPECT_EQ(plan.edits.size(), 1u);
        return plan.edits.at(0).ascIdsToDelete;
    };
    EXPECT_THAT(deleted({{folder / "sv", "sv", ""}}), ElementsAre("X", "O"));
    EXPECT_THAT(deleted({{folder / "en-US/iphone-69", "en-US", ""}}), ElementsAre("O"));
    EXPECT_THAT(deleted({{folder / "iphone-69", "", ""}}), ElementsAre("O")) << "of any locale";
}

TEST(ScreenshotPlans, doNothingInASetThatWouldHoldTooManyAndGoOnInOthers) {
    std::vector<LocalScreenshot> files;
    for (int i = 1; i <= 9; ++i)
        files.push_back(local(std::to_string(i) + ".png", std::to_string(i)));
    files.push_back({{"/shots/sv/iphone-67/1.png", "sv", type}, 100, "s"});
    const auto catalog = catalogOf({entry("X", "x.png", "xx"), entry("Y", "y.png", "yy")});
    EXPECT_THAT(planScreenshots(files, catalog, ScreenshotPushMode::replaceSet).edits, SizeIs(2));
    auto plan = planScreenshots(files, catalog, ScreenshotPushMode::append);
    ASSERT_THAT(plan.edits, SizeIs(1));
    EXPECT_EQ(plan.edits[0].locale, "sv");
    EXPECT_EQ(plan.sets.at(0).problem,
              "would hold 11 screenshots, and App Store Connect takes 10 in a set. Remove 1 file, or replace "
              "the set instead of adding to it.");
    for (const char* name : {"10.png", "11.png", "12.png"})
        files.push_back(local(name, name));
    plan = planScreenshots(files, catalog, ScreenshotPushMode::replaceSet);
    EXPECT_EQ(plan.sets.at(0).problem,
              "would hold 12 screenshots, and App Store Connect takes 10 in a set. Remove 2 files.");
}

TEST(ScreenshotPlans, emptySetsWithoutFilesOnlyWhereThatIsAskedFor) {
    const test::TemporaryFolder folder;
    const auto picture = folder / "en-US/iphone-67/1.png";
    test::put(picture, "new");
    auto catalog = catalogOf({entry("X", "x.png", "xx")});
    for (const char* locale : {"sv", "it", "ja"})
        catalog.sets[locale][type] = {entry(locale, "y.png", "yy")};
    ScreenshotPushScanner::ScanResult scan{.items = {{picture, "en-US", type}},
                                           .pictures = 2,
                                           .failures = {{folder / "it/1.png", "it", "it/1.png: is damaged"}}};
    ScreenshotChoice choice{.mode = ScreenshotPushMode::replaceSet,
                            .selection = {.disabledLocales = {"ja"}},
                            .check = PictureCheck::none,
                            .withoutFiles = SetsWithoutFiles::empty};
    const auto changed = [&] {
        std::vector<std::string> sets;
        for (const auto& edit : prepareScreenshots(scan, catalog, choice).plan.edits)
            sets.push_back(edit.locale + " " + std::to_string(edit.ascIdsToDelete.size()));
        return sets;
    };
    EXPECT_THAT(changed(), ElementsAre("en-US 1", "sv 1"))
        << "nothing of a locale with a picture that cannot be read, nor of a disabled one";
    choice.withoutFiles = SetsWithoutFiles::leave;
    EXPECT_THAT(changed(), ElementsAre("en-US 1"));
    choice.withoutFiles = SetsWithoutFiles::empty;
    scan = {};
    EXPECT_THAT(changed(), IsEmpty()) << "a folder without a picture asks for nothing";
}

TEST(ScreenshotsCatalogs, surviveWritingAndTellDamagedAndNewerOnes) {
    const test::TemporaryFolder folder;
    const auto file = folder / "screenshots-catalog.json";
    EXPECT_EQ(loadCatalog(file), std::nullopt);
    ScreenshotsCatalog catalog = catalogOf({entry("A", "1.png", "aa")});
    catalog.lastPulledAt = dateFromSecondsSince1970(1772368200);
    catalog.versionString = "2.4.3";
    saveCatalog(file, catalog);
    catalog.formatVersion = 1;
    EXPECT_EQ(loadCatalog(file), catalog);

    const auto kindOf = [&](std::string_view text) -> std::optional<ScreenshotError::Kind> {
        test::put(file, text);
        try {
            (void)loadCatalog(file);
            return std::nullopt;
        } catch (const ScreenshotError& error) {
            EXPECT_THAT(error.what(), HasSubstr("screenshots-catalog.json"));
            return error.kind();
        }
    };
    using Kind = ScreenshotError::Kind;
    EXPECT_EQ(kindOf(R"({"sets": {}})"), std::nullopt);
    EXPECT_EQ(kindOf(R"({"sets": {"en-US": {"APP_DESKTOP": [{"id": "A", "display)"), Kind::badCatalog);
    EXPECT_EQ(kindOf(R"({"sets": {"en-US": ["A"]}})"), Kind::badCatalog);
    EXPECT_EQ(kindOf(R"({"formatVersion": 2, "sets": []})"), Kind::newerCatalog);
    EXPECT_EQ(kindOf(""), Kind::badCatalog);
}

TEST(ScreenshotsCatalogs, lieBesideEachOtherForEachContext) {
    const MetadataFolder app{"/app"};
    EXPECT_EQ(screenshotPaths(app, {}), (ScreenshotPaths{"/app/screenshots", "/app/screenshots-catalog.json",
                                                         "/app/screenshots-cache"}));
    EXPECT_EQ(screenshotPaths(app, {ASCPlatform::macOS, AppStoreVersionStateClass::live}),
              (ScreenshotPaths{"/app/screenshots-macos-live", "/app/screenshots-catalog-macos-live.json",
                               "/app/screenshots-cache-macos-live"}));
}

TEST(ScreenshotInspection, readsChecksumsOnlyWhereAScreenshotMayBeTheFile) {
    const test::TemporaryFolder folder;
    for (const char* name : {"same.png", "renamed.png"})
        test::put(folder / name, "bytes");
    test::put(folder / "larger.png", "many more bytes");
    auto catalog = catalogOf({entry("A", "same.png", "x"), entry("B", "larger.png", "x")});
    catalog.sets["en-US"][type][0].fileSize = 5;
    const auto inspected = [&](const char* name) { return inspect({folder / name, "en-US", type}, catalog); };
    EXPECT_EQ(inspected("same.png").checksum, fileChecksum(folder / "same.png"));
    EXPECT_THAT(inspected("larger.png").checksum, IsEmpty());
    EXPECT_EQ(inspected("renamed.png").checksum, fileChecksum(folder / "renamed.png"));
    EXPECT_EQ(inspected("renamed.png").size, 5u);
}
