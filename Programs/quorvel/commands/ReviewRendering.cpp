#include "Programs/quorvel/commands/ReviewRendering.h"

#include "Core/reviews/ReviewTexts.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvel {

namespace {

constexpr std::size_t excerptLength = 280; // characters
constexpr std::size_t longestBar = 40;
constexpr std::size_t themesShown = 15;

std::string starsText(std::int64_t stars) {
    std::string text;
    for (std::int64_t star = 1; star <= 5; ++star)
        text += star <= stars ? "★" : "☆";
    return text;
}

Style styleOfStars(std::int64_t stars) {
    return stars >= 4 ? Style::green : stars == 3 ? Style::yellow : Style::red;
}

std::string dayOfReview(const CachedReview& review) {
    return review.createdAt == Date{} ? "" : formatISO8601(review.createdAt).substr(0, 10);
}

// Each line of a foreign text, moved in.
void printMovedIn(Output& output, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (!isBlank(text.substr(0, end))) output.line("  " + std::string(trim(text.substr(0, end))));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string barOf(std::int64_t count, std::int64_t greatest, std::size_t longest) {
    if (count <= 0 || greatest <= 0) return "";
    const double share = static_cast<double>(count) / static_cast<double>(greatest);
    const auto cells =
        std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(share * static_cast<double>(longest))));
    std::string bar;
    for (std::size_t cell = 0; cell < cells; ++cell)
        bar += "█";
    return bar;
}

void printDistribution(Output& output, const ReviewStatistics& statistics) {
    output.styledLine(output.styled(Style::bold, reviewTexts::distributionTitle));
    std::int64_t greatest = 0;
    for (const auto& each : statistics.stars)
        greatest = std::max(greatest, each.count);
    for (const auto& [stars, count] : statistics.stars) {
        const double share = 100.0 * static_cast<double>(count) / static_cast<double>(statistics.count);
        const std::string bar =
            padToWidth(barOf(count, greatest, longestBar), longestBar, Table::Align::left);
        output.styledLine(fmt::format("{}  {}  {:>6}  {:>3.0f} %", starsText(stars),
                                      output.styled(styleOfStars(stars), bar), count, share));
    }
    output.line(fmt::format("{:.2f} of 5 on average · {} without a response", *statistics.averageRating,
                            statistics.unanswered));
}

void printSentiments(Output& output, const ReviewStatistics& statistics) {
    const auto& [positive, mixed, neutral, negative] = statistics.sentiments;
    output.line();
    output.styledLine(output.styled(Style::bold, "SENTIMENT"));
    output.line(fmt::format(
        "{} positive · {} mixed · {} neutral · {} negative{}", positive, mixed, neutral, negative,
        statistics.unclassified > 0 ? fmt::format(" · {} not classified", statistics.unclassified) : ""));
    if (statistics.themes.empty()) return;
    output.line();
    Table table{.columns = {{"Theme", Table::Align::left, Table::Fit::cut},
                            {"Reviews", Table::Align::right},
                            {"Positive", Table::Align::right},
                            {"Mixed", Table::Align::right},
                            {"Neutral", Table::Align::right},
                            {"Negative", Table::Align::right}},
                .rows = {}};
    for (const auto& theme : statistics.themes) {
        if (table.rows.size() == themesShown) break;
        const auto& of = theme.sentiments;
        table.rows.push_back({theme.theme, std::to_string(theme.count), std::to_string(of.positive),
                              std::to_string(of.mixed), std::to_string(of.neutral),
                              std::to_string(of.negative)});
    }
    output.table(table);
    if (statistics.themes.size() > themesShown)
        output.line(fmt::format("and {} more", statistics.themes.size() - themesShown));
}

void printWeeks(Output& output, const ReviewStatistics& statistics) {
    constexpr std::size_t longest = 30;
    output.line();
    output.styledLine(output.styled(Style::bold, "PER WEEK (from Monday)"));
    std::int64_t greatest = 0;
    for (const auto& week : statistics.weeks)
        greatest = std::max(greatest, week.count);
    for (const auto& week : statistics.weeks)
        output.verbatim(fmt::format(
            "{}  {}  {:>6}{}", week.firstDay,
            padToWidth(barOf(week.count, greatest, longest), longest, Table::Align::left), week.count,
            week.averageRating ? fmt::format("  {:.1f} ★", *week.averageRating) : ""));
}

} // namespace

void printReview(Output& output, const SeenReview& seen, ReviewForm form) {
    const CachedReview& review = seen.review;
    std::vector<std::string> facts{dayOfReview(review), onOneLine(review.territory),
                                   onOneLine(review.reviewerNickname), onOneLine(review.sentiment)};
    if (form == ReviewForm::excerpt && seen.response) facts.emplace_back("answered");
    if (seen.hasDraft) facts.emplace_back("reply typed");
    std::erase(facts, "");
    output.styledLine(fmt::format("{}  {}",
                                  output.styled(styleOfStars(review.rating), starsText(review.rating)),
                                  fmt::join(facts, " · ")));
    if (!isBlank(review.title))
        output.styledLine("  " + output.styled(Style::bold, onOneLine(trim(review.title))));
    if (form == ReviewForm::whole) {
        printMovedIn(output, review.body);
    } else if (const std::string body = onOneLine(trim(review.body)); !body.empty()) {
        const auto excerpt = graphemePrefix(body, excerptLength);
        output.line(fmt::format("  {}{}", trim(excerpt), excerpt.size() < body.size() ? "…" : ""));
    }
    std::string last = onOneLine(review.id);
    for (const std::string& theme : review.themes)
        last += " · " + onOneLine(theme);
    output.styledLine("  " + output.styled(Style::dim, last));
}

void printResponse(Output& output, const CustomerReviewResponseAttributes& response) {
    const std::string day = response.lastModifiedDate.value_or("").substr(0, 10);
    output.styledLine(fmt::format("  {}{}{}", reviewTexts::responseLead, onOneLine(day),
                                  response.state == "PENDING_PUBLISH" ? reviewTexts::waitingText : ""));
    printMovedIn(output, response.responseBody.value_or(""));
}

void printReply(Output& output, std::string_view text, std::int64_t length) {
    output.styledLine(
        output.styled(Style::bold, fmt::format("  Your reply, {}/{} characters", length, longestReply)));
    printMovedIn(output, text);
}

void printStatistics(Output& output, const CountReviews::Result& result) {
    if (result.statistics.count == 0) return;
    printDistribution(output, result.statistics);
    printSentiments(output, result.statistics);
    printWeeks(output, result.statistics);
}

} // namespace quorvel
