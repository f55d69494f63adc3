#include "Platform/text/Text.h"

#include <unicode/coll.h>
#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace quorvel {

namespace {

// A collator takes long to make, and serves all threads once it is made.
const icu::Collator& collator() {
    static const std::unique_ptr<const icu::Collator> made = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Collator> fresh(icu::Collator::createInstance(icu::Locale::getRoot(), status));
        if (U_SUCCESS(status)) fresh->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
        if (U_FAILURE(status)) throw std::runtime_error("The sorting rules of the text library are missing.");
        return fresh;
    }();
    return *made;
}

std::unique_ptr<icu::Transliterator> makeTransliterator() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Transliterator> made(
        icu::Transliterator::createInstance("Any-Latin; Latin-ASCII", UTRANS_FORWARD, status));
    if (U_FAILURE(status)) throw std::runtime_error("The transliteration of the text library is missing.");
    return made;
}

} // namespace

bool nameLess(std::string_view left, std::string_view right) {
    UErrorCode status = U_ZERO_ERROR;
    const auto order = collator().compareUTF8(left, right, status);
    return order == UCOL_EQUAL ? left < right : order == UCOL_LESS;
}

std::string transliterateToASCII(std::string_view text) {
    if (std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; }))
        return std::string(text);
    auto written = icu::UnicodeString::fromUTF8(text);
    makeTransliterator()->transliterate(written);
    std::string result;
    written.toUTF8String(result);
    return result;
}

} // namespace quorvel
