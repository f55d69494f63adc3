#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/MetadataPusher.h"
#include "Core/metadata/MetadataTransfer.h"
#include "Core/metadata/PushSelection.h"
#include "Tests/support/PullContext.h"
#include "Tests/support/SandboxFixture.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

using namespace quorvel;

namespace {

void putText(const std::filesystem::path& file, std::string_view text) {
    createFolders(file.parent_path());
    writeFileAtomically(file, text);
}

// A small tree with the oddities that trees of other tools have.
std::filesystem::path makeTree(const std::filesystem::path& root) {
    putText(root / "en-US" / "name.txt", "Fernleaf\n");
    putText(root / "en-US" / "subtitle.txt", "Plants, kept alive\n");
    putText(root / "en-US" / "description.txt", "Water on time.\r\nEvery plant.\r\n\r\n");
    putText(root / "en-US" / "keywords.txt", "plants, water ,plants\n");
    putText(root / "en-US" / "release_notes.txt", "Fixes\n");
    putText(root / "en-US" / "marketing_url.txt", "https://example.test\n");
    putText(root / "ja" / "name.txt", "シダの葉");
    putText(root / "ja" / "description.txt", "水やりを\n忘れない 🌿\n");
    putText(root / "de-DE" / "name.txt", "Farnblatt und noch viel mehr Text\n");
    putText(root / "de-DE" / "keywords.txt", std::string(100, 'k') + "\n");
    putText(root / "fr-FR" / "description.txt", "Seulement une description\n");
    putText(root / "ko" / "subtitle.txt", "식물 돌보기\n");
    putText(root / "default" / "release_notes.txt", "Bug fixes\n");
    putText(root / "review_information" / "notes.txt", "none\n");
    putText(root / "copyright.txt", "2026\n");
    return root;
}

// Imports `tree`, pushes what may be pushed and pulls it again elsewhere; says what arrived and what was left
// out.
struct ImportJourney {
    explicit ImportJourney(const std::filesystem::path& tree) {
        const std::string app = fixture.client.listApps().at(0).id;
        const auto version = fixture.client.createAppStoreVersion(app, {"IOS", "1.0", {}});
        const PlatformContext context{ASCPlatform::iOS, AppStoreVersionStateClass::editable, "1.0",
                                      "PREPARE_FOR_SUBMISSION", version.id};
        const MetadataStore local(folderIn("local", context));
        imported = importTree(treeToImport(tree), local, systemClock());
        selection = selectForPush(MetadataDiff::compare(local));
        fixture.server.forgetRequests();
        outcomes = MetadataPusher(fixture.client, local, "Blank Canvas").push(app, context, selection.chosen);
        requests = fixture.server.requests();
        const MetadataFolder other{fixture.folder / "other"};
        (void)test::pullContext(fixture.client, systemClock(), app, other, "ios/next");
        const MetadataStore store(other.contextFolder(context.contextID()));
        arrived = store.readAll();
        arrived.emplace(pageLocale, store.readLocale(pageLocale));
    }

    [[nodiscard]] MetadataFolder folderIn(const char* name, const PlatformContext& context) const {
        return MetadataFolder{fixture.folder / name}.contextFolder(context.contextID());
    }

    // One request per localization with a text of its own and per resource of the page, and those that find
    // what exists: one for each kind of them, of which the app infos bring their categories. A locale whose
    // name is needed elsewhere costs nothing more.
    [[nodiscard]] std::size_t leastRequests() const {
        std::set<std::pair<std::string, FieldHome>> localizations;
        std::set<FieldHome> homes;
        for (const auto& change : selection.chosen) {
            localizations.emplace(change.locale, homeOf(change.field));
            homes.insert(homeOf(change.field));
        }
        const std::size_t lists = homes.size() - (homes.contains(FieldHome::appInfo) ? 1 : 0);
        const bool findsAppInfo = homes.contains(FieldHome::appInfoLocalization) ||
                                  homes.contains(FieldHome::appInfo) || homes.contains(FieldHome::ageRating);
        return localizations.size() + lists + (findsAppInfo ? 1 : 0);
    }

    test::SandboxFixture fixture{{.seed = sandbox::Seed::empty}};
    ImportReport imported;
    PushSelection selection;
    std::vector<PushOutcome> outcomes;
    std::vector<sandbox::RecordedRequest> requests;
    LocaleTexts arrived;
};

void expectAllArrived(const ImportJourney& journey) {
    for (const auto& outcome : journey.outcomes) {
        EXPECT_TRUE(outcome.success) << outcome.change.locale << " " << rawValue(outcome.change.field) << ": "
                                     << outcome.errorMessage.value_or("");
        EXPECT_EQ(journey.arrived.at(outcome.change.locale)[outcome.change.field], outcome.change.local)
            << outcome.change.locale << " " << rawValue(outcome.change.field);
    }
}

} // namespace

TEST(ImportJourney, takesATreeOfAnotherToolToTheStoreByteForByte) {
    const test::TemporaryFolder folder;
    const ImportJourney journey(makeTree(folder / "tree"));
    expectAllArrived(journey);
    EXPECT_EQ(journey.requests.size(), journey.leastRequests());
    EXPECT_EQ(journey.arrived.at("en-US")[FieldType::description], "Water on time.\r\nEvery plant.\r\n");
    EXPECT_EQ(journey.arrived.at("ja")[FieldType::name], "シダの葉");
    ASSERT_EQ(journey.selection.leftOut.size(), 1u);
    EXPECT_EQ(journey.selection.leftOut[0].change.locale, "de-DE");
    EXPECT_EQ(journey.selection.leftOut[0].change.field, FieldType::name);
    EXPECT_EQ(journey.selection.leftOut[0].reason, LeftOutReason::overLimit);
    EXPECT_EQ(journey.arrived.at("")[FieldType::reviewNotes], "none");
    EXPECT_EQ(journey.arrived.at("en-US")[FieldType::marketingURL], "https://example.test");
    EXPECT_FALSE(journey.arrived.contains("default"));
    EXPECT_EQ(journey.arrived.at("ko")[FieldType::name], "Blank Canvas");
}

TEST(ImportJourney, takesTheTreeOfTheEnvironment) {
    const char* tree = std::getenv("QUORVEL_METADATA_TREE");
    if (!tree) GTEST_SKIP() << "QUORVEL_METADATA_TREE names no tree";
    const ImportJourney journey(tree);
    fmt::print("{} locales, {} texts imported, {} skipped, {} left out, {} pushed, {} requests, least {}\n",
               journey.imported.locales.size(), journey.imported.imported.size(),
               journey.imported.skipped.size(), journey.selection.leftOut.size(), journey.outcomes.size(),
               journey.requests.size(), journey.leastRequests());
    for (const auto& left : journey.selection.leftOut)
        fmt::print("  left out: {} {}: {}\n", left.change.locale, rawValue(left.change.field),
                   left.explanation);
    expectAllArrived(journey);
    EXPECT_EQ(journey.requests.size(), journey.leastRequests());
}
