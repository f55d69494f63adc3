// A page of 200 localizations with long texts into records, against only parsing and validating it.
#include "Benchmarks/Ratio.h"
#include "Core/asc/ASCClientProtocol.h"

#include <simdjson.h>

using namespace quorvel;

namespace {

std::string page() {
    ASCResponse<ASCList<AppStoreVersionLocalizationAttributes>> response;
    std::string text;
    while (text.size() < 4000)
        text += "Plan the week in the garden: \"sow\", water, harvest.\nÜberall — auch 庭 🌱. ";
    for (int i = 0; i < 200; ++i) {
        AppStoreVersionLocalizationAttributes attributes{.locale = "en-US"};
        attributes.description = attributes.whatsNew = text;
        attributes.keywords = std::string(100, 'k');
        attributes.promotionalText = text.substr(0, 150);
        attributes.supportUrl = "https://example.test/support";
        response.data.push_back({std::to_string(i), "appStoreVersionLocalizations", attributes});
    }
    return encodeJSON(response);
}

void decode(benchmark::State& state) {
    const std::string text = page();
    simdjson::dom::parser parser;
    benchmarks::reportRatio(
        state, 0,
        [&] {
            benchmark::DoNotOptimize(
                decodeJSON<ASCResponse<ASCList<AppStoreVersionLocalizationAttributes>>>(text));
        },
        [&] { benchmark::DoNotOptimize(parser.parse(text).error()); });
    state.counters["MB_per_s"] = 1e3 * static_cast<double>(text.size()) / 1e6 / state.counters["ours_ms"];
}

void decodeShort(benchmark::State& state) {
    ASCResponse<ASCList<ASCAppAttributes>> response;
    for (int i = 0; i < 200; ++i)
        response.data.push_back(
            {std::to_string(i), "apps", {"com.example.app", "Garden Week", "en-US", "SKU", false}});
    const std::string text = encodeJSON(response);
    simdjson::dom::parser parser;
    benchmarks::reportRatio(
        state, 0, [&] { benchmark::DoNotOptimize(decodeJSON<ASCResponse<ASCList<ASCAppAttributes>>>(text)); },
        [&] { benchmark::DoNotOptimize(parser.parse(text).error()); });
}

} // namespace

BENCHMARK(decode)->UseManualTime();
BENCHMARK(decodeShort)->UseManualTime();
BENCHMARK_MAIN();
