// What must survive a translation, and what a model's answer must not be.
#pragma once

#include "Core/ai/translation/Translation.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A text that a model gave, and what it was made from.
struct CheckedText {
    const TranslationItem& item;
    std::string_view sourceText;
    std::string_view text;
    std::size_t limit = 0; // characters
    const BrandContext& brand;
    std::optional<std::string> stopReason = {}; // of the answer; nothing when it is not known
};

/// A rule that a text breaks.
struct TextFinding {
    enum class Meaning {
        failure, // the text is of no use, or would mislead those who read it in the store
        remark,  // somebody who knows the language must judge
    };
    std::string_view rule; // such as "placeholder"
    Meaning meaning = Meaning::remark;
    int retries = 0;     // how often it is worth asking again
    std::string problem; // one sentence for users
    std::string note;    // what a further request is told; empty without retries
    bool operator==(const TextFinding&) const = default;
};

/// What is wrong with the text, in the order of the rules. Generated keywords keep nothing of their source,
/// so only the rules about answers as such hold for them.
[[nodiscard]] std::vector<TextFinding> findingsIn(const CheckedText& checked);

[[nodiscard]] bool hasFailure(const std::vector<TextFinding>& findings);

} // namespace quorvel
