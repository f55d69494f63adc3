#include "Core/revenue/SalesReportService.h"

#include "Core/asc/ASCError.h"
#include "Core/revenue/SalesReportParser.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>

namespace quorvel {

namespace {

constexpr std::string_view dayWithoutSales = "There were no sales on this day.\n"; // a kept file's text
constexpr double secondsPerDay = 86'400;
constexpr std::string_view versionKey = "SalesReport.version";
constexpr std::string_view foreignVendorText =
    "Apple returned an unexpected error (500). For sales reports that almost always means the Vendor # "
    "doesn't belong to this API key's team — check it in Settings → App Store Connect.";

bool holds(const ASCError& error, std::string_view words) {
    const auto* document = error.as<ASCError::APIErrors>();
    return document && std::ranges::any_of(document->errors, [&](const ASCError::APIError& entry) {
               return entry.detail.value_or("").find(words) != std::string::npos;
           });
}

bool hasStatus(const ASCError& error, int status) {
    if (const auto* answer = error.as<ASCError::HTTPStatus>()) return answer->code == status;
    const auto* document = error.as<ASCError::APIErrors>();
    return document && std::ranges::any_of(document->errors, [&](const ASCError::APIError& entry) {
               return entry.status == std::to_string(status);
           });
}

// Every other day would be refused for the same reason.
bool concernsTheKey(const ASCError& error) {
    using enum ASCError::Kind;
    return error.kind() == missingCredentials || error.kind() == invalidPrivateKey ||
           error.kind() == credentialsRefused;
}

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

std::optional<std::string> salesReportVersionIn(std::string_view errorText) {
    constexpr std::string_view words = "latest version for this report is ";
    const auto found = errorText.find(words);
    if (found == errorText.npos) return std::nullopt;
    std::string_view rest = errorText.substr(found + words.size());
    rest = rest.substr(0, rest.find_first_not_of("0123456789_"));
    const auto line = rest.find('_');
    if (line == rest.npos || !isDigits(rest.substr(0, line))) return std::nullopt;
    const auto minor = rest.substr(line + 1, rest.find('_', line + 1) - line - 1);
    if (!isDigits(minor)) return std::nullopt;
    return std::string(rest.substr(0, line + 1)) + std::string(minor);
}

SalesReportService::SalesReportService(Parts parts) : parts_(std::move(parts)) {
    if (!isDigits(parts_.vendorNumber))
        throw std::invalid_argument("A vendor number consists of digits."); // it becomes a folder's name
}

std::vector<DayResult> SalesReportService::fetch(const std::vector<std::string>& days,
                                                 const Progress& onProgress) {
    std::vector<DayResult> results(days.size());
    std::vector<std::size_t> wanted; // newest first
    bool isKnownVendor = false;
    auto known = parallelMap(days, width, [&](const std::string& day) { return kept(day); });
    for (std::size_t i = days.size(); i-- > 0;) {
        const bool mayHaveChanged =
            parts_.client && (days.size() - i <= daysThatChange || (known[i] && known[i]->isEarly));
        if (!known[i] || mayHaveChanged) wanted.push_back(i);
        isKnownVendor = isKnownVendor || known[i];
        if (known[i]) results[i] = std::move(known[i]->day);
    }
    std::mutex telling; // one call of `onProgress` at a time
    std::size_t done = days.size() - wanted.size();
    const auto take = [&](std::size_t index, DayResult answer) {
        const bool isKnown = !results[index].date.empty();
        if (!isKnown || answer.status == DayResult::Status::ok) results[index] = std::move(answer);
        if (!onProgress) return;
        const std::lock_guard lock(telling);
        onProgress(++done, days.size());
    };
    if (wanted.empty()) return results;
    // One request by itself first: what is refused for the vendor number, or fails for want of a network, is
    // so for every day.
    const DayResult first = ask(days[wanted.front()]);
    const bool isForeignVendor = !isKnownVendor && first.reason == foreignVendorText;
    take(wanted.front(), first);
    wanted.erase(wanted.begin());
    if (isForeignVendor || first.isUnreachable) {
        for (const std::size_t index : wanted)
            take(index, {.date = days[index],
                         .status = DayResult::Status::failed,
                         .reason = first.reason,
                         .isUnreachable = first.isUnreachable});
        return results;
    }
    parallelForEach(wanted, width, [&](std::size_t index) { take(index, ask(days[index])); });
    return results;
}

DayResult SalesReportService::ask(const std::string& day) {
    if (!parts_.client)
        return {.date = day, .status = DayResult::Status::failed, .reason = "It was not fetched yet."};
    try {
        const std::string report = download(day);
        DayResult result = read(day, report);
        keep(day, report);
        return result;
    } catch (const SalesReportParserError& error) {
        return failed(day, error.description());
    } catch (const ASCError& error) {
        if (concernsTheKey(error)) throw;
        const bool isMissing = error.kind() == ASCError::Kind::notFound;
        if (isMissing && holds(error, "no sales for the date specified")) {
            keep(day, dayWithoutSales);
            return {.date = day};
        }
        if (isMissing && holds(error, "not available yet"))
            return {.date = day, .status = DayResult::Status::notYetPublished};
        DayResult result =
            failed(day, hasStatus(error, 500) ? std::string(foreignVendorText) : error.description());
        result.isUnreachable = error.as<ASCError::NetworkFailure>() != nullptr;
        return result;
    }
}

DayResult SalesReportService::read(const std::string& day, std::string_view report) const {
    DayResult result = salesDayOf(day, report);
    for (SalesLine& line : result.lines)
        line.vendorNumber = parts_.vendorNumber;
    return result;
}

std::string SalesReportService::download(const std::string& day) {
    ASCSalesReportQuery query{parts_.vendorNumber, "SALES", "SUMMARY", "DAILY", version(), day};
    try {
        return parts_.client->downloadSalesReport(query);
    } catch (const ASCError& error) {
        const auto wanted = salesReportVersionIn(error.description());
        if (!wanted || *wanted == query.version) throw;
        query.version = *wanted;
        parts_.defaults->set(versionKey, *wanted); // days without a report, too, would ask twice else
        return parts_.client->downloadSalesReport(query);
    }
}

std::string SalesReportService::version() const {
    return parts_.defaults->string(versionKey).value_or("1_0");
}

DayResult SalesReportService::failed(const std::string& day, std::string reason) const {
    logger_.warning(fmt::format("Sales report fetch failed for {}: {}", day, reason));
    return {.date = day, .status = DayResult::Status::failed, .reason = std::move(reason)};
}

std::filesystem::path SalesReportService::fileOf(const std::string& day) const {
    return parts_.folder / parts_.vendorNumber / (day + ".tsv.gz");
}

// A report that was fetched while Apple still changed it is early.
std::optional<SalesReportService::Kept> SalesReportService::kept(const std::string& day) const {
    try {
        const auto report = readFile(fileOf(day));
        if (!report) return std::nullopt;
        Kept found{.day = {.date = day}};
        if (*report != dayWithoutSales) found.day = read(day, *report);
        const auto ended = parseISO8601(day + "T00:00:00Z");
        struct stat status {};
        found.isEarly = ended && ::stat(fileOf(day).c_str(), &status) == 0 &&
                        static_cast<double>(status.st_mtime) <
                            secondsSince1970(*ended) + (daysThatChange + 1) * secondsPerDay;
        return found;
    } catch (const SalesReportParserError& error) {
        logger_.warning(fmt::format("The kept report of {} is damaged: {}", day, error.description()));
    } catch (const FileError& error) {
        logger_.warning(fmt::format("The kept report of {} cannot be read: {}", day, error.what()));
    }
    return std::nullopt;
}

void SalesReportService::keep(const std::string& day, std::string_view report) const {
    try {
        createFolders(fileOf(day).parent_path(), FolderMode::secret);
        writeFileAtomically(fileOf(day), report, FileMode::secret);
    } catch (const FileError& error) {
        logger_.warningOnce(fmt::format("Sales reports cannot be kept: {}", error.what()));
    }
}

} // namespace quorvel
