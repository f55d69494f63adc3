// Any bytes as a list of testers: whoever is taken has a proper address, each once, and lines are in the
// file.
#include "Core/asc/services/TesterFile.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const TesterFile file = readTesterFile(text);
    std::set<std::string> known;
    for (const auto& tester : file.testers)
        if (!isEmailAddress(tester.email) || !known.insert(asciiLowercase(tester.email)).second) std::abort();
    const auto breaks = std::ranges::count_if(text, [](char one) { return one == '\n' || one == '\r'; });
    for (const auto& problems : {file.problems, file.repeated})
        for (const auto& problem : problems)
            if (problem.line < 1 || problem.line > breaks + 1 || problem.text.empty()) std::abort();
    return 0;
}
