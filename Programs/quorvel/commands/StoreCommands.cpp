#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Performing.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Quorvel/actions/StoreActions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

namespace {

constexpr std::string_view yoursMark = "▸ ";

// An app's name, marked where it is one of the user's.
Table::Cell storeNameCell(const std::string& name, const std::optional<std::string>& yours) {
    if (!yours) return name;
    return {std::string(yoursMark) + name, Style::bold};
}

std::string ratingText(const std::optional<double>& rating, const std::optional<std::int64_t>& count) {
    if (!rating || count.value_or(1) == 0) return "";
    return fmt::format("{:.1f}", *rating);
}

std::string countText(const std::optional<std::int64_t>& count) {
    return count ? std::to_string(*count) : "";
}

// "2026-02-03" of "2026-02-03T09:30:00Z".
std::string dayOf(const std::optional<std::string>& date) {
    return date ? date->substr(0, date->find('T')) : "";
}

void printStoreHeading(Output& output, const std::string& country, std::string_view what) {
    const std::string heading = fmt::format("{} · {}", escapeControls(country), onOneLine(what));
    const Streams& streams = output.streams();
    const bool isCut = streams.outIsTerminal && streams.width > 0;
    output.styledLine(output.styled(Style::bold, isCut ? cutToWidth(heading, streams.width) : heading));
}

// What all failures share where nothing was answered, else that a part is missing.
template <typename Answer>
ExitStatus printStoreProblems(Output& output, const std::vector<Answer>& answers,
                              const std::vector<StoreProblem>& problems) {
    for (const StoreProblem& problem : problems) {
        const std::string advice = problem.failure.advice ? " " + *problem.failure.advice : "";
        output.warning(fmt::format("{}{}: {}{}", problem.country, problem.app ? ", " + *problem.app : "",
                                   problem.failure.text, advice));
    }
    if (problems.empty()) return ExitStatus::done;
    if (!answers.empty()) return ExitStatus::partlyDone;
    const ExitStatus first = statusOf(problems.front().failure.kind);
    const bool isShared = std::ranges::all_of(
        problems, [&](const StoreProblem& problem) { return statusOf(problem.failure.kind) == first; });
    return isShared ? first : ExitStatus::failed;
}

// Where the user's apps stand in a list.
template <typename Row, typename RankOf>
void printOwnRanks(Output& output, const std::vector<Row>& rows, RankOf&& rankOf) {
    std::vector<std::string> places;
    for (const Row& row : rows)
        if (row.yours) places.push_back(fmt::format("{} is number {}", *row.yours, rankOf(row)));
    if (!places.empty()) output.line(fmt::format("{}{}.", yoursMark, fmt::join(places, ", ")));
}

void printFound(Output& output, const SearchStore::Country& country, const std::string& term) {
    printStoreHeading(output, country.country,
                      fmt::format("{} · {}", term, counted(country.apps.size(), "app")));
    Table table{.columns = {{"#", Table::Align::right},
                            {"Name", Table::Align::left, Table::Fit::cut},
                            {"Rating", Table::Align::right},
                            {"Ratings", Table::Align::right},
                            {"Price", Table::Align::right},
                            {"ID"},
                            {"By", Table::Align::left, Table::Fit::drop},
                            {"Category", Table::Align::left, Table::Fit::drop}},
                .rows = {}};
    for (const auto& app : country.apps)
        table.rows.push_back({std::to_string(app.rank), storeNameCell(app.name, app.yours),
                              ratingText(app.rating, app.ratings), countText(app.ratings),
                              app.price.value_or(""), std::to_string(app.id), app.seller.value_or(""),
                              app.genre.value_or("")});
    if (!table.rows.empty()) output.table(table);
    printOwnRanks(output, country.apps, [](const SearchStore::Row& row) { return row.rank; });
}

// A blank line between what several countries or apps gave.
template <typename Item, typename Print>
void printEach(Output& output, const std::vector<Item>& items, Print&& print) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) output.line();
        print(items[i]);
    }
}

ExitStatus searchStore(Invocation& invocation) {
    SearchStore::Request request{.term = *invocation.arguments.value("TERM"),
                                 .countries = listOf(invocation.arguments, "--country")};
    request.limit = invocation.arguments.number("--limit", 1, 200).value_or(request.limit);
    const auto result = perform<SearchStore>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    printEach(output, result.countries,
              [&](const auto& country) { printFound(output, country, result.term); });
    return printStoreProblems(output, result.countries, result.problems);
}

LookUpStoreApps::Request storeAppsRequest(const Invocation& invocation) {
    return {.apps = invocation.arguments.values("APP"),
            .countries = listOf(invocation.arguments, "--country")};
}

// Lines of a name and a value; without those that have none.
void printFacts(Output& output, const std::vector<std::pair<std::string_view, std::string>>& facts) {
    Table table{.columns = {{""}, {"", Table::Align::left, Table::Fit::wrap}}, .rows = {}};
    for (const auto& [name, value] : facts)
        if (!value.empty()) table.rows.push_back({name, value});
    output.table(table);
}

std::string megabytes(const std::optional<std::string>& bytes) {
    if (!bytes || bytes->empty() || bytes->size() > 15 ||
        !std::ranges::all_of(*bytes, [](char c) { return c >= '0' && c <= '9'; }))
        return "";
    return fmt::format("{:.1f} MB", std::stod(*bytes) / 1e6);
}

void printListing(Output& output, const LookUpStoreApps::Entry& entry) {
    const ITunesAppResult& app = entry.listing;
    printStoreHeading(output, entry.country, (entry.yours ? std::string(yoursMark) : "") + app.trackName);
    printFacts(
        output,
        {{"By", app.sellerName.value_or(app.artistName.value_or(""))},
         {"ID", std::to_string(app.trackId)},
         {"Bundle ID", app.bundleId.value_or("")},
         {"Price", app.formattedPrice.value_or("")},
         {"Rating", app.averageUserRating && app.userRatingCount.value_or(0) > 0
                        ? fmt::format("{:.2f} of {}", *app.averageUserRating,
                                      counted(static_cast<std::size_t>(*app.userRatingCount), "rating"))
                        : "none yet"},
         {"Category",
          app.genres ? fmt::format("{}", fmt::join(*app.genres, ", ")) : app.primaryGenreName.value_or("")},
         {"Version",
          app.version ? fmt::format("{} of {}", *app.version, dayOf(app.currentVersionReleaseDate)) : ""},
         {"On sale since", dayOf(app.releaseDate)},
         {"Languages",
          app.languageCodesISO2A ? fmt::format("{}", fmt::join(*app.languageCodesISO2A, ", ")) : ""},
         {"Needs", app.minimumOsVersion ? "OS " + *app.minimumOsVersion : ""},
         {"Size", megabytes(app.fileSizeBytes)},
         {"Page", app.trackViewUrl.value_or("")}});
}

ExitStatus lookUpStoreApps(Invocation& invocation) {
    const auto result = perform<LookUpStoreApps>(invocation, storeAppsRequest(invocation));
    Output& output = invocation.output;
    output.document(result);
    printEach(output, result.entries, [&](const auto& entry) { printListing(output, entry); });
    return printStoreProblems(output, result.entries, result.problems);
}

ExitStatus listStoreHints(Invocation& invocation) {
    const auto result =
        perform<ListStoreHints>(invocation, {.prefix = *invocation.arguments.value("PREFIX"),
                                             .countries = listOf(invocation.arguments, "--country")});
    Output& output = invocation.output;
    output.document(result);
    printEach(output, result.countries, [&](const ListStoreHints::Country& country) {
        printStoreHeading(
            output, country.country,
            fmt::format("{}… · {}", result.prefix, counted(country.hints.size(), "suggestion")));
        Table table{.columns = {{"#", Table::Align::right}, {"Term", Table::Align::left, Table::Fit::cut}},
                    .rows = {}};
        for (std::size_t i = 0; i < country.hints.size(); ++i)
            table.rows.push_back({std::to_string(i + 1), country.hints[i]});
        if (!table.rows.empty()) output.table(table);
    });
    return printStoreProblems(output, result.countries, result.problems);
}

std::string genresText(const ChartApp& app) {
    std::vector<std::string> names;
    for (const ChartGenre& genre : app.genres)
        names.push_back(genre.name);
    return fmt::format("{}", fmt::join(names, ", "));
}

ExitStatus showStoreCharts(Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    ShowStoreCharts::Request request{.genre = arguments.value("--genre"),
                                     .countries = listOf(arguments, "--country")};
    const std::string kind = arguments.value("--kind").value_or("free");
    if (kind == "paid") request.kind = ChartKind::topPaid;
    if (kind == "grossing") request.kind = ChartKind::topGrossing;
    request.limit = arguments.number("--limit", 1, 100).value_or(request.limit);
    const auto result = perform<ShowStoreCharts>(invocation, request);
    Output& output = invocation.output;
    output.document(result);
    printEach(output, result.countries, [&](const ShowStoreCharts::Country& country) {
        printStoreHeading(output, country.country,
                          fmt::format("Top {}{}", kind, result.genre ? " · " + *result.genre : ""));
        Table table{.columns = {{"#", Table::Align::right},
                                {"Name", Table::Align::left, Table::Fit::cut},
                                {"By", Table::Align::left, Table::Fit::cut},
                                {"ID"},
                                {"Released", Table::Align::left, Table::Fit::drop},
                                {"Category", Table::Align::left, Table::Fit::drop}},
                    .rows = {}};
        for (const auto& [yours, app] : country.apps)
            table.rows.push_back({std::to_string(app.rank), storeNameCell(app.name, yours), app.artistName,
                                  app.id, app.releaseDate.value_or(""), genresText(app)});
        // The feed of all categories names none.
        if (std::ranges::all_of(table.rows, [](const auto& row) { return row.back().text.empty(); }))
            table.columns.pop_back();
        if (table.rows.empty())
            output.line("The chart is empty.");
        else
            output.table(table);
        printOwnRanks(output, country.apps, [](const ShowStoreCharts::Row& row) { return row.app.rank; });
    });
    return printStoreProblems(output, result.countries, result.problems);
}

ExitStatus showStorePages(Invocation& invocation) {
    const auto result = perform<ShowStorePages>(invocation, storeAppsRequest(invocation));
    Output& output = invocation.output;
    output.document(result);
    printEach(output, result.entries, [&](const ShowStorePages::Entry& entry) {
        const AppStorePageData& page = entry.page;
        printStoreHeading(output, entry.country,
                          (entry.yours ? fmt::format("{}{} · ", yoursMark, *entry.yours) : "") +
                              page.appStoreId);
        printFacts(output,
                   {{"Subtitle", page.subtitle.value_or("none found")},
                    {"Rating", page.aggregateRating ? fmt::format("{:.1f}", *page.aggregateRating) : ""},
                    {"Ratings", countText(page.aggregateRatingCount)},
                    {"Category", page.category.value_or("")},
                    {"Needs", page.operatingSystem.value_or("")}});
    });
    return printStoreProblems(output, result.entries, result.problems);
}

ArgumentSpec storeCountryOption() {
    return {.name = "--country",
            .value = "CODE",
            .description = "Countries as two letters, separated by commas; us without it",
            .count = ArgumentSpec::Count::repeated,
            .suggestions = {"us", "gb", "de", "fr", "jp"}};
}

ArgumentSpec storeAppArgument() {
    return {.name = "APP",
            .value = "APP",
            .description =
                "App Store id, bundle id, address of the page, or the short name of an app of yours",
            .need = ArgumentSpec::Need::required,
            .count = ArgumentSpec::Count::repeated};
}

} // namespace

std::vector<Command> storeCommands() {
    return {
        {.name = "store", .summary = "Search the public App Store, its charts and its product pages"},
        {.name = "store search",
         .summary = "Show the apps that the App Store finds for a term, in its order",
         .arguments = {{"TERM", "TERM", "What is searched for", {}, ArgumentSpec::Need::required},
                       storeCountryOption(),
                       {"--limit", "N", "How many apps per country, up to 200; 50 without it"}},
         .run = searchStore,
         .details =
             "Apps of yours are marked with ▸. No key is needed. The App Store answers about 20 searches "
             "a minute; further ones wait for their turn, which is said.\n\n"
             "Example: quorvel store search \"garden journal\" --country us,de"},
        {.name = "store lookup",
         .summary = "Show what the App Store says of apps",
         .arguments = {storeAppArgument(), storeCountryOption()},
         .run = lookUpStoreApps,
         .details = "An address of a product page is looked up in its own country. --json has all of it, the "
                    "description among it.\n\nExample: quorvel store lookup 6700000101 --country us,jp"},
        {.name = "store hints",
         .summary = "Show what the App Store suggests while a term is typed",
         .arguments = {{"PREFIX", "PREFIX", "The beginning of a term", {}, ArgumentSpec::Need::required},
                       storeCountryOption()},
         .run = listStoreHints,
         .details = "Example: quorvel store hints gard --country gb"},
        {.name = "store charts",
         .summary = "Show the charts of the App Store",
         .arguments = {{"--kind", "KIND", "Which chart; free without it", {"free", "paid", "grossing"}},
                       {"--genre", "GENRE", "One category, by its number or name, such as 6014 or games"},
                       storeCountryOption(),
                       {"--limit", "N", "How many apps per country, up to 100; 25 without it"}},
         .run = showStoreCharts,
         .details = "Apps of yours are marked with ▸.\n\n"
                    "Example: quorvel store charts --kind paid --genre \"Health & Fitness\" --country de"},
        {.name = "store page",
         .summary = "Show the subtitle, the rating and the category of product pages",
         .arguments = {storeAppArgument(), storeCountryOption()},
         .run = showStorePages,
         .details = "Reads the public page, which is where the subtitle of another maker's app is to be "
                    "seen.\n\nExample: quorvel store page 6700000101 --country us,de"},
    };
}

} // namespace quorvel
