#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/TextComparison.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

struct ComparedTree {
    test::TemporaryFolder outer;
    MetadataStore store{MetadataFolder{outer / "app/ios/next"}};

    void put(const std::string& locale, FieldType field, std::string_view pulled,
             std::string_view local) const {
        store.write(locale, field, pulled, TextSide::pulled, Durability::later);
        store.write(locale, field, local, TextSide::local, Durability::later);
    }
    [[nodiscard]] TextComparison compare(const LocaleSet& disabled = {},
                                         const PushFilter& filter = {}) const {
        return compareTexts(store, {}, disabled, filter);
    }
    [[nodiscard]] std::filesystem::path file(FieldType field, TextSide side = TextSide::local) const {
        return store.folder().fieldFile("de-DE", field, side);
    }
};

} // namespace

TEST(TextComparison, countsWhatWaitsByItsReason) {
    using R = LeftOutReason;
    struct Case {
        std::string locale;
        FieldType field;
        std::string pulled, local;
        std::optional<LeftOutReason> reason;
        std::size_t waiting;
    };
    const Case cases[] = {
        {"de-DE", FieldType::name, "a", "b", {}, 1},
        {"de-DE", FieldType::name, "a", std::string(31, 'n'), R::overLimit, 1},
        {"de-DE", FieldType::name, "a", "\uFEFFb", R::byteOrderMark, 1},
        {"de-DE", FieldType::name, "a", "b\x1B", R::controlCharacter, 1},
        {"de-DE", FieldType::name, "a", "", R::clearsName, 1},
        {"de-DE", FieldType::subtitle, "a", "", R::clearsField, 1},
        {"de-DE", FieldType::name, "a", "\xFF", R::unreadableFile, 1},
        {"de-DE", FieldType::name, "a", "a\n", R::onlyFinalLineBreak, 0},
        {"ja", FieldType::name, "a", "b", R::localeDisabled, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string(one.reason ? rawValue(*one.reason) : "chosen"));
        const ComparedTree tree;
        tree.put(one.locale, one.field, one.pulled, one.local);
        const TextComparison comparison = tree.compare({"ja"});
        EXPECT_THAT(comparison.selection.chosen, SizeIs(one.reason ? 0 : 1));
        ASSERT_THAT(comparison.selection.leftOut, SizeIs(one.reason ? 1 : 0));
        if (one.reason) {
            EXPECT_EQ(comparison.selection.leftOut[0].reason, *one.reason);
        }
        EXPECT_EQ(comparison.waiting(), one.waiting);
        EXPECT_EQ(comparison.overLimit(), one.reason == R::overLimit ? 1U : 0U);
        const bool isListed = one.reason != R::localeDisabled && one.reason != R::unreadableFile;
        EXPECT_THAT(comparison.changes, SizeIs(isListed ? 1 : 0));
        EXPECT_THAT(comparison.notices(), IsEmpty());
    }
    const ComparedTree tree;
    tree.store.write("default", FieldType::name, "b");
    EXPECT_EQ(tree.compare().selection.leftOut.at(0).reason, R::notAnAppStoreLocale);
    EXPECT_EQ(tree.compare().waiting(), 0U);
}

TEST(TextComparison, leavesOutEachFileThatIsNoText) {
    const ComparedTree tree;
    for (const FieldType field : storeTexts)
        tree.put("de-DE", field, "pulled", "pulled");
    tree.put("fr-FR", FieldType::name, "a", "b");
    const auto replaceByLink = [&](FieldType field, const std::filesystem::path& target) {
        std::filesystem::remove(tree.file(field));
        std::filesystem::create_symlink(target, tree.file(field));
    };
    writeFileAtomically(tree.file(FieldType::name), "ab\xFF");
    writeFileAtomically(tree.file(FieldType::subtitle), std::string_view("a\0b", 3));
    writeFileAtomically(tree.file(FieldType::description), std::string(MetadataStore::fileLimit + 1, 'x'));
    std::filesystem::remove(tree.file(FieldType::promotionalText));
    createFolders(tree.file(FieldType::promotionalText));
    writeFileAtomically(tree.outer / "outside", "secret");
    replaceByLink(FieldType::releaseNotes, tree.outer / "outside");
    replaceByLink(FieldType::keywords, fileNameOf(FieldType::keywords));

    const TextComparison comparison = tree.compare();
    std::vector<std::string> explanations;
    for (const UnreadableText& text : comparison.unreadable)
        explanations.push_back(text.explanation);
    EXPECT_THAT(explanations, ElementsAre(HasSubstr("is not valid UTF-8 at byte 2"),
                                          HasSubstr("holds a NUL character"), HasSubstr("has 1048577 bytes"),
                                          HasSubstr("is a folder where a text file belongs"),
                                          HasSubstr("is a symbolic link that leads out"),
                                          HasSubstr("is a symbolic link that leads to itself")));
    EXPECT_THAT(explanations, testing::Each(Not(HasSubstr("filesystem error"))));
    ASSERT_THAT(comparison.changes, SizeIs(1)); // nothing looks as if it was cleared
    EXPECT_EQ(comparison.changes[0].locale, "fr-FR");
    EXPECT_THAT(comparison.selection.chosen, SizeIs(1));
    ASSERT_THAT(comparison.selection.leftOut, SizeIs(6));
    EXPECT_EQ(comparison.selection.leftOut[1].explanation, comparison.unreadable[1].explanation);
    EXPECT_EQ(comparison.waiting(), 7U);
    EXPECT_THAT(tree.compare({}, {{}, {FieldType::keywords}, {}}).selection.leftOut, SizeIs(1));
    EXPECT_THAT(tree.compare({"de-DE"}).selection.leftOut, IsEmpty());
}

TEST(TextComparison, leavesOutATextWhoseCopyIsDamaged) {
    const ComparedTree tree;
    tree.put("de-DE", FieldType::name, "\xFF", "Name");
    tree.store.write("de-DE", FieldType::keywords, "a");
    const TextComparison comparison = tree.compare();
    ASSERT_THAT(comparison.changes, SizeIs(1));
    EXPECT_FALSE(comparison.changes[0].isNewLocale);
    ASSERT_THAT(comparison.selection.leftOut, SizeIs(1));
    EXPECT_EQ(comparison.selection.leftOut[0].reason, LeftOutReason::unreadableFile);
    EXPECT_EQ(comparison.selection.leftOut[0].change.local, "Name");
}

TEST(TextComparison, tellsOfRemovedLocalesAndMissingCopies) {
    const ComparedTree tree;
    for (const std::string locale : {"de-DE", "fr-FR", "ja"})
        tree.put(locale, FieldType::name, "a", "a");
    std::filesystem::remove_all(tree.store.folder().localeFolder("fr-FR"));
    std::filesystem::remove_all(tree.store.folder().localeFolder("ja"));
    tree.store.beginPull();
    const TextComparison removed = tree.compare({"ja"});
    EXPECT_THAT(removed.pulledLocales, ElementsAre("de-DE", "fr-FR", "ja"));
    EXPECT_THAT(removed.removedLocales, ElementsAre("fr-FR"));
    EXPECT_THAT(removed.notices(), ElementsAre(HasSubstr("fr-FR is on App Store Connect but has no folder")));
    EXPECT_TRUE(removed.interruptedPull);
    std::filesystem::remove_all(tree.store.folder().privateFolder());
    const TextComparison lost = tree.compare();
    EXPECT_TRUE(lost.lacksCopies());
    EXPECT_THAT(lost.notices(), ElementsAre(HasSubstr("holds for ios/next")));
    EXPECT_FALSE(lost.interruptedPull);
}

TEST(TextComparison, countsAndSendsTextsWithoutTheirFinalLineBreakWhenToldTo) {
    const ComparedTree tree;
    const std::string full(30, 'n');
    tree.put("de-DE", FieldType::name, "a", full + "\n");
    tree.put("de-DE", FieldType::subtitle, "a", "a\r\n");
    tree.put("de-DE", FieldType::keywords, "a\n", "a");
    tree.put("de-DE", FieldType::promotionalText, "a\n", "a\n");
    const TextComparison kept = tree.compare();
    EXPECT_THAT(kept.selection.chosen, IsEmpty());
    EXPECT_THAT(kept.selection.leftOut, SizeIs(3));
    EXPECT_THAT(kept.selection.leftOut[0].explanation, HasSubstr("finalLineBreak = strip"));
    EXPECT_EQ(kept.overLimit(), 1U);

    const TextComparison stripped = compareTexts(tree.store, {}, {{}, FinalLineBreak::strip});
    ASSERT_THAT(stripped.changes, SizeIs(1));
    EXPECT_EQ(stripped.selection.chosen, stripped.changes);
    EXPECT_EQ(stripped.changes[0].textToSend(), full);
    EXPECT_EQ(stripped.overLimit(), 0U);
    EXPECT_THAT(stripped.selection.warnings, IsEmpty());
}

TEST(TextComparison, keepsTheChoiceAboutFinalLineBreaksWithTheTree) {
    const test::TemporaryFolder outer;
    const MetadataFolder app{outer / "app"};
    EXPECT_EQ(finalLineBreakOf(app), FinalLineBreak::keep);
    keepFinalLineBreak(app, FinalLineBreak::strip);
    EXPECT_EQ(finalLineBreakOf(app), FinalLineBreak::strip);
    for (const char* damage : {"{", R"({"finalLineBreak":"sometimes"})"}) {
        writeFileAtomically(app.privateFolder() / "settings.json", damage);
        EXPECT_THROW((void)finalLineBreakOf(app), MetadataError) << damage; // it is not guessed
    }
}

TEST(TextComparison, pushesNoFolderThatIsNoLocaleEvenWhenItIsNamed) {
    const ComparedTree tree;
    tree.store.write("default", FieldType::name, "b");
    tree.store.write("qya", FieldType::name, "b"); // may be a locale that is newer than our list
    const auto comparison = tree.compare({}, {{"default", "qya"}, {}, {}});
    ASSERT_THAT(comparison.selection.chosen, SizeIs(1));
    EXPECT_EQ(comparison.selection.chosen[0].locale, "qya");
    EXPECT_THAT(comparison.selection.leftOut.at(0).explanation, HasSubstr("needs a folder of its own"));
    tree.store.write("de-DE", FieldType::name, "a");
    std::filesystem::rename(tree.file(FieldType::name),
                            tree.file(FieldType::name).parent_path() / "Name.txt");
    EXPECT_THAT(tree.compare().notices(),
                testing::Contains(HasSubstr("de-DE/Name.txt is no field of the metadata; rename it to "
                                            "\"name.txt\" if that is meant. No push takes it.")));
}

TEST(TextComparison, agreesWithTheSelectionForAnyTree) {
    const std::vector<std::string> locales = {"de-DE", "default", "fr-FR", "it", "ja"};
    const std::vector<std::string> texts = {"",    "a",       "b",     "a\n",
                                            " \n", "\uFEFFa", "c\x07", std::string(31, 'n')};
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto below = [&](std::size_t end) { return random() % end; };
        const ComparedTree tree;
        std::size_t damaged = 0; // in enabled locales
        for (const std::string& locale : locales)
            for (const FieldType field : storeTexts) {
                if (below(4) != 0)
                    tree.store.write(locale, field, texts[below(texts.size())], TextSide::pulled,
                                     Durability::later);
                const std::size_t kind = below(8);
                if (kind > 1)
                    tree.store.write(locale, field, texts[below(texts.size())], TextSide::local,
                                     Durability::later);
                if (kind == 1) {
                    const auto file = tree.store.folder().fieldFile(locale, field);
                    createFolders(file.parent_path());
                    writeFileAtomically(file, "\xFF", FileMode::shared, Durability::later);
                    damaged += locale != "it";
                }
            }
        const LocaleSet disabled = {"it"};
        const TextComparison comparison = tree.compare(disabled);
        const PushSelection expected = selectForPush(comparison.changes, {}, disabled);
        EXPECT_EQ(comparison.selection.chosen, expected.chosen);
        EXPECT_EQ(comparison.selection.warnings, expected.warnings);
        std::size_t waiting = expected.chosen.size() + damaged;
        for (const LeftOutChange& one : expected.leftOut) {
            waiting += waitsForUser(one.reason);
            EXPECT_THAT(comparison.selection.leftOut, testing::Contains(one));
        }
        EXPECT_EQ(comparison.waiting(), waiting);
        EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(
                      comparison.selection.leftOut, LeftOutReason::unreadableFile, &LeftOutChange::reason)),
                  damaged);
        EXPECT_TRUE(std::ranges::is_sorted(comparison.selection.leftOut, {},
                                           [](const LeftOutChange& one) { return one.change.key(); }));
    }
}
