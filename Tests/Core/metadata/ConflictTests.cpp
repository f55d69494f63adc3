#include "Core/metadata/PullWriter.h"
#include "Core/metadata/PulledCopies.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/merge/ConflictSettling.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Core/metadata/merge/KeywordMerge.h"
#include "Core/metadata/merge/RemoteComparison.h"
#include "Platform/text/Text.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <tuple>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr FieldType described = FieldType::description;
const FieldKey german = {"de-DE", described};

// One locale of a tree, and what App Store Connect holds of its description.
struct ConflictTree {
    test::TemporaryFolder folder;
    MetadataStore store{MetadataFolder{folder / "ios/next"}};
    TextConflicts conflicts{store.folder()};
    Date now = dateFromSecondsSince1970(1772368200);

    PullResult pull(const std::string& incoming, LocalEdits edits = LocalEdits::merge,
                    FieldType field = described) {
        IncomingTexts version{homeOf(field), {}};
        version.locales["de-DE"][field] = incoming;
        now += std::chrono::seconds(1);
        return writePulledTexts(store, {version}, edits, now);
    }
    void write(const std::string& local, FieldType field = described) const {
        store.write("de-DE", field, local);
    }
    [[nodiscard]] std::string local(FieldType field = described) const {
        return store.read("de-DE", field).value_or("(none)");
    }
    [[nodiscard]] std::string copy() const {
        return store.read("de-DE", described, TextSide::pulled).value_or("(none)");
    }
    [[nodiscard]] TextConflict conflict() const { return conflicts.find(german).value(); }
    [[nodiscard]] ConflictSettling settling() const { return {store, FinalLineBreak::keep, now}; }
    [[nodiscard]] TextComparison compare() const { return compareTexts(store, {}, {}); }
    // The texts that were backed up.
    [[nodiscard]] std::vector<std::string> kept() const {
        std::vector<std::string> texts;
        const auto place = store.folder().privateFolder() / "kept";
        if (std::filesystem::exists(place))
            for (const auto& entry : std::filesystem::recursive_directory_iterator(place))
                if (entry.is_regular_file()) texts.push_back(*readFile(entry.path()));
        return texts;
    }
    // A conflict of "ours" and "theirs" over "base".
    void open() {
        (void)pull("base");
        write("ours");
        (void)pull("theirs");
    }
};

} // namespace

TEST(PullMerge, tellsForEachEditWhatBecomesOfIt) {
    struct Case {
        FieldType field;
        std::string pulled, edited, incoming, local;
        bool isMerged = false, isConflict = false;
    };
    const std::vector<Case> cases = {
        {described, "A\n\nB", "A1\n\nB", "A\n\nB", "A1\n\nB"},
        {described, "A\n\nB", "A1\n\nB", "A\n\nB1\n", "A1\n\nB1", true},
        {described, "A", "A1", "A2", "A2", false, true},
        {described, "A", "A1", "A1\n", "A1"}, // the same edit twice, whatever stands at its end
        {described, "", "mine", "", "mine"},
        {described, "", "mine", "theirs", "theirs", false, true},
        {described, "A", "", "A", "A"}, // a text that was only cleared comes back
        {described, "A", "", "B", "B", false, true},
        {FieldType::name, "A", "B", "C", "C", false, true},
        {FieldType::keywords, "a,b,c", "a,c,x", "a,b,c,y", "a,c,x,y", true},
        {FieldType::keywords, "a", "a," + std::string(70, 'x'), "a," + std::string(70, 'y'),
         "a," + std::string(70, 'y'), false, true}, // above the limit together
        {FieldType::promotionalText, "A\nB", std::string(100, 'x') + "\nB", "A\n" + std::string(100, 'y'),
         "A\n" + std::string(100, 'y'), false, true},
    };
    for (const auto& [field, pulled, edited, incoming, local, isMerged, isConflict] : cases) {
        SCOPED_TRACE(escapeControls(pulled + "|" + edited + "|" + incoming));
        ConflictTree tree;
        (void)tree.pull(pulled, LocalEdits::merge, field);
        tree.write(edited, field);
        const PullResult result = tree.pull(incoming, LocalEdits::merge, field);
        EXPECT_EQ(tree.local(field), local);
        EXPECT_THAT(result.merged, SizeIs(isMerged ? 1 : 0));
        EXPECT_THAT(result.conflicts, SizeIs(isConflict ? 1 : 0));
        EXPECT_EQ(tree.conflicts.all().size(), result.conflicts.size());
        EXPECT_EQ(tree.store.read("de-DE", field, TextSide::pulled), incoming);
        if (isMerged || isConflict) {
            EXPECT_THAT(tree.kept(), ElementsAre(edited));
        }
    }
}

TEST(PullMerge, mergesKeywordsOnlyWhereNoEditIsLost) {
    EXPECT_EQ(mergeKeywords("a, b", "a, b, x", "b"), "b, x");
    EXPECT_EQ(mergeKeywords("a,b", "x,b", "y,b"), "x,b,y");
    EXPECT_EQ(mergeKeywords("a,b", "b,a", "a,b,c"), std::nullopt) << "an order is an edit, too";
    EXPECT_EQ(mergeKeywords("a,b", "a,b,c", "b,a"), std::nullopt);
    EXPECT_EQ(mergeKeywords("a,b", "a,a", "a,b,c"), std::nullopt);
}

TEST(PullMerge, keepsTheFirstBaseAndTakesTheNewestTextOverAnOpenConflict) {
    ConflictTree tree;
    tree.open();
    const auto expectRecord = [&](const std::string& ours, const std::string& theirs, Date since) {
        const TextConflict record = tree.conflict();
        EXPECT_EQ(std::tie(record.base, record.ours, record.theirs), std::tuple("base", ours, theirs));
        EXPECT_EQ(record.since, since);
    };
    expectRecord("ours", "theirs", tree.now);
    EXPECT_EQ(tree.local(), "theirs");
    const Date since = tree.now;

    EXPECT_THAT(tree.pull("theirs").conflicts, ElementsAre(german)) << "nothing new, but still open";
    EXPECT_THAT(tree.pull("newer").updated, ElementsAre(german));
    expectRecord("ours", "newer", since);
    EXPECT_EQ(tree.local(), "newer");

    tree.write("edited since"); // takes the place of ours, and is not overwritten by the same text again
    (void)tree.pull("newer");
    EXPECT_EQ(tree.local(), "edited since");
    (void)tree.pull("newest", LocalEdits::leaveInPlace);
    EXPECT_EQ(tree.local(), "edited since");
    (void)tree.pull("newest of all");
    expectRecord("edited since", "newest of all", since);
    EXPECT_THAT(tree.kept(), testing::UnorderedElementsAre("ours", "edited since"));

    EXPECT_THAT(tree.pull("edited since").conflicts, IsEmpty()) << "App Store Connect took the same text";
    EXPECT_THAT(tree.conflicts.all(), IsEmpty());
    tree.write("ours again");
    (void)tree.pull("theirs");
    EXPECT_THAT(tree.pull("edited since").conflicts, IsEmpty()) << "somebody took theirs back";
    EXPECT_EQ(tree.local(), "ours again");
    EXPECT_THAT(tree.compare().changes, SizeIs(1));
}

TEST(PullMerge, settlesAnOpenConflictOnceNothingIsLeftToChoose) {
    struct Case {
        std::string name;
        std::string edited; // after the pull that met the edit; "-": nothing was
        std::string incoming;
        LocalEdits edits;
        std::string local;
        bool backsUp = false; // the newer edit
    };
    const Case cases[] = {
        {"App Store Connect took ours", "-", "ours", LocalEdits::merge, "ours"},
        {"somebody took theirs back", "-", "base", LocalEdits::merge, "ours"},
        {"App Store Connect took the newer edit", "mine", "mine\n", LocalEdits::merge, "mine"},
        {"an edit equal to what came while edits are left", "mine", "mine", LocalEdits::leaveInPlace, "mine"},
        {"replaced as it was pulled", "-", "theirs", LocalEdits::keepBeside, "theirs"},
        {"replaced by a newer text", "-", "newer", LocalEdits::keepBeside, "newer"},
        {"a newer edit replaced by the same text again", "mine", "theirs", LocalEdits::keepBeside, "theirs",
         true},
        {"a newer edit replaced by a newer text", "mine", "newer", LocalEdits::keepBeside, "newer", true},
        {"a newer edit that came too", "mine", "mine", LocalEdits::keepBeside, "mine"},
        {"an emptied text", "", "newer", LocalEdits::keepBeside, "newer"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        ConflictTree tree;
        tree.open();
        if (one.edited != "-") tree.write(one.edited);
        PullOptions dry(one.edits);
        dry.dryRun = DryRun::yes;
        IncomingTexts version{FieldHome::versionLocalization, {}};
        version.locales["de-DE"][described] = one.incoming;
        const PullResult planned = writePulledTexts(tree.store, {version}, dry, tree.now);
        EXPECT_THAT(tree.conflicts.all(), SizeIs(1)) << "a dry run settles nothing";

        const PullResult result = tree.pull(one.incoming, one.edits);
        EXPECT_THAT(result.conflicts, IsEmpty());
        EXPECT_THAT(tree.conflicts.all(), IsEmpty());
        EXPECT_EQ(tree.local(), one.local);
        EXPECT_EQ(tree.copy(), one.incoming);
        EXPECT_EQ(testing::Value(tree.kept(), testing::Contains("mine")), one.backsUp);
        EXPECT_THAT(tree.kept(), testing::Contains("ours"));
        EXPECT_EQ(std::tie(planned.updated, planned.conflicts, planned.leftEdits, planned.merged),
                  std::tie(result.updated, result.conflicts, result.leftEdits, result.merged));
        EXPECT_EQ(planned.kept.size(), result.kept.size());
    }
    // Also where the record is damaged, and where somebody edits both into one at the moment.
    ConflictTree tree;
    tree.open();
    (void)tree.settling().prepareEdit(tree.conflict());
    writeFileAtomically(tree.conflicts.editFile(german), "half way");
    writeFileAtomically(tree.store.folder().privateFolder() / "conflicts/de-DE/description.json", "{");
    tree.write("mine");
    EXPECT_THAT(tree.pull("newer").conflicts, SizeIs(1)) << "waits for the user";
    tree.write("mine, too");
    EXPECT_THAT(tree.pull("newer", LocalEdits::keepBeside).conflicts, IsEmpty());
    EXPECT_THAT(tree.conflicts.all(), IsEmpty());
    EXPECT_THAT(tree.kept(), testing::IsSupersetOf({"half way", "mine, too"}));
}

TEST(PulledCopies, takeTheirsOfAnOpenConflictFromAppStoreConnect) {
    ConflictTree tree;
    tree.open();
    ReadTexts remote;
    remote.texts["de-DE"][described] = "newer";
    writePulledCopies(tree.store, remote, compareWithRemote(tree.store, {}, {}, {}, remote), "9", tree.now);
    EXPECT_EQ(tree.conflict().theirs, "newer");
    EXPECT_EQ(tree.conflict().base, "base");
    EXPECT_EQ(tree.copy(), "newer");
    // "theirs" is in the file from before, and is nobody's edit.
    EXPECT_FALSE(isNewerEdit(tree.conflict(), tree.local(), FinalLineBreak::keep));
    const auto settled = tree.settling().settle(tree.conflict(), ConflictSide::theirs);
    EXPECT_EQ(tree.local(), "newer");
    EXPECT_FALSE(settled.isPending || settled.kept);

    tree.write("ours");
    (void)tree.pull("theirs");
    (void)tree.pull("theirs");
    ASSERT_THAT(tree.conflicts.all(), SizeIs(1));
    writePulledCopies(tree.store, {}, compareWithRemote(tree.store, {}, {}, {}, {}), "10", tree.now);
    EXPECT_EQ(tree.conflict().theirs, "") << "the version has no such text any more";
}

TEST(Conflict, isLeftOutOfAPushUntilItIsSettledWithEitherText) {
    for (const ConflictSide side : {ConflictSide::ours, ConflictSide::theirs})
        for (const bool isEdited : {false, true}) {
            SCOPED_TRACE(std::string(rawValue(side)) + (isEdited ? ", edited" : ""));
            ConflictTree tree;
            tree.open();
            if (isEdited) tree.write("edited since");
            const TextComparison open = tree.compare();
            EXPECT_THAT(open.selection.chosen, IsEmpty());
            ASSERT_THAT(open.selection.leftOut, SizeIs(1));
            EXPECT_EQ(open.selection.leftOut[0].reason, LeftOutReason::inConflict);
            EXPECT_TRUE(open.selection.leftOut[0].isMissed);
            EXPECT_EQ(open.waiting(), 1u);

            const bool isOurs = side == ConflictSide::ours;
            const std::string ours = isEdited ? "edited since" : "ours";
            const auto settled = tree.settling().settle(tree.conflict(), side);
            EXPECT_EQ(tree.local(), isOurs ? ours : "theirs");
            EXPECT_EQ(settled.isPending, isOurs);
            EXPECT_EQ(settled.kept.has_value(), !isOurs && isEdited);
            EXPECT_THAT(tree.conflicts.all(), IsEmpty());
            EXPECT_FALSE(std::filesystem::exists(tree.store.folder().privateFolder() / "conflicts"));
            // The push compares with what App Store Connect holds, and so takes it for no conflict.
            EXPECT_EQ(tree.copy(), "theirs");
            EXPECT_THAT(tree.compare().selection.chosen, SizeIs(isOurs ? 1 : 0));
            EXPECT_THAT(tree.kept(), testing::Contains("ours"));
        }
}

TEST(Conflict, isSettledByAnEditOnlyOnceNothingOfTheMarksIsLeft) {
    ConflictTree tree;
    (void)tree.pull("A\n\nB");
    tree.write("A1\n\nB1");
    (void)tree.pull("A2\n\nB");
    const auto settle = [&] { return tree.settling().settleWithEdit(tree.conflict()); };
    EXPECT_THROW((void)settle(), MetadataError) << "nothing was prepared";
    const auto file = tree.settling().prepareEdit(tree.conflict());
    EXPECT_EQ(readFile(file), "<<<<<<< your text\nA1\n=======\nA2\n>>>>>>> App Store Connect's text\n\nB1\n");
    EXPECT_THROW((void)settle(), MetadataError) << "not edited";

    for (const std::string edited : {"<<<<<<< your text\nA3\n\nB1\n", "A1\n=======\nA2\n", "\xFF", ""}) {
        (void)tree.settling().prepareEdit(tree.conflict());
        edited.empty() ? void(removeFile(file)) : writeFileAtomically(file, edited);
        EXPECT_THROW((void)settle(), MetadataError) << escapeControls(edited);
        EXPECT_EQ(tree.conflict().ours, "A1\n\nB1");
        if (!edited.empty()) {
            EXPECT_EQ(readFile(tree.settling().prepareEdit(tree.conflict())), edited) << "it goes on";
            removeFile(file);
        }
    }
    // A pull that brings another text keeps what was edited so far.
    (void)tree.settling().prepareEdit(tree.conflict());
    writeFileAtomically(file, "half way");
    (void)tree.pull("A4\n\nB");
    EXPECT_THAT(tree.kept(), testing::Contains("half way"));
    (void)tree.settling().prepareEdit(tree.conflict());
    EXPECT_THAT(*readFile(file), HasSubstr("A4"));
    writeFileAtomically(file, "A5\n\nB1\n");
    EXPECT_TRUE(settle().isPending);
    EXPECT_EQ(tree.local(), "A5\n\nB1");
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(Conflict, withADamagedRecordStillWaitsAndIsSettledFromTheFiles) {
    ConflictTree tree;
    tree.open();
    tree.write("mine");
    writeFileAtomically(tree.store.folder().privateFolder() / "conflicts/de-DE/description.json", "{");
    EXPECT_THAT(tree.conflict().problem.value(), HasSubstr("conflicts/de-DE/description.json"));
    EXPECT_THAT(tree.compare().selection.leftOut, SizeIs(1));
    EXPECT_THROW((void)tree.settling().prepareEdit(tree.conflict()), MetadataError);
    const auto settled = tree.settling().settle(tree.conflict(), ConflictSide::theirs);
    EXPECT_EQ(tree.local(), "theirs");
    EXPECT_EQ(readFile(settled.kept.value().path), "mine");
}

TEST(RemoteComparison, tellsWhoChangedWhat) {
    ConflictTree tree;
    const auto changes = [&](const ReadTexts& remote, const TextRules& rules = {}) {
        std::vector<std::pair<FieldKey, ChangedBy>> list;
        for (const RemoteDifference& one : compareWithRemote(tree.store, rules, remote).differences)
            list.emplace_back(one.key, one.changedBy);
        return list;
    };
    ReadTexts remote;
    remote.texts["de-DE"][described] = "A\n\nB";
    EXPECT_THAT(changes(remote), ElementsAre(std::pair(german, ChangedBy::appStoreConnect))) << "not pulled";
    tree.store.write("fr-FR", described, "mien");
    EXPECT_THAT(changes({}), ElementsAre(std::pair(FieldKey{"fr-FR", described}, ChangedBy::local)));
    std::filesystem::remove_all(tree.store.folder().localeFolder("fr-FR"));

    (void)tree.pull("A\n\nB");
    EXPECT_THAT(changes(remote), IsEmpty());
    tree.write("A1\n\nB");
    EXPECT_THAT(changes(remote), ElementsAre(std::pair(german, ChangedBy::local)));
    remote.texts["de-DE"][described] = "A1\r\n\r\nB\n"; // as a service may give it back
    EXPECT_THAT(changes(remote), ElementsAre(std::pair(german, ChangedBy::bothAlike)));
    for (const auto& [there, merges] : {std::pair("A\n\nB1", true), std::pair("A2\n\nB", false)}) {
        remote.texts["de-DE"][described] = there;
        const auto differences = compareWithRemote(tree.store, {}, remote).differences;
        ASSERT_THAT(differences, SizeIs(1));
        EXPECT_EQ(differences[0].changedBy, ChangedBy::bothDifferently);
        EXPECT_EQ(differences[0].merges, merges);
    }
    EXPECT_THAT(changes(remote, {{"de-DE"}}), IsEmpty()) << "a disabled locale";
    std::filesystem::remove_all(tree.store.folder().localeFolder("de-DE"));
    EXPECT_THAT(changes(remote), ElementsAre(std::pair(german, ChangedBy::appStoreConnect)));
}

// Two people edit, pull, settle and push in any order: what either wrote is on App Store Connect, in the
// file, in an open conflict or backed up, and a push never replaces what nobody here has seen.
TEST(Conflict, losesNoTextInAnyOrderOfEditsPullsAndPushes) {
    std::mt19937 random(42);
    int written = 0;
    for (int run = 0; run < 40; ++run) {
        ConflictTree tree;
        std::string remote = "one\n\ntwo\n\nthree";
        std::vector<std::string> others = {remote}; // all that App Store Connect held
        (void)tree.pull(remote);
        const auto edit = [&](std::string& edited) {
            const std::string words[] = {"one", "two", "three"};
            const std::string line = "edit " + std::to_string(++written);
            const auto at = edited.find(words[random() % 3]);
            if (at == std::string::npos || random() % 4 == 0)
                edited += "\n\n" + line;
            else
                edited.replace(at,
                               edited.find('\n', at) == std::string::npos ? std::string::npos
                                                                          : edited.find('\n', at) - at,
                               line);
        };
        for (int step = 0; step < 12; ++step) {
            std::vector<std::string> before = tree.kept();
            before.push_back(tree.local());
            for (const TextConflict& conflict : tree.conflicts.all())
                before.push_back(conflict.ours);
            switch (random() % 5) {
            case 0: {
                std::string mine = tree.local();
                edit(mine);
                tree.write(mine);
                continue;
            }
            case 1:
                edit(remote);
                others.push_back(remote);
                continue;
            case 2:
                (void)tree.pull(remote);
                break;
            case 3:
                if (const auto open = tree.conflicts.find(german))
                    (void)tree.settling().settle(*open,
                                                 random() % 2 ? ConflictSide::ours : ConflictSide::theirs);
                break;
            default: // what a push sends, unless App Store Connect holds another text than the copy
                for (const PendingChange& change : tree.compare().selection.chosen)
                    if (remote == change.remote) {
                        remote = change.local;
                        others.push_back(remote);
                        tree.store.write("de-DE", described, remote, TextSide::pulled);
                    }
            }
            std::vector<std::string> after = tree.kept();
            after.push_back(tree.local());
            after.push_back(remote);
            for (const TextConflict& conflict : tree.conflicts.all()) {
                after.push_back(conflict.ours);
                EXPECT_EQ(conflict.theirs, tree.copy());
            }
            for (const std::string& one : before)
                ASSERT_TRUE(std::ranges::any_of(after, [&](const std::string& it) { return it == one; }) ||
                            std::ranges::find(others, one) != others.end())
                    << one << " is lost at step " << step << " of run " << run;
        }
    }
}
