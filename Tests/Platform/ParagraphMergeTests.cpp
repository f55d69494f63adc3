#include "Platform/text/ParagraphMerge.h"
#include "Platform/text/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace quorvel;

namespace {

using Lines = std::vector<std::string>;

Lines linesOfText(std::string_view text) {
    Lines lines;
    std::string line;
    for (const char character : std::string(text) + "\n") {
        if (character != '\n' && character != '\r') {
            line += character;
        } else if (!isBlank(line)) {
            lines.push_back(line);
            line.clear();
        }
    }
    return lines;
}

bool holdsLine(const Lines& lines, const std::string& line) {
    return std::ranges::find(lines, line) != lines.end();
}

// Texts of paragraphs that are told apart, so that it can be told what became of each.
class TextMaker {
  public:
    explicit TextMaker(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t limit) { return random_() % limit; }
    std::string join(const Lines& lines) {
        std::string text;
        for (const std::string& line : lines)
            text += (text.empty() ? "" : below(4) == 0 ? "\n" : "\n\n") + line;
        return text;
    }
    Lines make() {
        Lines lines;
        for (std::size_t count = below(7); count > 0; --count)
            lines.push_back("base " + std::to_string(next_++));
        return lines;
    }
    // Sometimes what the other side writes too.
    std::string word() { return below(4) == 0 ? "same" : "new " + std::to_string(next_++); }
    Lines edited(Lines lines) {
        for (std::size_t count = below(4); count > 0; --count) {
            const auto place = static_cast<std::ptrdiff_t>(below(lines.size() + 1));
            const bool isEnd = place == std::ssize(lines);
            if (const auto what = below(3); what == 0 || isEnd)
                lines.insert(lines.begin() + place, word());
            else if (what == 1)
                lines.erase(lines.begin() + place);
            else
                lines[static_cast<std::size_t>(place)] = word();
        }
        return lines;
    }

  private:
    std::mt19937 random_;
    int next_ = 0;
};

// Whether the lines of `part` that `whole` has too stand there in the same order.
bool keepsOrder(const Lines& part, const Lines& whole) {
    auto next = whole.begin();
    for (const std::string& line : part) {
        if (line == "same" || !holdsLine(whole, line)) continue;
        next = std::find(next, whole.end(), line);
        if (next == whole.end()) return false;
    }
    return true;
}

} // namespace

TEST(ParagraphMerge, losesNothingOfEitherSideInAnyOfManyRounds) {
    std::size_t merged = 0, conflicts = 0;
    TextMaker maker(20260301);
    for (int round = 0; round < 6000; ++round) {
        const Lines base = maker.make();
        const std::array<Lines, 2> sides = {maker.edited(base), maker.edited(base)};
        const std::string baseText = maker.join(base);
        const std::string ourText = maker.join(sides[0]);
        const std::string theirText = maker.join(sides[1]);
        SCOPED_TRACE(escapeControls(baseText + "|" + ourText + "|" + theirText));
        const ParagraphMerge result = mergeParagraphs(baseText, ourText, theirText);
        const Lines lines = linesOfText(result.text);
        for (const std::size_t side : {0, 1})
            for (const std::string& line : sides[side])
                ASSERT_TRUE(holdsLine(lines, line) ||
                            (holdsLine(base, line) && !holdsLine(sides[1 - side], line)))
                    << line << " is lost in " << result.text;
        ASSERT_EQ(mergeParagraphs(baseText, ourText, baseText).text, ourText);
        ASSERT_EQ(linesOfText(mergeParagraphs(baseText, baseText, theirText).text), sides[1]);
        const ParagraphMerge exchanged = mergeParagraphs(baseText, theirText, ourText);
        ASSERT_EQ(result.conflicts, exchanged.conflicts);
        ++(result.conflicts > 0 ? conflicts : merged);
        if (result.conflicts > 0) continue;
        ASSERT_EQ(lines, linesOfText(exchanged.text));
        for (const std::string& line : base)
            ASSERT_EQ(holdsLine(lines, line), holdsLine(sides[0], line) && holdsLine(sides[1], line))
                << line << " in " << result.text;
        ASSERT_TRUE(keepsOrder(sides[0], lines) && keepsOrder(sides[1], lines)) << result.text;
        // A pull that was killed in between merges once more.
        const ParagraphMerge again = mergeParagraphs(baseText, result.text, theirText);
        ASSERT_TRUE(again.conflicts > 0 || linesOfText(again.text) == lines) << again.text;
    }
    EXPECT_GT(merged, 2000u);
    EXPECT_GT(conflicts, 1000u);
}

TEST(ParagraphMerge, mergesEditsOfDifferentParagraphsWhereverTheyAre) {
    TextMaker maker(7);
    for (int round = 0; round < 500; ++round) {
        const Lines base = maker.make();
        Lines ours = base, theirs = base, expected = base;
        for (std::size_t row = 0; row < base.size(); ++row) {
            const std::string edit = "edit " + std::to_string(row);
            if (const auto whose = maker.below(3); whose == 0)
                expected[row] = ours[row] = edit;
            else if (whose == 1)
                expected[row] = theirs[row] = edit;
        }
        const auto joined = [](const Lines& lines) {
            std::string text;
            for (const std::string& line : lines)
                text += (text.empty() ? "" : "\n\n") + line;
            return text;
        };
        const ParagraphMerge result = mergeParagraphs(joined(base), joined(ours), joined(theirs));
        ASSERT_EQ(result.text, joined(expected));
        ASSERT_EQ(result.conflicts, 0u);
    }
}

TEST(ParagraphMerge, tellsWhatTwoSidesMakeTogether) {
    struct Case {
        std::string_view base, ours, theirs, text;
        std::size_t conflicts = 0;
    };
    const std::vector<Case> cases = {
        // Neighbours, and what is added beside an edit.
        {"A\nB", "A1\nB", "A\nB1", "A1\nB1"},
        {"A\n\nB\n\nC", "A\n\nX\n\nB\n\nC", "A\n\nB1\n\nC", "A\n\nX\n\nB1\n\nC"},
        {"A", "A\n\nX", "A1", "A1\n\nX"},
        {"A\nB\nC", "A\nC", "A\nB\nC1", "A\nC1"},
        // One side has all of the other's.
        {"A", "A\nX", "A\nX\nY", "A\nX\nY"},
        {"", "A", "A\nB", "A\nB"},
        // Line breaks: their form and those at the end are ours, moved paragraphs whose they are.
        {"A\nB\n", "A1\nB", "A\nB1\n", "A1\nB1"},
        {"A\nB", "A1\nB\n\n", "A\nB1", "A1\nB1\n\n"},
        {"A\r\nB", "A1\r\nB", "A\nX\nB", "A1\r\nX\r\nB"},
        {"A\nB", "A1\nB", "A\r\nX\r\nB", "A1\nX\nB"},
        {"A\n\nB\n\nC", "A\nB\n\nC", "A\n\nB\n\nC1", "A\nB\n\nC1"},
        {"A\n\nB", "A1\n\nB", "A\n \n\nB", "A1\n \n\nB"},
        {"A\xE2\x80\xA8\x42", "A1\xE2\x80\xA8\x42", "A\xE2\x80\xA8\x42\x31", "A1\xE2\x80\xA8\x42\x31"},
        // Conflicts.
        {"A\nB", "A1\nB", "A2\nB", "<\nA1\n=\nA2\n>\nB", 1},
        {"A\nB", "A1\nB", "B", "<\nA1\n=\n>\nB", 1}, // edited here, removed there
        {"A", "A\nX", "A\nY", "A\n<\nX\n=\nY\n>", 1},
        {"A\n\nB", "A\nB", "A\n\n\nB", "A\n<\nB\n=\nB\n>", 1},
        {"", "A", "B", "<\nA\n=\nB\n>", 1},
        {"A", "", "A1", "<\n=\nA1\n>", 1},
    };
    for (const auto& [base, ours, theirs, text, conflicts] : cases) {
        const ParagraphMerge result = mergeParagraphs(base, ours, theirs, {"<", "=", ">"});
        EXPECT_EQ(result.text, text) << escapeControls(base);
        EXPECT_EQ(result.conflicts, conflicts) << escapeControls(base);
    }
}
