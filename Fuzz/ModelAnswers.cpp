// Any bytes as a model's answer: what is taken out of it has no control characters, keywords have no blanks
// beside their commas, what is cut keeps to its limit, and a text has lost nothing of itself.
#include "Core/ai/JSONAnswer.h"
#include "Core/ai/translation/KeywordList.h"
#include "Core/ai/translation/ReplyText.h"
#include "Core/ai/translation/TextTrimming.h"
#include "Core/ai/translation/TranslationChecks.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    constexpr std::size_t limit = 30;
    const std::string answer(reinterpret_cast<const char*>(data), size);
    const auto isControl = [](char character) {
        return static_cast<unsigned char>(character) < 0x20 && character != '\n' && character != '\t';
    };
    for (const FieldType field : storeTexts) {
        const std::string text = translationIn(answer, field, "A source text");
        if (std::ranges::any_of(text, isControl)) std::abort();
        if (graphemeCount(trimToBoundary(text, limit)) > limit) std::abort();
        if (const auto terms = wholeTermsWithin(text, limit); terms && graphemeCount(*terms) > limit)
            std::abort();
        for (const TextFinding& finding :
             findingsIn({{"en-US", "de-DE", field}, text, text, limit, {.protectedTerms = {"source"}}}))
            if (finding.rule != "refusal" && finding.rule != "echo") std::abort();
        if (field == FieldType::keywords && tidyKeywords(text) != text) std::abort();
    }
    (void)objectIn(answer);
    return 0;
}
