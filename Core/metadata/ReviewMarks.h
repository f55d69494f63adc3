// Remembers which texts of a tree were generated and not read since.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Why somebody should read a text before it is pushed.
enum class ReviewMark {
    generated, // by the AI service
    cut,       // the same, and it was cut to its limit
};

template <>
struct RawValues<ReviewMark> {
    static constexpr std::pair<ReviewMark, std::string_view> values[] = {{ReviewMark::generated, "generated"},
                                                                         {ReviewMark::cut, "cut"}};
};

/// "generated, unread" and the like.
[[nodiscard]] std::string_view shortTextOf(ReviewMark mark);

/// A text that was generated and neither edited nor accepted since.
struct UnreadText {
    std::string locale;
    FieldType field = FieldType::name;
    ReviewMark mark = ReviewMark::generated;
    QUORVEL_RECORD(UnreadText, locale, field, mark)

    [[nodiscard]] FieldKey key() const { return {locale, field}; }
    bool operator==(const UnreadText&) const = default;
};

/// The content of <root>/.brevant/review.json: locale → field → the mark and the digest of the text that it
/// is for. A mark holds as long as the text is the same, so an edit clears it by itself.
class ReviewMarks {
  public:
    /// Those of the tree. A file that is damaged counts as none, with a warning in the log. Throws
    /// `FileError` where it cannot be read.
    [[nodiscard]] static ReviewMarks load(const MetadataFolder& folder);
    /// Replaces the file in one step. Throws `FileError`.
    void save(const MetadataFolder& folder) const;

    void set(std::string_view locale, FieldType field, std::string_view text, ReviewMark mark);
    void clear(const FieldKey& key);

    [[nodiscard]] std::optional<ReviewMark> find(std::string_view locale, FieldType field,
                                                 std::string_view text) const;
    /// Those of `texts` that a mark holds for, in locale order and then in field order.
    [[nodiscard]] std::vector<UnreadText> unreadIn(const LocaleTexts& texts) const;

  private:
    struct Entry {
        std::string text; // 64 hexadecimal digits
        ReviewMark mark = ReviewMark::generated;
        QUORVEL_RECORD(Entry, text, mark)
    };
    std::map<std::string, std::map<std::string, Entry>> entries_;
};

} // namespace quorvel
