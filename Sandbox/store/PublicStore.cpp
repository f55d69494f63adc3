#include "Sandbox/store/PublicStore.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Markup.h"
#include "Platform/text/Text.h"
#include "Sandbox/store/StoreShelf.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace quorvel::sandbox {
namespace {

constexpr std::string_view rankedCountries =
    "us gb de fr es it jp kr cn br mx ca au in hr rs si ba mk me tr ru ua pl cz sk hu ro bg gr pt nl be at ch "
    "dk fi no se ie is lt lv ee ar cl co pe za eg sa ae il hk tw sg th vn ph id my nz";

std::string spaced(std::string_view separated, std::string_view prefix) {
    return fmt::format("{}{}", prefix, separated);
}

bool isCountry(std::string_view code) {
    return code.size() == 2 && spaced(rankedCountries, " ").find(spaced(code, " ")) != std::string::npos;
}

Response jsonAnswer(const JSONValue& value) {
    return {.contentType = "text/javascript; charset=utf-8", .body = "\n\n\n" + encodeJSON(value)};
}

std::size_t numberIn(std::string_view text, std::size_t fallback) {
    std::size_t number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size() ? number : fallback;
}

std::string artworkOf(const ShelvedApp& app, int size) {
    return fmt::format("https://pictures.example/{}/{}x{}bb.jpg", app.id, size, size);
}

JSONValue searchResult(const ShelvedApp& app, std::string_view country) {
    return JSONValue::object(
        {{"wrapperType", "software"},
         {"kind", "software"},
         {"trackId", static_cast<std::int64_t>(numberIn(app.id, 0))},
         {"trackName", app.name},
         {"trackCensoredName", app.name},
         {"bundleId", app.bundle},
         {"sellerName", app.seller},
         {"artistName", app.seller},
         {"primaryGenreName", genreName(app.genre)},
         {"genres", std::vector<std::string>{std::string(genreName(app.genre))}},
         {"averageUserRating", app.rating},
         {"userRatingCount", app.ratings},
         {"formattedPrice", app.price > 0 ? fmt::format("{:.2f} {}", app.price, app.currency) : "Free"},
         {"price", app.price},
         {"currency", app.currency},
         {"description", app.description},
         {"releaseNotes", "Small repairs."},
         {"releaseDate", "2021-04-06T07:00:00Z"},
         {"currentVersionReleaseDate", "2026-02-03T09:30:00Z"},
         {"version", app.version},
         {"artworkUrl60", artworkOf(app, 60)},
         {"artworkUrl100", artworkOf(app, 100)},
         {"artworkUrl512", artworkOf(app, 512)},
         {"screenshotUrls", std::vector<std::string>{artworkOf(app, 392), artworkOf(app, 696)}},
         {"ipadScreenshotUrls", JSONValue::array()},
         {"trackViewUrl", app.page(country)},
         {"languageCodesISO2A", std::vector<std::string>{"EN", "DE"}},
         {"minimumOsVersion", "16.0"},
         {"fileSizeBytes", std::to_string(40'000'000 + app.ratings * 17)},
         {"advisories", JSONValue::array()}});
}

Response searchAnswer(const std::vector<ShelvedApp>& apps, std::string_view country) {
    JSONValue::Array results;
    for (const ShelvedApp& app : apps)
        results.push_back(searchResult(app, country));
    const auto count = static_cast<std::int64_t>(results.size());
    return jsonAnswer(JSONValue::object({{"resultCount", count}, {"results", std::move(results)}}));
}

Response searchResults(const Shelf& shelf, const Request& request) {
    const std::size_t limit =
        std::clamp<std::size_t>(numberIn(request.parameter("limit").value_or(""), 50), 1, 200);
    auto apps = shelf.search(request.parameter("term").value_or(""));
    if (apps.size() > limit) apps.resize(limit);
    return searchAnswer(apps, shelf.country());
}

Response lookUp(const Shelf& shelf, const Request& request) {
    std::vector<ShelvedApp> found;
    const auto id = request.parameter("id"), bundle = request.parameter("bundleId");
    std::ranges::copy_if(shelf.apps(), std::back_inserter(found), [&](const ShelvedApp& app) {
        return id ? app.id == *id : bundle && app.bundle == *bundle;
    });
    return searchAnswer(found, shelf.country());
}

Response hintList(const Shelf& shelf, const Request& request) {
    std::string list;
    for (const std::string& term : shelf.suggestions(request.parameter("term").value_or("")))
        list += fmt::format("<dict><key>term</key><string>{}</string><key>priority</key>"
                            "<integer>{}</integer></dict>",
                            escapedMarkup(term), 9000 - list.size());
    return {.contentType = "text/xml; charset=utf-8",
            .body = fmt::format(
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple Computer//DTD "
                "PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">"
                "<dict><key>title</key><string>Suggestions</string><key>hints</key><array>{}</array>"
                "</dict></plist>\n",
                list)};
}

std::vector<ShelvedApp> firstOf(std::vector<ShelvedApp> apps, std::size_t count) {
    if (apps.size() > count) apps.resize(count);
    return apps;
}

// "/api/v2/us/apps/top-free/50/apps.json"
Response marketingFeed(const World& world, const std::vector<std::string>& pieces) {
    if (pieces.size() != 7 || pieces[0] != "api" || pieces[1] != "v2" || pieces[3] != "apps" ||
        pieces[6] != "apps.json" || !isCountry(pieces[2]))
        return storeFailure(404);
    const auto chart = chartNamed(pieces[4]);
    const std::size_t limit = numberIn(pieces[5], 0);
    if (!chart || limit == 0 || limit > 100) return storeFailure(404);
    const Shelf shelf(world, pieces[2]);
    JSONValue::Array rows;
    for (const ShelvedApp& app : firstOf(shelf.chart(*chart), limit))
        rows.push_back(JSONValue::object({{"artistName", app.seller},
                                          {"id", app.id},
                                          {"name", app.name},
                                          {"releaseDate", "2021-04-06"},
                                          {"kind", "apps"},
                                          {"artworkUrl100", artworkOf(app, 100)},
                                          {"genres", JSONValue::array()},
                                          {"url", app.page(shelf.country())}}));
    return {.contentType = "application/json",
            .body = encodeJSON(
                JSONValue::object({{"feed", JSONValue::object({{"title", "Top Apps"},
                                                               {"country", shelf.country()},
                                                               {"updated", formatISO8601(world.now())},
                                                               {"results", std::move(rows)}})}}))};
}

JSONValue labelOf(std::string_view text) {
    return JSONValue::object({{"label", text}});
}

JSONValue legacyEntry(const ShelvedApp& app, std::string_view country) {
    const auto attributes = [](JSONValue::Object members) {
        return JSONValue::object({{"attributes", JSONValue::object(std::move(members))}});
    };
    JSONValue::Array images;
    for (const int height : {53, 75, 100}) {
        JSONValue image = attributes({{"height", std::to_string(height)}});
        image.set("label", artworkOf(app, height));
        images.push_back(std::move(image));
    }
    JSONValue id = attributes({{"im:id", app.id}, {"im:bundleId", app.bundle}});
    id.set("label", app.page(country));
    JSONValue released = attributes({{"label", "April 6, 2021"}});
    released.set("label", "2021-04-06T00:00:00-07:00");
    return JSONValue::object(
        {{"im:name", labelOf(app.name)},
         {"im:image", std::move(images)},
         {"im:artist", labelOf(app.seller)},
         {"title", labelOf(fmt::format("{} - {}", app.name, app.seller))},
         {"link", attributes({{"rel", "alternate"}, {"type", "text/html"}, {"href", app.page(country)}})},
         {"id", std::move(id)},
         {"category", attributes({{"im:id", std::to_string(app.genre)},
                                  {"term", genreName(app.genre)},
                                  {"label", genreName(app.genre)}})},
         {"im:releaseDate", std::move(released)}});
}

// "/us/rss/topfreeapplications/limit=50/genre=6014/json"
Response legacyFeed(const World& world, const std::vector<std::string>& pieces) {
    constexpr std::string_view limitName = "limit=", genreKey = "genre=";
    if (pieces.size() != 6 || !isCountry(pieces[0]) || pieces[1] != "rss" || pieces[5] != "json" ||
        !pieces[3].starts_with(limitName) || !pieces[4].starts_with(genreKey))
        return storeFailure(404);
    const auto chart = chartNamed(pieces[2]);
    const std::size_t limit = numberIn(std::string_view(pieces[3]).substr(limitName.size()), 0);
    const std::size_t genre = numberIn(std::string_view(pieces[4]).substr(genreKey.size()), 0);
    if (!chart || limit == 0) return storeFailure(404);
    const Shelf shelf(world, pieces[0]);
    JSONValue::Array entries;
    for (const ShelvedApp& app :
         firstOf(shelf.chart(*chart, static_cast<int>(genre)), std::min<std::size_t>(limit, 100)))
        entries.push_back(legacyEntry(app, shelf.country()));
    JSONValue feed = JSONValue::object({{"updated", labelOf(formatISO8601(world.now()))},
                                        {"title", labelOf("iTunes Store: Top Applications")}});
    // As the service does: none for an empty chart, no list around a single entry.
    if (entries.size() == 1)
        feed.set("entry", std::move(entries.front()));
    else if (!entries.empty())
        feed.set("entry", std::move(entries));
    return {.contentType = "text/javascript; charset=UTF-8",
            .body = encodeJSON(JSONValue::object({{"feed", std::move(feed)}}))};
}

// "/us/app/id6700000101"
Response productPage(const World& world, const std::vector<std::string>& pieces) {
    if (pieces.size() != 3 || !isCountry(pieces[0]) || pieces[1] != "app" || !pieces[2].starts_with("id"))
        return storeFailure(404);
    const Shelf shelf(world, pieces[0]);
    const auto found = std::ranges::find(shelf.apps(), pieces[2].substr(2), &ShelvedApp::id);
    if (found == shelf.apps().end()) return storeFailure(404);
    const ShelvedApp& app = *found;
    JSONValue data = JSONValue::object({{"@context", "https://schema.org"},
                                        {"@type", "SoftwareApplication"},
                                        {"name", app.name},
                                        {"applicationCategory", escapedMarkup(genreName(app.genre))},
                                        {"operatingSystem", "Requires iOS 16.0 or later."}});
    if (app.ratings > 0)
        data.set("aggregateRating", JSONValue::object({{"@type", "AggregateRating"},
                                                       {"ratingValue", app.rating},
                                                       {"reviewCount", app.ratings}}));
    return {.contentType = "text/html; charset=utf-8",
            .body = fmt::format("<!DOCTYPE html>\n<html><head><title>{0}</title>\n<script "
                                "id=\"software-application\" type=\"application/ld+json\">{1}</script>\n"
                                "</head><body><h1>{0}</h1><p class=\"subtitle\">{2}</p></body></html>\n",
                                escapedMarkup(app.name), encodeJSON(data), escapedMarkup(app.subtitle))};
}

std::vector<std::string> piecesOf(std::string_view path) {
    std::vector<std::string> pieces;
    while (!path.empty()) {
        path.remove_prefix(1); // the slash
        const std::size_t end = std::min(path.find('/'), path.size());
        pieces.emplace_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return pieces;
}

} // namespace

Response storeFailure(int status) {
    return {.status = status, .contentType = "text/plain", .body = "The store does not answer this."};
}

bool PublicStore::takeSearch(double now) {
    if (searchesPerMinute_ <= 0) return true;
    while (!searches_.empty() && searches_.front() <= now - 60)
        searches_.pop_front();
    if (searches_.size() >= static_cast<std::size_t>(searchesPerMinute_)) return false;
    searches_.push_back(now);
    return true;
}

Response PublicStore::handle(const World& world, const Request& request) {
    const std::string_view path = request.path;
    const auto below = [&](std::string_view prefix) {
        return path.starts_with(prefix) && path.substr(prefix.size()).starts_with('/')
                   ? std::optional(path.substr(prefix.size()))
                   : std::nullopt;
    };
    if (request.method != "GET") return storeFailure(405);
    if (const auto rest = below(storePrefix::marketing)) return marketingFeed(world, piecesOf(*rest));
    if (const auto rest = below(storePrefix::legacy)) return legacyFeed(world, piecesOf(*rest));
    if (const auto rest = below(storePrefix::site)) return productPage(world, piecesOf(*rest));
    const std::string country = asciiLowercase(request.parameter("country").value_or("us"));
    if (const auto rest = below(storePrefix::hints)) {
        if (*rest != "/WebObjects/MZSearchHints.woa/wa/hints" || !request.header("X-Apple-Store-Front"))
            return storeFailure(404);
        return hintList(Shelf(world, country), request);
    }
    const auto rest = below(storePrefix::search);
    if (rest != "/search" && rest != "/lookup") return storeFailure(404);
    if (!takeSearch(secondsSince1970(world.now()))) return storeFailure(403);
    if (!isCountry(country))
        return {.status = 400,
                .contentType = "application/json",
                .body = R"({"errorMessage":"Invalid value(s) for key(s): [country]"})"};
    const Shelf shelf(world, country);
    return rest == "/search" ? searchResults(shelf, request) : lookUp(shelf, request);
}

} // namespace quorvel::sandbox
