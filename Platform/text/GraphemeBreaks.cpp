#include "Platform/text/GraphemeBreaks.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace quorvel {

namespace {

// The scripts whose conjuncts count as one character.
bool hasConjuncts(UChar32 character) {
    UErrorCode status = U_ZERO_ERROR;
    switch (uscript_getScript(character, &status)) {
    case USCRIPT_BENGALI:
    case USCRIPT_DEVANAGARI:
    case USCRIPT_GUJARATI:
    case USCRIPT_MALAYALAM:
    case USCRIPT_ORIYA:
    case USCRIPT_TELUGU:
        return true;
    default:
        return false;
    }
}

GraphemeClass classOfExtend(UChar32 character) {
    if (u_getIntPropertyValue(character, UCHAR_INDIC_SYLLABIC_CATEGORY) == U_INSC_VIRAMA &&
        hasConjuncts(character))
        return GraphemeClass::virama;
    return u_getCombiningClass(character) != 0 ? GraphemeClass::extendMark : GraphemeClass::extend;
}

GraphemeClass classOfOther(UChar32 character) {
    if (u_hasBinaryProperty(character, UCHAR_EXTENDED_PICTOGRAPHIC)) return GraphemeClass::pictographic;
    if (u_getIntPropertyValue(character, UCHAR_INDIC_SYLLABIC_CATEGORY) == U_INSC_CONSONANT &&
        hasConjuncts(character))
        return GraphemeClass::consonant;
    return GraphemeClass::plain;
}

bool isControl(GraphemeClass value) {
    return value == GraphemeClass::carriageReturn || value == GraphemeClass::lineFeed ||
           value == GraphemeClass::control;
}

// Hangul syllables.
bool isSyllable(GraphemeClass before, GraphemeClass next) {
    using enum GraphemeClass;
    if (before == leading)
        return next == leading || next == vowel || next == leadingVowel || next == leadingVowelTrailing;
    if (before == leadingVowel || before == vowel) return next == vowel || next == trailing;
    if (before == leadingVowelTrailing || before == trailing) return next == trailing;
    return false;
}

} // namespace

GraphemeClass lookUpGraphemeClass(char32_t codePoint) {
    const auto character = static_cast<UChar32>(codePoint);
    switch (u_getIntPropertyValue(character, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_CR:
        return GraphemeClass::carriageReturn;
    case U_GCB_LF:
        return GraphemeClass::lineFeed;
    case U_GCB_CONTROL:
        return GraphemeClass::control;
    case U_GCB_EXTEND:
        return classOfExtend(character);
    case U_GCB_ZWJ:
        return GraphemeClass::joiner;
    case U_GCB_REGIONAL_INDICATOR:
        return GraphemeClass::regional;
    case U_GCB_PREPEND:
        return GraphemeClass::prepend;
    case U_GCB_SPACING_MARK:
        return GraphemeClass::spacingMark;
    case U_GCB_L:
        return GraphemeClass::leading;
    case U_GCB_V:
        return GraphemeClass::vowel;
    case U_GCB_T:
        return GraphemeClass::trailing;
    case U_GCB_LV:
        return GraphemeClass::leadingVowel;
    case U_GCB_LVT:
        return GraphemeClass::leadingVowelTrailing;
    default:
        return classOfOther(character);
    }
}

bool GraphemeBreaks::joins(GraphemeClass next) const {
    using enum GraphemeClass;
    if (previous_ == carriageReturn) return next == lineFeed;
    if (isControl(previous_) || isControl(next)) return false;
    switch (next) {
    case extend:
    case extendMark:
    case virama:
    case joiner:
    case spacingMark:
        return true;
    default:
        break;
    }
    return previous_ == prepend || isSyllable(previous_, next) ||
           (next == pictographic && pictograph_ == Pictograph::joined) ||
           (next == consonant && conjunct_ == Conjunct::linked) || (next == regional && oddRegionals_);
}

void GraphemeBreaks::remember(GraphemeClass next) {
    using enum GraphemeClass;
    const bool isExtend = next == extend || next == extendMark || next == virama;
    if (next == pictographic)
        pictograph_ = Pictograph::open;
    else if (next == joiner && pictograph_ == Pictograph::open)
        pictograph_ = Pictograph::joined;
    else if (!isExtend || pictograph_ == Pictograph::joined)
        pictograph_ = Pictograph::none;

    if (next == consonant)
        conjunct_ = Conjunct::consonant;
    else if (next == virama && conjunct_ != Conjunct::none)
        conjunct_ = Conjunct::linked;
    else if (next != extendMark && next != virama && next != joiner)
        conjunct_ = Conjunct::none;

    oddRegionals_ = next == regional && !oddRegionals_;
    previous_ = next;
}

} // namespace quorvel
