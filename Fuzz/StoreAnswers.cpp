// Any bytes as an answer of the public store: values or an error that says something. The first byte chooses
// the reader.
#include "Core/aso/ASOError.h"
#include "Core/aso/AppStoreHTMLScraper.h"
#include "Core/aso/AppleChartsClient.h"
#include "Core/aso/AppleSearchHintsClient.h"
#include "Core/aso/ITunesSearchClient.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace quorvel;

void require(bool holds) {
    if (!holds) std::abort();
}

void requireRanks(const std::vector<ChartApp>& chart) {
    for (std::size_t i = 0; i < chart.size(); ++i)
        require(chart[i].rank == static_cast<std::int64_t>(i + 1) && isValidUTF8(chart[i].name));
    (void)encodeJSON(chart);
}

void readAnswer(char reader, std::string_view text) {
    switch (reader) {
    case 'h':
        for (const std::string& hint : readHints(text))
            require(isValidUTF8(hint));
        return;
    case 'c':
        return requireRanks(readChartFeed(text));
    case 'l':
        return requireRanks(readLegacyChart(text));
    case 's': {
        const auto response = readSearchResponse(text);
        (void)encodeJSON(response);
        return;
    }
    default: {
        const auto page = readProductPage(text, "1");
        require(page.appStoreId == "1" && isValidUTF8(page.subtitle.value_or("")) &&
                std::isfinite(page.aggregateRating.value_or(0)) &&
                !(page.subtitle && isBlank(*page.subtitle)));
        (void)encodeJSON(page);
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        readAnswer(text.front(), text.substr(1));
    } catch (const ASOError& error) {
        require(error.as<ASOError::ParseFailure>() != nullptr);
        require(std::ranges::none_of(error.description(),
                                     [](char c) { return static_cast<unsigned char>(c) < 0x20; }));
    }
    return 0;
}
