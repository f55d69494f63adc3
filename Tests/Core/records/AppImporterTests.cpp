#include "Core/asc/ASCError.h"
#include "Core/metadata/ContextsStore.h"
#include "Core/records/AppImporter.h"
#include "Tests/Core/records/Garden.h"
#include "Tests/support/SandboxFixture.h"

#include <gmock/gmock.h>

#include <set>

using namespace quorvel;
using test::Garden;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

struct Import : testing::Test {
    test::SandboxFixture fixture;
    Garden garden{test::openStore(fixture.folder / "support")};
    Home home{fixture.folder / "home"};
    AppImporter importer{fixture.client, garden.apps, home};
    std::vector<ASCResource<ASCAppAttributes>> apps = fixture.client.listApps();
};

} // namespace

TEST(Slug, isSafeAndStable) {
    const struct {
        std::string_view name, bundleID, slug;
    } cases[] = {{"Garden Planner+", "x", "garden-planner"},
                 {"  --A  b!", "x", "a-b"},
                 {"Mein Gärtchen – für Öfter", "x", "mein-gartchen-fur-ofter"},
                 {"Сад и огород", "x", "sad-i-ogorod"},
                 {"日本", "com.example.App", "ri-ben"},
                 {"🌱", "com.example.App", "com-example-app"},
                 {"../..", "", ""}};
    for (const auto& one : cases)
        EXPECT_EQ(slugOf(one.name, one.bundleID), one.slug);
}

TEST_F(Import, takesThePrimaryLocaleAlsoWithoutALocalization) {
    auto app = apps.front();
    app.attributes.primaryLocale = "ta-IN";
    EXPECT_THAT(importer.importApp(app, {}).locales,
                testing::Contains(testing::Field(&ManagedLocale::code, "ta-IN")));
}

TEST_F(Import, takesAllAppsOfTheAccountWithTheirLocales) {
    const auto workspace = garden.workspaces.create("Games");
    ASSERT_GT(apps.size(), 1U);
    for (const auto& app : apps) {
        const ImportedApp imported = importer.importApp(app, workspace.id);
        EXPECT_FALSE(imported.wasThere);
        EXPECT_EQ(imported.app.displayName, app.attributes.name);
        EXPECT_EQ(imported.app.bundleId, app.attributes.bundleId);
        EXPECT_EQ(imported.app.sourceLocale, app.attributes.primaryLocale);
        EXPECT_EQ(imported.app.workspace, workspace.id);
        EXPECT_EQ(garden.apps.locate(app.id), imported.app);
        std::set<std::string> codes{*app.attributes.primaryLocale};
        for (const auto& info : fixture.client.listAppInfos(app.id))
            for (const auto& localization : fixture.client.listAppInfoLocalizations(info.id))
                codes.insert(localization.attributes.locale);
        EXPECT_EQ(imported.locales.size(), codes.size());
        for (const ManagedLocale& locale : imported.locales)
            EXPECT_TRUE(locale.enabled && codes.contains(locale.code)) << locale.code;
    }
}

TEST_F(Import, keepsWhatTheUserMadeOfAnApp) {
    auto& app = apps.front();
    const auto games = garden.workspaces.create("Games");
    auto mine = importer.importApp(app, games.id).app;
    mine.brandVoice = "calm";
    mine.slug = "mine";
    mine.sourceLocale = "fr-FR";
    garden.apps.update(mine);
    garden.apps.setLocales(
        mine.id, std::vector<ManagedLocale>{{.code = "en-US", .enabled = false}, {.code = "xx-Planned"}});
    const auto before = garden.apps.locales(mine.id);

    app.attributes.name = "Renamed";
    const ImportedApp again = importer.importApp(app, std::nullopt);
    EXPECT_TRUE(again.wasThere);
    mine.displayName = "Renamed";
    mine.updatedAt = again.app.updatedAt;
    EXPECT_EQ(again.app, mine);
    EXPECT_EQ(again.locales, before);
    EXPECT_THAT(garden.apps.all(), SizeIs(1));
    EXPECT_EQ(importer.importApp(app, garden.workspaces.create("Tools").id).app.slug, "mine");
}

TEST_F(Import, givesEachAppAShortNameOfItsOwn) {
    auto first = apps.at(0), second = apps.at(1);
    first.attributes.name = second.attributes.name = "Garden";
    EXPECT_EQ(importer.importApp(first, {}).app.slug, "garden");
    EXPECT_EQ(importer.importApp(second, {}).app.slug, "garden-" + second.id);
    auto third = apps.at(2);
    third.attributes.name = third.attributes.bundleId = "日本";
    EXPECT_EQ(importer.importApp(third, {}).app.slug, "ri-ben");
}

TEST_F(Import, adoptsTheFolderOfAnAppThatWasRemovedOnlyForThatApp) {
    auto first = apps.at(0), second = apps.at(1);
    first.attributes.name = second.attributes.name = "Garden";
    const auto remember = [&](const std::string& slug, const std::string& appStoreID) {
        ContextsStore(defaultAppFolder(home, slug), systemClock())
            .save(contextsOf(fixture.client.listAppStoreVersions(appStoreID)), {});
    };
    const auto importAndRemove = [&](const auto& app) {
        ImportedApp imported = importer.importApp(app, {});
        EXPECT_TRUE(garden.apps.remove(imported.app.id));
        return imported;
    };
    remember("garden", first.id);
    EXPECT_EQ(importAndRemove(first).app.slug, "garden");
    const ImportedApp other = importAndRemove(second);
    EXPECT_EQ(other.app.slug, "garden-" + second.id);
    EXPECT_EQ(other.avoidedFolder, defaultAppFolder(home, "garden"));
    remember("garden-" + second.id, first.id);
    EXPECT_EQ(importAndRemove(second).app.slug, "garden-" + second.id + "-2");
    remember("garden-" + second.id, second.id);
    EXPECT_EQ(importer.importApp(second, {}).app.slug, "garden-" + second.id);
    EXPECT_EQ(importer.importApp(second, {}).avoidedFolder, std::nullopt);
}

TEST_F(Import, storesNothingWhenAppStoreConnectFails) {
    auto unknown = apps.front();
    unknown.id = "1";
    EXPECT_THROW((void)importer.importApp(unknown, {}), ASCError);
    EXPECT_THROW((void)importer.importApp(apps.front(), "no workspace"), std::runtime_error);
    EXPECT_THAT(garden.apps.all(), IsEmpty());
}
