#include "Core/ai/translation/OverLimitTexts.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

std::string problemOf(const CutText& cut) {
    const bool isKeywords = cut.field == FieldType::keywords;
    const std::string over = fmt::format("over the {}-char limit", cut.limit);
    switch (cut.from) {
    case CutText::From::retries:
        return isKeywords ? fmt::format("Keywords are {} even after retry.", over)
                          : fmt::format("Translation is {} even after retries.", over);
    case CutText::From::firstAnswer:
        return isKeywords ? fmt::format("Keywords are {}.", over) : fmt::format("Translation is {}.", over);
    case CutText::From::cache:
        break;
    }
    return isKeywords ? fmt::format("Cached keywords are {}.", over)
                      : fmt::format("Cached translation is {}.", over);
}

} // namespace

std::string warningFor(const CutText& cut) {
    return fmt::format("{} Cut from {} to {} chars {} — review before pushing.", problemOf(cut), cut.before,
                       cut.after,
                       cut.at == CutText::At::wordBoundary ? "at a word boundary" : "inside a word");
}

} // namespace quorvel
