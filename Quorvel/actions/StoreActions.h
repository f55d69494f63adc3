// What the public App Store shows of any app: search, look-up, suggestions, charts and product pages.
#pragma once

#include "Core/aso/AppStoreHTMLScraper.h"
#include "Core/aso/AppleChartsClient.h"
#include "Core/aso/ITunesSearchClient.h"
#include "Quorvel/actions/Action.h"
#include "Quorvel/application/Failure.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

inline constexpr JSONMember storeCountriesMember{
    "countries", "Countries of the App Store as two letters, such as us; the United States when empty."};

/// What could not be had; the rest was.
struct StoreProblem {
    std::string country;
    std::optional<std::string> app; // as it was named
    Failure failure;
    QUORVEL_RECORD(StoreProblem, country, app, failure)
};

struct SearchStore {
    static constexpr ActionInfo info{"search_store", "Show the apps that the App Store finds for a term"};

    struct Request {
        std::string term;
        std::vector<std::string> countries;
        std::int64_t limit = 50;
        QUORVEL_RECORD(Request, term, countries, limit)
        static constexpr JSONMember members[] = {{"term", "What is searched for.", JSONMember::required},
                                                 storeCountriesMember,
                                                 {"limit", "How many apps per country; 200 at the most."}};
    };
    struct Row {
        std::int64_t rank = 0; // from 1
        std::int64_t id = 0;   // App Store id
        std::string name;
        std::optional<std::string> yours; // the short name, where it is a recorded app
        std::optional<std::string> bundleId, seller, genre;
        std::optional<double> rating;
        std::optional<std::int64_t> ratings; // how many
        std::optional<std::string> price;    // as the store writes it
        std::optional<std::string> version, updated, url;
        QUORVEL_RECORD(Row, rank, id, name, yours, bundleId, seller, genre, rating, ratings, price, version,
                       updated, url)
    };
    struct Country {
        std::string country;
        std::vector<Row> apps;
        QUORVEL_RECORD(Country, country, apps)
    };
    struct Result {
        std::string term;
        std::vector<Country> countries;
        std::vector<StoreProblem> problems;
        QUORVEL_RECORD(Result, term, countries, problems)
    };
    /// Where only one country is asked its failure is thrown, by the actions below too.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct LookUpStoreApps {
    static constexpr ActionInfo info{"look_up_store_apps", "Show what the App Store says of apps"};

    struct Request {
        std::vector<std::string> apps;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, apps, countries)
        static constexpr JSONMember members[] = {
            {"apps",
             "App Store ids, bundle ids, addresses of product pages, or short names of recorded apps.",
             JSONMember::required},
            storeCountriesMember};
    };
    struct Entry {
        std::string country;
        std::optional<std::string> yours; // the short name, where it is a recorded app
        ITunesAppResult listing;
        QUORVEL_RECORD(Entry, country, yours, listing)
    };
    struct Result {
        std::vector<Entry> entries;
        std::vector<StoreProblem> problems;
        QUORVEL_RECORD(Result, entries, problems)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ListStoreHints {
    static constexpr ActionInfo info{"list_store_hints",
                                     "Show what the App Store suggests while a term is typed"};

    struct Request {
        std::string prefix;
        std::vector<std::string> countries;
        QUORVEL_RECORD(Request, prefix, countries)
        static constexpr JSONMember members[] = {{"prefix", "The beginning of a term.", JSONMember::required},
                                                 storeCountriesMember};
    };
    struct Country {
        std::string country;
        std::vector<std::string> hints;
        QUORVEL_RECORD(Country, country, hints)
    };
    struct Result {
        std::string prefix;
        std::vector<Country> countries;
        std::vector<StoreProblem> problems;
        QUORVEL_RECORD(Result, prefix, countries, problems)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ShowStoreCharts {
    static constexpr ActionInfo info{"show_store_charts", "Show the charts of the App Store"};

    struct Request {
        ChartKind kind = ChartKind::topFree;
        std::optional<std::string> genre;
        std::vector<std::string> countries;
        std::int64_t limit = 25;
        QUORVEL_RECORD(Request, kind, genre, countries, limit)
        static constexpr JSONMember members[] = {
            {"kind", "Which chart."},
            {"genre", "A category by its number, name or identifier, such as 6014, Games or games."},
            storeCountriesMember,
            {"limit", "How many apps per country; 100 at the most."}};
    };
    struct Row {
        std::optional<std::string> yours; // the short name, where it is a recorded app
        ChartApp app;
        QUORVEL_RECORD(Row, yours, app)
    };
    struct Country {
        std::string country;
        std::vector<Row> apps;
        QUORVEL_RECORD(Country, country, apps)
    };
    struct Result {
        ChartKind kind = ChartKind::topFree;
        std::optional<std::string> genre; // its English name
        std::vector<Country> countries;
        std::vector<StoreProblem> problems;
        QUORVEL_RECORD(Result, kind, genre, countries, problems)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ShowStorePages {
    static constexpr ActionInfo info{"show_store_pages", "Show what product pages of the App Store tell"};
    using Request = LookUpStoreApps::Request;

    struct Entry {
        std::string country;
        std::optional<std::string> yours; // the short name, where it is a recorded app
        AppStorePageData page;
        QUORVEL_RECORD(Entry, country, yours, page)
    };
    struct Result {
        std::vector<Entry> entries;
        std::vector<StoreProblem> problems;
        QUORVEL_RECORD(Result, entries, problems)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
