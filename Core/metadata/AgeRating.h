// The answers of an age rating declaration as a file: one JSON object with the names of App Store Connect.
#pragma once

#include "Platform/json/JSONValue.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The text of a file: the answers sorted by name and pretty-printed, without those that have none.
[[nodiscard]] std::string ageRatingText(const JSONValue& answers);

/// What the file says together with the copy of the last pull: its answers, and those of the copy that it
/// does not name. An answer that is null is taken away. A text that is no JSON object stays as it is.
[[nodiscard]] std::string ageRatingOver(std::string_view copy, std::string_view text);

/// The answers that make `from` into `to`; null for one that goes. None where the texts mean the same. Both
/// are texts of `ageRatingText` or blank; throws `JSONError` for others.
[[nodiscard]] JSONValue ageRatingChanges(std::string_view from, std::string_view to);

/// The answers of `ours` with those that `theirs` changed since `base`; an answer that `ours` does not name
/// stays out of it. Nothing where both changed an answer differently, or a text is no object.
[[nodiscard]] std::optional<std::string> mergeAgeRatings(std::string_view base, std::string_view ours,
                                                         std::string_view theirs);

/// A file in which the answers of a push are taken back.
struct AgeRatingBack {
    std::string text;
    bool replacesEdit = false; // of an answer newer than the push, or of what is no object
};
/// `local` with the answers that made `previous` into `sent` as they were before: null for one that was
/// added. All other answers stay. Nothing where the file says so already, by itself or over the `copy` of the
/// last pull. `previous` and `sent` are as for `ageRatingChanges`.
[[nodiscard]] std::optional<AgeRatingBack> ageRatingBack(std::string_view local, std::string_view copy,
                                                         std::string_view previous, std::string_view sent);

/// What is wrong with the text, in a sentence without the file's name: no JSON object, a name that is none of
/// App Store Connect's and not in the copy either, or a value that the answer does not take.
[[nodiscard]] std::optional<std::string> ageRatingFault(std::string_view text, std::string_view copy = {});

} // namespace quorvel
