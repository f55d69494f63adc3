// Lists of keywords as the App Store counts them best.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quorvel {

/// The terms of `keywords`, whatever separates them, joined by bare commas: each once, without quotation
/// marks, list marks, labels, counts, final stops and invisible characters. Terms that say no more than the
/// words of `indexed`, which the App Store knows the app by already, are left out, and so are sentences.
[[nodiscard]] std::string tidyKeywords(std::string_view keywords, std::span<const std::string> indexed = {});

/// Whether a sign in `line` separates keywords, of any script; line breaks aside.
[[nodiscard]] bool hasKeywordSeparator(std::string_view line);

/// `text` without the quotation marks or asterisks that all of it stands in.
[[nodiscard]] std::string_view withoutQuotes(std::string_view text);

} // namespace quorvel
