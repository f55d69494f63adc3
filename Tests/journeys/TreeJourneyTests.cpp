#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/text/Text.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/SandboxFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>

using namespace quorvel;

namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>; // by the path in the tree

Files filesOf(const fs::path& tree) {
    Files files;
    for (const auto& entry : fs::recursive_directory_iterator(tree))
        if (const auto path = entry.path().lexically_relative(tree).native();
            entry.is_regular_file() && !path.starts_with(".brevant"))
            files[path] = readFile(entry.path()).value();
    return files;
}

// What a push of a whole tree came to.
struct Journey {
    LocaleTexts arrived; // with the page
    std::set<FieldKey> leftOut;
    std::vector<SkippedEntry> stray;
};

// Pushes all texts of a folder to an account without any, and pulls them into another folder.
Journey pushAll(test::SandboxFixture& fixture, const MetadataFolder& appFolder) {
    const std::string app = fixture.client.listApps().at(0).id;
    const auto version = fixture.client.createAppStoreVersion(app, {"IOS", "1.0", {}});
    const PlatformContext context{ASCPlatform::iOS, AppStoreVersionStateClass::editable, "1.0",
                                  "PREPARE_FOR_SUBMISSION", version.id};
    const MetadataStore store(appFolder.contextFolder(context.contextID()));
    const TextRules rules({}, finalLineBreakOf(appFolder));
    const auto texts = compareTexts(store, context.contextID(), rules);
    Journey journey;
    journey.stray = texts.misnamed;
    for (const LeftOutChange& one : texts.selection.leftOut)
        journey.leftOut.insert(one.change.key());
    for (const PushOutcome& outcome :
         MetadataPusher(fixture.client, store, "Blank Canvas").push(app, context, texts.selection.chosen))
        EXPECT_TRUE(outcome.success) << outcome.change.locale << " " << rawValue(outcome.change.field) << ": "
                                     << outcome.errorMessage.value_or("");
    EXPECT_TRUE(compareTexts(store, context.contextID(), rules).selection.chosen.empty());
    const MetadataFolder other{fixture.folder / "other"};
    (void)test::pullContext(fixture.client, systemClock(), app, other, "ios/next");
    const MetadataStore pulled(other.contextFolder(context.contextID()));
    journey.arrived = pulled.readAll();
    journey.arrived.emplace(pageLocale, pulled.readLocale(pageLocale));
    (void)test::pullContext(fixture.client, systemClock(), app, appFolder, "ios/next",
                            {LocalEdits::leaveInPlace, {}, rules.finalLineBreak});
    return journey;
}

// Whether App Store Connect holds what the file of a field of the page says.
bool holdsValue(const FieldTexts& page, FieldType field, std::string_view text) {
    const std::string held = page[field].value_or("");
    return countedText(FinalLineBreak::keep, field, text, held) == held;
}

// Every text of the tree arrived, or is named.
void expectNothingSilent(const Files& files, const Journey& journey) {
    for (const auto& [path, bytes] : files) {
        const auto isNamed = [&](const SkippedEntry& entry) {
            return path == entry.path || path.starts_with(entry.path + "/");
        };
        if (isBlank(bytes) || path.starts_with("screenshots/") || std::ranges::any_of(journey.stray, isNamed))
            continue;
        if (const auto field = std::ranges::find(pageFields, path, fileNameOf); field != pageFields.end()) {
            EXPECT_TRUE(holdsValue(journey.arrived.at(std::string(pageLocale)), *field, bytes) ||
                        journey.leftOut.contains({std::string(pageLocale), *field}))
                << path << " was lost";
            continue;
        }
        const std::string folder = fs::path(path).parent_path().native();
        const std::string file = fs::path(path).filename().native();
        const auto field = std::ranges::find(allFieldTypes, file, fileNameOf);
        ASSERT_NE(field, allFieldTypes.end()) << path << " is neither taken nor named";
        const std::string text(withoutFinalLineBreak(bytes));
        bool isTaken = false;
        for (const auto& [locale, texts] : journey.arrived) {
            if (locale == pageLocale) continue;
            const auto own = files.find(locale + "/" + file);
            if (folder == fallbackFolderName && (own == files.end() || isBlank(own->second))) {
                EXPECT_TRUE(texts[*field] == text || journey.leftOut.contains({locale, *field}))
                    << path << " for " << locale;
                isTaken = true;
            } else if (folder == locale && texts[*field] == text) {
                isTaken = true;
            }
        }
        EXPECT_TRUE(isTaken || journey.leftOut.contains({folder, *field})) << path << " was lost";
    }
}

// In place and by import, with the same result.
void takeTree(const fs::path& original) {
    const test::TemporaryFolder folder;
    const fs::path tree = folder / "tree";
    fs::copy(original, tree, fs::copy_options::recursive);
    for (const auto& entry : fs::recursive_directory_iterator(tree))
        fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add);
    fs::permissions(tree, fs::perms::owner_all, fs::perm_options::add);
    const Files before = filesOf(tree);
    ASSERT_FALSE(before.empty());

    test::SandboxFixture first{{.seed = sandbox::Seed::empty}};
    const Journey inPlace = pushAll(first, {tree, TreeInPlace{findLayout(tree).layout}});
    expectNothingSilent(before, inPlace);
    const Files after = filesOf(tree); // a pull of the same texts leaves every file as it was
    for (const auto& [path, bytes] : before) {
        const bool isOfPage = std::ranges::find(pageFields, path, fileNameOf) != pageFields.end();
        EXPECT_TRUE(after.contains(path) && (after.at(path) == bytes || (isOfPage && isBlank(bytes))))
            << path << " was written";
    }
    for (const auto& [path, bytes] : after) // App Store Connect takes no locale without a name
        EXPECT_TRUE(before.contains(path) || path.ends_with("/name.txt") ||
                    std::ranges::find(pageFields, path, fileNameOf) != pageFields.end())
            << path << " was made";

    test::SandboxFixture second{{.seed = sandbox::Seed::empty}};
    const MetadataFolder own{folder / "own"};
    const auto report = importTree(treeToImport(tree), MetadataStore(own.contextFolder({})), systemClock());
    Journey imported = pushAll(second, own);
    imported.stray = report.skipped;
    expectNothingSilent(before, imported);
    EXPECT_EQ(imported.arrived, inPlace.arrived);
}

void putFile(const fs::path& file, std::string_view text) {
    createFolders(file.parent_path());
    writeFileAtomically(file, text);
}

} // namespace

TEST(TreeJourney, aTreeGivesTheSameInPlaceAndByImport) {
    const test::TemporaryFolder folder;
    const fs::path tree = folder / "tree";
    putFile(tree / "en-US/name.txt", "Fernleaf\n");
    putFile(tree / "en-US/description.txt", "Water on time.\r\nEvery plant.\r\n\r\n");
    putFile(tree / "en-US/images/1.png", "no text");
    putFile(tree / "en-US/whats_new.txt", "Fixes\n");
    putFile(tree / "no/name.txt", "Bregneblad");
    putFile(tree / "no/release_notes.txt", "\n");
    putFile(tree / "si/name.txt", "not a locale there\n");
    putFile(tree / "en-US/subtitle.txt", "far too long for any subtitle of the store\n");
    putFile(tree / "de/name.txt", "Farnblatt\n");
    putFile(tree / "ja/name.txt", "シダの葉");
    putFile(tree / "ja/subtitle.txt", " \n\n");
    putFile(tree / "ja/release_notes.txt", "修正\n");
    putFile(tree / "default/release_notes.txt", "Bug fixes\n");
    putFile(tree / "default/changelog.md", "unknown\n");
    putFile(tree / "default/name.txt", "for none\n");
    putFile(tree / "android/en-US/title.txt", "Fernleaf\n");
    putFile(tree / "trade_representative_contact_information/state.txt", "Here\n");
    putFile(tree / "screenshots/en-US/1.png", "picture");
    putFile(tree / "copyright.txt", "2026 Fernleaf\n");
    putFile(tree / "primary_category.txt", "MZGenre.Games\n");
    putFile(tree / "primary_first_sub_category.txt", "\n");
    putFile(tree / "secondary_category.txt", "no category\n");
    putFile(tree / "rating_config.json", "{\"gambling\": true}\n");
    putFile(tree / "review_information/demo_password.txt", "moss-4711\n");
    putFile(tree / "review_information/fax.txt", "1\n");
    takeTree(tree);
}

TEST(TreeJourney, takesTheTreesOfTheEnvironment) {
    const char* trees = std::getenv("QUORVEL_METADATA_TREES");
    if (!trees) GTEST_SKIP() << "QUORVEL_METADATA_TREES names no folder of trees";
    for (const auto& entry : fs::directory_iterator(trees)) {
        SCOPED_TRACE(entry.path().native());
        if (entry.is_directory()) takeTree(entry.path());
    }
}
