#include "Platform/text/Text.h"
#include "Platform/text/UTF8.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

#include <functional>
#include <memory>
#include <stdexcept>

namespace quorvel {

namespace {

// Making an iterator takes much longer than using it on a short text, and one serves one thread.
icu::BreakIterator& wordIterator() {
    thread_local const std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) throw std::runtime_error("The word rules of the text library are missing.");
        return made;
    }();
    return *iterator;
}

} // namespace

std::vector<std::string_view> wordSegments(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &status);
    const std::unique_ptr<UText, decltype(&utext_close)> closing(&source, &utext_close);
    icu::BreakIterator& iterator = wordIterator();
    iterator.setText(&source, status);
    if (U_FAILURE(status)) throw std::runtime_error("The text cannot be cut into words.");

    std::vector<std::string_view> segments;
    auto start = static_cast<std::size_t>(iterator.first());
    for (auto end = iterator.next(); end != icu::BreakIterator::DONE; end = iterator.next()) {
        const auto segment = text.substr(start, static_cast<std::size_t>(end) - start);
        start = static_cast<std::size_t>(end);
        // The rules cut between blanks and line breaks; here they are one run.
        if (!segments.empty() && isBlank(segment) && isBlank(segments.back()))
            segments.back() = {segments.back().data(), segments.back().size() + segment.size()};
        else
            segments.push_back(segment);
    }
    return segments;
}

std::vector<std::string_view> words(std::string_view text) {
    const auto isAlphanumeric = [](std::string_view segment) {
        for (std::size_t at = 0; at < segment.size();) {
            const CodePoint character = decodeUTF8(segment, at);
            if (u_isalnum(static_cast<UChar32>(character.value))) return true;
            at += character.size;
        }
        return false;
    };
    std::vector<std::string_view> segments = wordSegments(text);
    std::erase_if(segments, std::not_fn(isAlphanumeric));
    return segments;
}

} // namespace quorvel
