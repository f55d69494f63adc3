// What two sides made of a field's text, and what they make together.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Core/metadata/FinalLineBreak.h"
#include "Platform/text/ParagraphMerge.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

/// Who changed a text since both sides had the same one.
enum class ChangedBy {
    nobody,
    appStoreConnect,
    local,
    bothAlike,
    bothDifferently,
};

template <>
struct RawValues<ChangedBy> {
    static constexpr std::pair<ChangedBy, std::string_view> values[] = {
        {ChangedBy::nobody, "nobody"},
        {ChangedBy::appStoreConnect, "appStoreConnect"},
        {ChangedBy::local, "local"},
        {ChangedBy::bothAlike, "bothAlike"},
        {ChangedBy::bothDifferently, "bothDifferently"}};
};

/// The three texts of a field; an absent one is empty.
struct FieldSides {
    FieldType field = FieldType::name;
    std::string_view base;   // what App Store Connect held when it was pulled
    std::string_view ours;   // the local text
    std::string_view theirs; // what App Store Connect holds now
};

struct FieldMerge {
    ChangedBy changedBy = ChangedBy::nobody;
    std::optional<std::string> text; // of both, where they changed it differently and the two can be merged
};

/// Texts are merged paragraph by paragraph, keywords as a set of terms, the age rating answer by answer; a
/// field of one line is not merged. A merge that is above the field's limit is none.
[[nodiscard]] FieldMerge mergeField(const FieldSides& sides, FinalLineBreak rule);

/// Whether two texts differ at most by what a service may give back otherwise than it was sent: the form of
/// line breaks, and white space at the ends.
[[nodiscard]] bool saysTheSame(std::string_view left, std::string_view right);

/// Leaves of a secret's texts whether there is one (`setSecretText`), and another one than the first
/// (`changedSecretText`); texts that were hidden before stay as they are.
void hideSecrets(std::string& base, std::string& left, std::string& right);

/// What stands around a conflict in a text that is to be edited.
inline constexpr MergeMarkers conflictMarkers = {"<<<<<<< your text",
                                                 "=======", ">>>>>>> App Store Connect's text"};

} // namespace quorvel
