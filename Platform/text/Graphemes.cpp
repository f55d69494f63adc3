#include "Platform/text/GraphemeBreaks.h"
#include "Platform/text/Text.h"
#include "Platform/text/UTF8.h"

#include <algorithm>

namespace quorvel {

namespace {

bool isSimpleASCII(char character) {
    return static_cast<std::uint8_t>(character) < 0x80 && character != '\r';
}

// The end of the run of ASCII without carriage returns at `at`.
std::size_t endOfSimpleASCII(std::string_view text, std::size_t at) {
    constexpr std::size_t step = 32;
    for (; text.size() - at >= step; at += step) {
        std::uint8_t other = 0;
        for (std::size_t index = 0; index < step; ++index) {
            const auto byte = static_cast<std::uint8_t>(text[at + index]);
            other |= static_cast<std::uint8_t>((byte & 0x80) | (byte == '\r'));
        }
        if (other != 0) break;
    }
    while (at < text.size() && isSimpleASCII(text[at]))
        ++at;
    return at;
}

// Characters that each begin a cluster whatever stands beside them in the run.
struct SimpleRun {
    std::size_t end;
    std::size_t count = 0;
    GraphemeClass last = GraphemeClass::unknown;
};

SimpleRun simpleRunAt(std::string_view text, std::size_t at) {
    SimpleRun run{at};
    while (run.end < text.size()) {
        if (isSimpleASCII(text[run.end])) {
            const std::size_t end = endOfSimpleASCII(text, run.end);
            run = {end, run.count + end - run.end, graphemeClass(static_cast<std::uint8_t>(text[end - 1]))};
            continue;
        }
        const CodePoint next = decodeUTF8(text, run.end);
        if (graphemeClass(next.value) != GraphemeClass::plain) break;
        run = {run.end + next.size, run.count + 1, GraphemeClass::plain};
    }
    return run;
}

} // namespace

std::size_t graphemeCount(std::string_view text) {
    GraphemeBreaks breaks;
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (breaks.isBeforeSimpleRun()) {
            const SimpleRun run = simpleRunAt(text, at);
            if (run.count > 0) breaks.passSimpleRun(run.last);
            count += run.count;
            at = run.end;
            if (at == text.size()) break;
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
