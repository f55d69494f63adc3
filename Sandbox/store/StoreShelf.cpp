#include "Sandbox/store/StoreShelf.h"

#include "Platform/text/Text.h"
#include "Sandbox/store/StoreApps.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <map>

namespace quorvel::sandbox {
namespace {

struct StoreGenre {
    int id;
    std::string_view name;
    std::string_view category; // of App Store Connect
};
constexpr StoreGenre storeGenres[] = {
    {6000, "Business", "BUSINESS"},
    {6001, "Weather", "WEATHER"},
    {6002, "Utilities", "UTILITIES"},
    {6003, "Travel", "TRAVEL"},
    {6004, "Sports", "SPORTS"},
    {6005, "Social Networking", "SOCIAL_NETWORKING"},
    {6006, "Reference", "REFERENCE"},
    {6007, "Productivity", "PRODUCTIVITY"},
    {6008, "Photo & Video", "PHOTO_AND_VIDEO"},
    {6009, "News", "NEWS"},
    {6010, "Navigation", "NAVIGATION"},
    {6011, "Music", "MUSIC"},
    {6012, "Lifestyle", "LIFESTYLE"},
    {6013, "Health & Fitness", "HEALTH_AND_FITNESS"},
    {6014, "Games", "GAMES"},
    {6015, "Finance", "FINANCE"},
    {6016, "Entertainment", "ENTERTAINMENT"},
    {6017, "Education", "EDUCATION"},
    {6018, "Books", "BOOKS"},
    {6020, "Medical", "MEDICAL"},
    {6023, "Food & Drink", "FOOD_AND_DRINK"},
    {6024, "Shopping", "SHOPPING"},
    {6026, "Developer Tools", "DEVELOPER_TOOLS"},
    {6027, "Graphics & Design", "GRAPHICS_AND_DESIGN"},
};

constexpr int allGenres = 36;

// The languages that a country's store looks for, the first that an app has wins.
std::vector<std::string_view> localesOf(std::string_view country) {
    static const std::map<std::string_view, std::vector<std::string_view>> known = {
        {"gb", {"en-GB"}},
        {"ie", {"en-GB"}},
        {"au", {"en-AU", "en-GB"}},
        {"ca", {"en-CA"}},
        {"de", {"de-DE"}},
        {"at", {"de-DE"}},
        {"ch", {"de-DE", "fr-FR"}},
        {"fr", {"fr-FR"}},
        {"es", {"es-ES"}},
        {"mx", {"es-MX", "es-ES"}},
        {"it", {"it"}},
        {"jp", {"ja"}},
        {"kr", {"ko"}},
        {"cn", {"zh-Hans"}},
        {"tw", {"zh-Hant"}},
        {"hk", {"zh-Hant"}},
        {"br", {"pt-BR"}},
        {"pt", {"pt-PT"}},
        {"nl", {"nl-NL"}},
        {"se", {"sv"}},
        {"pl", {"pl"}},
        {"tr", {"tr"}},
        {"ru", {"ru"}},
        {"ua", {"uk"}}};
    const auto found = known.find(country);
    std::vector<std::string_view> locales =
        found == known.end() ? std::vector<std::string_view>{} : found->second;
    locales.emplace_back("en-US");
    return locales;
}

bool speaksGerman(std::string_view country) {
    return country == "de" || country == "at" || country == "ch";
}

std::string storeCurrency(std::string_view country) {
    if (country == "us") return "USD";
    if (country == "gb") return "GBP";
    if (country == "jp") return "JPY";
    return speaksGerman(country) || country == "fr" || country == "it" || country == "es" ? "EUR" : "USD";
}

// The same on every machine.
std::uint64_t mixedHash(std::string_view text, std::uint64_t salt) {
    std::uint64_t value = 0xCBF29CE484222325U ^ salt * 0x9E3779B97F4A7C15U;
    for (const char letter : text)
        value = (value ^ static_cast<unsigned char>(letter)) * 0x100000001B3U;
    value = (value ^ (value >> 31)) * 0x2C1B3C6D297A2D39U;
    return value ^ (value >> 29);
}

// From -1 to 1.
double storeNoise(std::string_view text, std::uint64_t salt) {
    return static_cast<double>(mixedHash(text, salt) % 2001) / 1000 - 1;
}

// How well a word of a term is met by a text: whole words, then their beginnings.
double wordMatch(std::string_view word, std::string_view text) {
    const std::string folded = caseFolded(text);
    double best = 0;
    for (const std::string_view candidate : words(folded)) {
        if (candidate == word) return 1;
        if (candidate.starts_with(word) ||
            (word.size() > 4 && word.starts_with(candidate) && candidate.size() > 3))
            best = 0.5;
    }
    return best;
}

const Resource* shelfTexts(const World& world, const Resource& parent, std::string_view type,
                           std::string_view country) {
    const auto& all = world.store.children(parent.id, type);
    for (const std::string_view locale : localesOf(country))
        for (const Resource* texts : all)
            if (texts->text("locale") == locale) return texts;
    return all.empty() ? nullptr : all.front();
}

const Resource* onSale(const std::vector<Resource*>& all, std::string_view attribute) {
    const auto found = std::ranges::find_if(
        all, [&](const Resource* one) { return one->text(attribute) == "READY_FOR_SALE"; });
    return found == all.end() ? nullptr : *found;
}

// The search is that of iPhones, where an app has a version for them.
const Resource* shelvedVersion(const std::vector<Resource*>& all) {
    std::vector<Resource*> phones;
    std::ranges::copy_if(all, std::back_inserter(phones),
                         [](const Resource* one) { return one->text("platform") == "IOS"; });
    const Resource* version = onSale(phones, "appStoreState");
    return version ? version : onSale(all, "appStoreState");
}

} // namespace

std::string ShelvedApp::page(std::string_view country) const {
    const std::string plain = asciiLowercase(transliterateToASCII(name));
    std::string slug;
    for (const std::string_view word : words(plain))
        slug += fmt::format("{}{}", slug.empty() ? "" : "-", word);
    return fmt::format("https://apps.apple.com/{}/app/{}/id{}", country, slug, id);
}

std::optional<StoreChart> chartNamed(std::string_view name) {
    if (name == "top-free" || name == "topfreeapplications") return StoreChart::free;
    if (name == "top-paid" || name == "toppaidapplications") return StoreChart::paid;
    if (name == "top-grossing" || name == "topgrossingapplications") return StoreChart::grossing;
    return std::nullopt;
}

std::string_view genreName(int genre) {
    for (const StoreGenre& known : storeGenres)
        if (known.id == genre) return known.name;
    return "Lifestyle";
}

Shelf::Shelf(const World& world, std::string country)
    : country_(std::move(country)), day_(dayNumber(world.now())) {
    addOwn(world);
    addOthers();
}

void Shelf::addOwn(const World& world) {
    for (const Resource* app : world.store.all("apps")) {
        const Resource* version = shelvedVersion(world.store.children(app->id, "appStoreVersions"));
        const Resource* info = onSale(world.store.children(app->id, "appInfos"), "appStoreState");
        const Resource* names = info ? shelfTexts(world, *info, "appInfoLocalizations", country_) : nullptr;
        const Resource* texts =
            version ? shelfTexts(world, *version, "appStoreVersionLocalizations", country_) : nullptr;
        if (!names || !texts) continue;
        const auto genre =
            std::ranges::find(storeGenres, info->link("primaryCategory"), &StoreGenre::category);
        apps_.push_back({.id = app->id,
                         .bundle = app->text("bundleId"),
                         .seller = "Fernhollow Studio",
                         .name = names->text("name"),
                         .subtitle = names->text("subtitle"),
                         .keywords = texts->text("keywords"),
                         .description = texts->text("description"),
                         .version = version->text("versionString"),
                         .genre = genre == std::end(storeGenres) ? 6012 : genre->id,
                         .currency = storeCurrency(country_),
                         .popularity = 50,
                         .ratings = 1240 + static_cast<std::int64_t>(mixedHash(app->id, 1) % 900),
                         .rating = 4.6});
    }
}

void Shelf::addOthers() {
    for (const StoreApp& app : storeApps()) {
        if (!app.countries.empty() &&
            fmt::format(" {} ", app.countries).find(" " + country_ + " ") == std::string::npos)
            continue;
        const bool german = speaksGerman(country_) && !app.germanName.empty();
        const auto text = [&](std::string_view english, std::string_view translated) {
            return std::string(german ? translated : english);
        };
        apps_.push_back({.id = std::string(app.id),
                         .bundle = fmt::format("example.{}", app.bundle),
                         .seller = std::string(app.seller),
                         .name = text(app.name, app.germanName),
                         .subtitle = text(app.subtitle, app.germanSubtitle),
                         .keywords = text(app.keywords, app.germanKeywords),
                         .description = text(app.subtitle, app.germanSubtitle) + ".",
                         .version = fmt::format("{}.{}", app.popularity % 9 + 1, app.ratings % 10),
                         .genre = app.genre,
                         .price = app.price,
                         .currency = storeCurrency(country_),
                         .popularity = app.popularity,
                         .ratings = app.ratings,
                         .rating = 3.6 + static_cast<double>(mixedHash(app.id, 2) % 13) / 10});
    }
}

double Shelf::drift(const ShelvedApp& app, std::string_view where) const {
    const std::string key = fmt::format("{}|{}|{}", app.id, country_, where);
    const auto day = static_cast<std::uint64_t>(day_);
    // A trend of some weeks, one of some days, and the day itself.
    const double angle = (day_ % 3600) / 9.0 + storeNoise(key, 3) * 3.2;
    return 0.5 * std::sin(angle) + 0.3 * storeNoise(key, day / 4 + 10) +
           0.2 * storeNoise(key, day + 1'000'000);
}

std::vector<ShelvedApp> Shelf::ordered(std::vector<std::pair<double, const ShelvedApp*>> scored) const {
    std::ranges::stable_sort(scored,
                             [](const auto& left, const auto& right) { return left.first > right.first; });
    std::vector<ShelvedApp> apps;
    for (const auto& [score, app] : scored)
        apps.push_back(*app);
    return apps;
}

std::vector<ShelvedApp> Shelf::search(std::string_view term) const {
    const std::string folded = caseFolded(term);
    const auto wanted = words(folded);
    std::vector<std::pair<double, const ShelvedApp*>> scored;
    for (const ShelvedApp& app : apps_) {
        double relevance = 0;
        for (const std::string_view word : wanted)
            relevance += std::max({3 * wordMatch(word, app.name), 2 * wordMatch(word, app.subtitle),
                                   1.5 * wordMatch(word, app.keywords), 0.8 * wordMatch(word, app.seller)});
        if (relevance <= 0) continue;
        const double average = relevance / static_cast<double>(wanted.size());
        scored.emplace_back(average + app.popularity / 60.0 + 0.5 * drift(app, folded), &app);
    }
    return ordered(std::move(scored));
}

std::vector<std::string> Shelf::suggestions(std::string_view prefix) const {
    constexpr std::size_t mostSuggestions = 10;
    const std::string wanted = caseFolded(trim(prefix));
    std::map<std::string, int> weights;
    const auto consider = [&](std::string_view term, int weight) {
        const std::string folded = caseFolded(trim(term));
        if (!wanted.empty() && folded.starts_with(wanted)) weights[folded] += weight;
    };
    for (const ShelvedApp& app : apps_) {
        consider(app.name.substr(0, std::min(app.name.find(':'), app.name.find(" – "))), app.popularity / 2);
        for (std::string_view rest = app.keywords; !rest.empty();) {
            const std::size_t end = std::min(rest.find(','), rest.size());
            consider(rest.substr(0, end), app.popularity);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }
    std::vector<std::pair<int, std::string>> sorted;
    for (const auto& [term, weight] : weights)
        sorted.emplace_back(-weight, term);
    std::ranges::sort(sorted);
    std::vector<std::string> terms;
    for (const auto& [weight, term] : sorted)
        if (terms.size() < mostSuggestions) terms.push_back(term);
    return terms;
}

std::vector<ShelvedApp> Shelf::chart(StoreChart kind, int genre) const {
    std::vector<std::pair<double, const ShelvedApp*>> scored;
    for (const ShelvedApp& app : apps_) {
        if (genre != allGenres && app.genre != genre) continue;
        if (kind != StoreChart::grossing && (app.price > 0) != (kind == StoreChart::paid)) continue;
        const double weight =
            kind == StoreChart::grossing ? app.popularity * (1 + app.price / 10) : app.popularity;
        scored.emplace_back(weight + 8 * drift(app, "chart"), &app);
    }
    return ordered(std::move(scored));
}

} // namespace quorvel::sandbox
