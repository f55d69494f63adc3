#include "Core/metadata/ReviewMarks.h"
#include "Core/metadata/TextComparison.h"
#include "Platform/log/Log.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// A locale on App Store Connect with a generated, a cut and a hand-written text.
struct GeneratedTree {
    GeneratedTree() {
        ReviewMarks marks;
        for (const std::string locale : {"de-DE", "ja"}) {
            for (const TextSide side : {TextSide::local, TextSide::pulled})
                for (const FieldType field : storeTexts)
                    store.write(locale, field, "pulled", side);
            store.write(locale, FieldType::name, "Generated");
            store.write(locale, FieldType::subtitle, "Cut");
            store.write(locale, FieldType::description, "By hand");
            marks.set(locale, FieldType::name, "Generated", ReviewMark::generated);
            marks.set(locale, FieldType::subtitle, "Cut", ReviewMark::cut);
            marks.set(locale, FieldType::keywords, "replaced by a pull", ReviewMark::generated);
        }
        marks.save(store.folder());
    }
    [[nodiscard]] TextComparison compare(const PushFilter& filter = {}) const {
        return compareTexts(store, {}, LocaleSet{"ja"}, filter);
    }

    test::TemporaryFolder folder;
    MetadataStore store{MetadataFolder{folder.path()}};
};

} // namespace

TEST(ReviewMarks, keepUnreadTextsOutOfAPushUntilTheyAreEditedOrAcceptedOrAllowed) {
    const GeneratedTree tree;
    const UnreadText name{"de-DE", FieldType::name, ReviewMark::generated};
    const UnreadText subtitle{"de-DE", FieldType::subtitle, ReviewMark::cut};
    const TextComparison before = tree.compare();
    EXPECT_THAT(before.unread, ElementsAre(name, subtitle)) << "disabled locales and other texts excepted";
    EXPECT_THAT(before.selection.chosen, SizeIs(1));
    EXPECT_EQ(before.waiting(), 3U);
    EXPECT_EQ(before.selection.leftOut.at(0).reason, LeftOutReason::unreviewed);
    EXPECT_EQ(
        before.selection.leftOut.at(1).explanation,
        "Was generated, cut to its limit and not read since. Read it and accept it, or allow unread texts "
        "in the push.");

    const auto allowed = tree.compare({.unreviewed = Unreviewed::allow}).selection;
    EXPECT_THAT(allowed.chosen, SizeIs(3));
    EXPECT_THAT(allowed.warnings,
                ElementsAre(PushWarning{"de-DE", FieldType::name, "Was generated and not read since."},
                            PushWarning{"de-DE", FieldType::subtitle,
                                        "Was generated, cut to its limit and not read since."}));

    tree.store.write("de-DE", FieldType::name, "Generated\n"); // as an editor saves it
    EXPECT_THAT(tree.compare().unread, ElementsAre(name, subtitle));
    tree.store.write("de-DE", FieldType::name, "Edited");
    EXPECT_THAT(tree.compare().unread, ElementsAre(subtitle));
    ReviewMarks marks = ReviewMarks::load(tree.store.folder());
    marks.clear(subtitle.key());
    marks.save(tree.store.folder());
    const TextComparison after = tree.compare();
    EXPECT_THAT(after.unread, IsEmpty());
    EXPECT_THAT(after.selection.chosen, SizeIs(3));
    EXPECT_EQ(after.changes.at(0).review, std::nullopt);
}

TEST(ReviewMarks, takeADamagedFileForNoneAndSaySo) {
    const GeneratedTree tree;
    writeFileAtomically(tree.folder / ".brevant/review.json", R"({"de-DE":{"name":{"text":"0"}}})");
    const LogCapture log;
    EXPECT_THAT(tree.compare().unread, IsEmpty());
    EXPECT_THAT(log.text(), HasSubstr("review.json is damaged"));
}
