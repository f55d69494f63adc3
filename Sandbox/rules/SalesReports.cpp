#include "Sandbox/rules/SalesReports.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Gzip.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace quorvel::sandbox {
namespace {

constexpr std::string_view columns[] = {"Provider",
                                        "Provider Country",
                                        "SKU",
                                        "Developer",
                                        "Title",
                                        "Version",
                                        "Product Type Identifier",
                                        "Units",
                                        "Developer Proceeds",
                                        "Begin Date",
                                        "End Date",
                                        "Customer Currency",
                                        "Country Code",
                                        "Currency of Proceeds",
                                        "Apple Identifier",
                                        "Customer Price",
                                        "Promo Code",
                                        "Parent Identifier",
                                        "Subscription",
                                        "Period",
                                        "Category",
                                        "CMB",
                                        "Device",
                                        "Supported Platforms",
                                        "Proceeds Reason",
                                        "Preserved Pricing",
                                        "Client",
                                        "Order Type"};

/// A country's currency and what one unit costs there. Some countries pay out in another currency.
struct Market {
    std::string_view country, customerCurrency, proceedsCurrency;
    double price, proceeds;
};
constexpr Market markets[] = {
    {"US", "USD", "USD", 4.99, 4.24}, {"DE", "EUR", "EUR", 4.99, 3.57}, {"FR", "EUR", "EUR", 4.99, 3.54},
    {"GB", "GBP", "GBP", 4.99, 3.53}, {"JP", "JPY", "JPY", 700, 541},   {"CA", "CAD", "CAD", 6.99, 5.94},
    {"AU", "AUD", "AUD", 7.99, 6.17}, {"CH", "CHF", "CHF", 5.0, 3.93},  {"BR", "BRL", "BRL", 24.90, 19.92},
    {"SE", "SEK", "SEK", 59, 40.12},  {"UA", "USD", "USD", 4.99, 3.53}, {"EG", "EGP", "USD", 149.99, 2.11}};

/// Reports hold the same figures whenever they are asked for.
unsigned figure(int day, std::size_t market, std::size_t app, unsigned salt) {
    std::uint64_t value =
        static_cast<std::uint64_t>(day) * 1'000'003U + market * 7'919U + app * 104'729U + salt;
    value = (value ^ (value >> 15)) * 0x2C1B3C6DU;
    value = (value ^ (value >> 12)) * 0x297A2D39U;
    return static_cast<unsigned>((value >> 15) & 0xFFFF);
}

std::string reportDate(int day) { // as the table writes it: month/day/year
    const std::string date = calendarDate(day);
    return date.substr(5, 2) + "/" + date.substr(8, 2) + "/" + date.substr(0, 4);
}

struct Row {
    std::string sku, title, version, kind, appleID, parent, device, platform;
    unsigned units = 0;
    double price = 0, proceeds = 0;
};

void append(std::string& table, const Row& row, const Market& market, int day) {
    const std::string date = reportDate(day);
    const bool paid = row.price > 0;
    table += fmt::format(
        "APPLE\tUS\t{}\tFernhollow Studio\t{}\t{}\t{}\t{}\t{:.2f}\t{}\t{}\t{}\t{}\t{}\t{}\t{:.2f}\t \t{}\t "
        "\t \tProductivity\t\t{}\t{}\t \t \t \t \n",
        row.sku, row.title, row.version, row.kind, row.units, row.proceeds, date, date,
        market.customerCurrency, market.country, paid ? market.proceedsCurrency : std::string_view(" "),
        row.appleID, row.price, row.parent, row.device, row.platform);
}

void appendApp(std::string& table, const World& world, const Resource& app, std::size_t index, int day) {
    const auto& purchases = world.store.children(app.id, "inAppPurchases");
    for (std::size_t i = 0; i < std::size(markets); ++i) {
        const Market& market = markets[i];
        Row row{.sku = app.text("sku"),
                .title = app.text("name"),
                .version = "3.4",
                .kind = figure(day, i, index, 1) % 4 == 0 ? "1F" : "1",
                .appleID = app.id,
                .parent = " ",
                .device = figure(day, i, index, 2) % 3 == 0 ? "iPad" : "iPhone",
                .platform = "iOS",
                .units = 1 + figure(day, i, index, 3) % 40};
        append(table, row, market, day); // first downloads cost nothing
        row.kind = "7";
        row.units = 3 + figure(day, i, index, 4) % 90;
        append(table, row, market, day); // updates
        for (std::size_t p = 0; p < purchases.size(); ++p) {
            if (figure(day, i, index, 5 + static_cast<unsigned>(p)) % 3 == 0) continue;
            row = {.sku = purchases[p]->text("productId"),
                   .title = purchases[p]->text("name"),
                   .version = " ",
                   .kind = "IA1",
                   .appleID = purchases[p]->id,
                   .parent = app.text("sku"),
                   .device = "iPhone",
                   .platform = "iOS",
                   .units = 1 + figure(day, i, index, 50 + static_cast<unsigned>(p)) % 6,
                   .price = market.price,
                   .proceeds = market.proceeds};
            append(table, row, market, day);
        }
    }
}

std::string requiredParameter(const Request& request, std::string_view name, std::string_view allowed) {
    const std::string parameter = fmt::format("filter[{}]", name);
    const auto value = request.parameter(parameter);
    if (!value) throw Refusal(missingParameter(parameter));
    if (!allowed.empty() && !isChoice(allowed, *value))
        throw Refusal(invalidParameter(
            parameter, fmt::format("'{}' is not a valid value for the parameter '{}'", *value, parameter)));
    return *value;
}

int requestedDay(const World& world, const Request& request) {
    const auto text = request.parameter("filter[reportDate]");
    const int yesterday = dayNumber(world.now()) - 1;
    if (!text) return yesterday;
    const auto date = parseISO8601(*text + "T00:00:00Z");
    if (!date || text->size() != 10)
        throw Refusal(invalidParameter("filter[reportDate]",
                                       "The report date parameter you have specified is invalid. "
                                       "A daily report is asked for as YYYY-MM-DD."));
    return dayNumber(*date);
}

Problem noReport(std::string_view detail) {
    Problem problem = problemOfStatus(404);
    problem.detail = detail;
    return problem;
}

Problem notAvailableYet() {
    return noReport("Report is not available yet. Daily reports for the Americas are available by 5 am "
                    "Pacific Time; Japan, Australia, and New Zealand by 5 am Japan Standard Time; "
                    "and 5 am Central European Time for all other territories.");
}

Problem noSales() {
    return noReport("There were no sales for the date specified.");
}

std::optional<int> dayOfName(const std::string& name) {
    const auto date = parseISO8601(name + "T00:00:00Z");
    if (!date || calendarDate(dayNumber(*date)) != name) return std::nullopt;
    return dayNumber(*date);
}

// The newest day that the folder holds a report of.
int newestReport(const std::filesystem::path& folder) {
    int newest = 0;
    std::error_code problem;
    for (const auto& entry : std::filesystem::directory_iterator(folder, problem))
        if (entry.path().extension() == ".tsv")
            newest = std::max(newest, dayOfName(entry.path().stem().string()).value_or(0));
    return newest;
}

std::string reportInFolder(const std::filesystem::path& folder, int day) {
    constexpr std::uint64_t largestReport = 1ULL << 30; // bytes
    if (auto report = readFile(folder / (calendarDate(day) + ".tsv"), largestReport))
        return std::move(*report);
    throw Refusal(day > newestReport(folder) ? notAvailableYet() : noSales());
}

void checkParameters(const World& world, const Request& request) {
    for (const auto& [name, value] : request.query)
        if (!isChoice("filter[vendorNumber]|filter[reportType]|filter[reportSubType]|filter[frequency]|"
                      "filter[reportDate]|filter[version]",
                      name))
            throw Refusal(unknownParameter(name));
    const std::string vendor = requiredParameter(request, "vendorNumber", "");
    const std::string type =
        requiredParameter(request, "reportType",
                          "SALES|PRE_ORDER|NEWSSTAND|SUBSCRIPTION|SUBSCRIPTION_EVENT|SUBSCRIBER|"
                          "SUBSCRIPTION_OFFER_CODE_REDEMPTION|INSTALLS|FIRST_ANNUAL|WIN_BACK_ELIGIBILITY");
    const std::string subType = requiredParameter(
        request, "reportSubType", "SUMMARY|DETAILED|SUMMARY_INSTALL_TYPE|SUMMARY_TERRITORY|SUMMARY_CHANNEL");
    const std::string frequency = requiredParameter(request, "frequency", "DAILY|WEEKLY|MONTHLY|YEARLY");
    const std::string version = request.parameter("filter[version]").value_or("1_0");
    if (version != "1_0")
        throw Refusal(invalidParameter("filter[version]",
                                       "The version parameter you have specified is invalid. "
                                       "The latest version for this report is 1_0."));
    if (vendor != world.vendorNumber) throw Refusal(problemOfStatus(500));
    if (type != "SALES" || subType != "SUMMARY" || frequency != "DAILY") throw Refusal(noSales());
}

} // namespace

void requireSalesFolder(const std::filesystem::path& folder) {
    const std::string name = escapeControls(folder.native());
    std::error_code problem;
    if (!std::filesystem::is_directory(folder, problem))
        throw std::runtime_error(fmt::format("{}: there is no such folder of sales reports.", name));
    std::size_t reports = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder, problem)) {
        if (entry.path().extension() != ".tsv") continue;
        if (!dayOfName(entry.path().stem().string()))
            throw std::runtime_error(
                fmt::format("{}: the report {} is not named after its day, such as 2026-03-01.tsv.", name,
                            escapeControls(entry.path().filename().native())));
        ++reports;
    }
    if (problem)
        throw std::runtime_error(fmt::format("{}: it cannot be read ({}).", name, problem.message()));
    if (reports == 0)
        throw std::runtime_error(fmt::format(
            "{}: it holds no sales report. Each is a file named after its day, such as 2026-03-01.tsv.",
            name));
}

std::string salesTable(const World& world, int day) {
    std::string table;
    for (const std::string_view column : columns)
        table += fmt::format("{}{}", table.empty() ? "" : "\t", column);
    table += '\n';
    const auto apps = world.store.all("apps");
    for (std::size_t i = 0; i < apps.size(); ++i)
        if (!world.store.children(apps[i]->id, "appStoreVersions").empty())
            appendApp(table, world, *apps[i], i, day);
    return table;
}

Answer salesReport(const World& world, const Request& request) {
    const std::string accept = request.header("Accept").value_or("*/*");
    if (accept.find("a-gzip") == accept.npos && accept.find("*/*") == accept.npos)
        throw Refusal({.status = 406,
                       .code = "NOT_ACCEPTABLE",
                       .title = "The requested media type is not available",
                       .detail = "This resource is available as 'application/a-gzip' only"});
    checkParameters(world, request);
    const int day = requestedDay(world, request);
    if (day >= dayNumber(world.now())) throw Refusal(notAvailableYet());
    if (world.salesFolder)
        return {.bytes = gzip(reportInFolder(*world.salesFolder, day)), .contentType = "application/a-gzip"};
    if (world.firstSalesDay == 0 || day < static_cast<int>(world.firstSalesDay)) throw Refusal(noSales());
    return {.bytes = gzip(salesTable(world, day)), .contentType = "application/a-gzip"};
}

} // namespace quorvel::sandbox
