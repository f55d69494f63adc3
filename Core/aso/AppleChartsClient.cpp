#include "Core/aso/AppleChartsClient.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/StoreRequest.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

struct FeedNames {
    std::string_view current;
    std::string_view legacy;
};

FeedNames feedNames(ChartKind kind) {
    switch (kind) {
    case ChartKind::topPaid:
        return {"top-paid", "toppaidapplications"};
    case ChartKind::topGrossing:
        return {"top-grossing", "topgrossingapplications"};
    case ChartKind::topFree:
        break;
    }
    return {"top-free", "topfreeapplications"};
}

std::optional<std::string> textIn(const JSONValue* value) {
    if (value && value->text()) return *value->text();
    if (value && value->integer()) return std::to_string(*value->integer());
    return std::nullopt;
}

std::string requiredText(const JSONValue* value, std::string_view row, std::string_view member) {
    auto text = textIn(value);
    if (!text) throw JSONError(fmt::format("{}.{}", row, member), value ? "expected a string" : "missing");
    return std::move(*text);
}

// The values of a list, which the legacy feeds leave out around a single one.
JSONValue::Array listOf(const JSONValue* value) {
    if (!value || value->isNull()) return {};
    return value->items() ? *value->items() : JSONValue::Array{*value};
}

std::optional<std::string> pictureOf(const JSONValue& entry) {
    std::optional<std::string> last;
    for (const JSONValue& image : listOf(entry.find("im:image"))) {
        const auto address = textIn(image.find("label"));
        if (!address) continue;
        last = address;
        if (textIn(image.at("attributes", "height")) == "100") break;
    }
    return last;
}

std::optional<std::string> pageOf(const JSONValue& entry) {
    for (const JSONValue& link : listOf(entry.find("link")))
        if (textIn(link.at("attributes", "rel")) == "alternate") return textIn(link.at("attributes", "href"));
    return textIn(entry.at("id", "label"));
}

ChartApp legacyRow(const JSONValue& entry, std::size_t index) {
    const std::string row = fmt::format("$.feed.entry[{}]", index);
    ChartApp app{.id = requiredText(entry.at("id", "attributes", "im:id"), row, "id.attributes.im:id"),
                 .name = requiredText(entry.at("im:name", "label"), row, "im:name.label"),
                 .artistName = textIn(entry.at("im:artist", "label")).value_or(""),
                 .releaseDate = textIn(entry.at("im:releaseDate", "attributes", "label")),
                 .url = pageOf(entry),
                 .artworkUrl100 = pictureOf(entry),
                 .rank = static_cast<std::int64_t>(index + 1)};
    if (const auto genre = textIn(entry.at("category", "attributes", "im:id")))
        app.genres.push_back(
            {.genreId = *genre, .name = textIn(entry.at("category", "attributes", "label")).value_or("")});
    return app;
}

ChartApp currentRow(const JSONValue& result, std::size_t index) {
    const std::string row = fmt::format("$.feed.results[{}]", index);
    ChartApp app{.id = requiredText(result.find("id"), row, "id"),
                 .name = requiredText(result.find("name"), row, "name"),
                 .artistName = textIn(result.find("artistName")).value_or(""),
                 .releaseDate = textIn(result.find("releaseDate")),
                 .url = textIn(result.find("url")),
                 .artworkUrl100 = textIn(result.find("artworkUrl100")),
                 .rank = static_cast<std::int64_t>(index + 1)};
    for (const JSONValue& genre : listOf(result.find("genres")))
        if (const auto number = textIn(genre.find("genreId")))
            app.genres.push_back({.genreId = *number,
                                  .name = textIn(genre.find("name")).value_or(""),
                                  .url = textIn(genre.find("url"))});
    return app;
}

template <typename Row>
std::vector<ChartApp> ranked(const JSONValue::Array& rows, Row&& readRow) {
    std::vector<ChartApp> apps;
    for (std::size_t i = 0; i < rows.size(); ++i)
        apps.push_back(readRow(rows[i], i));
    return apps;
}

JSONValue feedOf(std::string_view json) {
    auto document = decodeJSON<JSONValue>(json);
    JSONValue* feed = document.find("feed");
    if (!feed || !feed->members()) throw JSONError("$.feed", feed ? "expected an object" : "missing");
    return std::move(*feed);
}

} // namespace

std::vector<ChartApp> readChartFeed(std::string_view json) {
    try {
        const JSONValue feed = feedOf(json);
        const JSONValue* results = feed.find("results");
        if (!results || !results->items())
            throw JSONError("$.feed.results", results ? "expected an array" : "missing");
        return ranked(*results->items(), currentRow);
    } catch (const JSONError& error) {
        throw ASOError(ASOError::ParseFailure{escapeControls(error.what())});
    }
}

std::vector<ChartApp> readLegacyChart(std::string_view json) {
    try {
        const JSONValue feed = feedOf(json);
        const JSONValue* entry = feed.find("entry");
        // An empty chart is a feed without the member.
        if (!entry && !feed.find("updated")) throw JSONError("$.feed.entry", "missing");
        if (entry && !entry->items() && !entry->members())
            throw JSONError("$.feed.entry", "expected an array");
        return ranked(listOf(entry), legacyRow);
    } catch (const JSONError& error) {
        throw ASOError(
            ASOError::ParseFailure{std::string("Legacy chart decode: ") + escapeControls(error.what())});
    }
}

AppleChartsClient::AppleChartsClient(std::shared_ptr<HTTPClient> http, std::string marketingURL,
                                     std::string legacyURL)
    : http_(std::move(http)), marketingURL_(std::move(marketingURL)), legacyURL_(std::move(legacyURL)) {}

std::vector<ChartApp> AppleChartsClient::topApps(ChartKind kind, std::string_view country, int limit,
                                                 std::optional<AppStoreGenre> genre) const {
    const std::string code = storeCountry(country);
    const int count = std::clamp(limit, 1, mostApps);
    const auto fetch = [&](const std::string& base, std::string path) {
        return fetchFromStore(*http_, {.baseURL = base,
                                       .path = std::move(path),
                                       .headers = {{"Accept", "application/json"}},
                                       .maximumBodyBytes = 8ULL << 20});
    };
    if (genre)
        return readLegacyChart(
            fetch(legacyURL_, fmt::format("/{}/rss/{}/limit={}/genre={}/json", code, feedNames(kind).legacy,
                                          count, genreId(*genre))));
    return readChartFeed(fetch(
        marketingURL_, fmt::format("/api/v2/{}/apps/{}/{}/apps.json", code, feedNames(kind).current, count)));
}

} // namespace quorvel
