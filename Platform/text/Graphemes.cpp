#include "Platform/text/GraphemeBreaks.h"
#include "Platform/text/Text.h"
#include "Platform/text/UTF8.h"

#include <algorithm>
#include <cstring>

namespace quorvel {

namespace {

// The length of the run of ASCII at the start of `text`.
std::size_t asciiRun(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::size_t at = 0;
    for (; at + 32 <= text.size(); at += 32) {
        std::uint64_t words[4];
        std::memcpy(words, text.data() + at, sizeof words);
        if (((words[0] | words[1] | words[2] | words[3]) & highBits) != 0) break;
    }
    while (at < text.size() && static_cast<std::uint8_t>(text[at]) < 0x80)
        ++at;
    return at;
}

// In ASCII only a carriage return and its line feed share a cluster.
std::size_t asciiCount(std::string_view text) {
    std::size_t pairs = 0;
    for (std::size_t at = 1; at < text.size(); ++at)
        pairs += static_cast<std::size_t>((text[at - 1] == '\r') & (text[at] == '\n'));
    return text.size() - pairs;
}

} // namespace

std::size_t graphemeCount(std::string_view text) {
    GraphemeBreaks breaks;
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size();) {
        // The last character of a run may be joined by what follows, the first by what came before.
        if (const std::size_t run = asciiRun(text.substr(at)); run > 2) {
            count += breaks.beginsCluster(graphemeClass(static_cast<std::uint8_t>(text[at]))) ? 1 : 0;
            count += asciiCount(text.substr(at, run)) - 1;
            static_cast<void>(
                breaks.beginsCluster(graphemeClass(static_cast<std::uint8_t>(text[at + run - 2]))));
            static_cast<void>(
                breaks.beginsCluster(graphemeClass(static_cast<std::uint8_t>(text[at + run - 1]))));
            at += run;
            continue;
        }
        const CodePoint next = decodeUTF8(text, at);
        count += breaks.beginsCluster(graphemeClass(next.value)) ? 1 : 0;
        at += next.size;
    }
    return count;
}

std::string_view graphemePrefix(std::string_view text, std::size_t count) {
    if (text.size() <= count) return text;
    GraphemeBreaks breaks;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        if (breaks.beginsCluster(graphemeClass(next.value)) && count-- == 0) return text.substr(0, at);
        at += next.size;
    }
    return text;
}

std::vector<std::size_t> graphemeBoundaries(std::string_view text) {
    std::vector<std::size_t> boundaries;
    GraphemeBreaks breaks;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint next = decodeUTF8(text, at);
        if (breaks.beginsCluster(graphemeClass(next.value))) boundaries.push_back(at);
        at += next.size;
    }
    boundaries.push_back(text.size());
    return boundaries;
}

} // namespace quorvel
