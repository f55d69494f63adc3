#include "Core/ai/ClaudeCostRecorder.h"

#include "Core/ai/ClaudePricing.h"
#include "Core/ai/ReferenceDate.h"
#include "Platform/files/Files.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace quorvel {

namespace {

constexpr std::uint64_t longestLog = 1ULL << 32; // bytes

struct Line {
    double timestamp = 0; // seconds since 2001
    std::string model;
    std::int64_t inputTokens = 0;
    std::int64_t outputTokens = 0;
    double costUSD = 0;
    bool cached = false;
    std::optional<std::string> feature;
    QUORVEL_RECORD(Line, timestamp, model, inputTokens, outputTokens, costUSD, cached, feature)
};

std::optional<ClaudeCostRecorder::LogEntry> decodeLine(std::string_view text) {
    try {
        auto line = decodeJSON<Line>(text);
        return ClaudeCostRecorder::LogEntry{.timestamp = dateFromSecondsSince2001(line.timestamp),
                                            .model = std::move(line.model),
                                            .inputTokens = line.inputTokens,
                                            .outputTokens = line.outputTokens,
                                            .costUSD = line.costUSD,
                                            .cached = line.cached,
                                            .feature = line.feature.value_or("")};
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

} // namespace

ClaudeCostRecorder::ClaudeCostRecorder(std::filesystem::path logURL, Clock clock)
    : logURL_(std::move(logURL)), clock_(std::move(clock)) {
    createFolders(logURL_.parent_path(), FolderMode::secret);
}

void ClaudeCostRecorder::record(std::string_view model, const ClaudeResponse& response, Origin origin,
                                std::string_view feature) const {
    const ClaudeResponse::Usage& usage = response.usage;
    const Line line{.timestamp = secondsSince2001(clock_()),
                    .model = std::string(model),
                    .inputTokens = usage.inputTokens,
                    .outputTokens = usage.outputTokens,
                    .costUSD = origin == Origin::cache
                                   ? 0
                                   : ClaudePricing::cost(model, usage.inputTokens, usage.outputTokens),
                    .cached = origin == Origin::cache,
                    .feature = feature.empty() ? std::nullopt : std::optional(std::string(feature))};
    const std::string text = encodeJSON(line);
    try {
        appendLine(logURL_, text, FileMode::secret);
    } catch (const FileError& error) {
        logger_.warning(fmt::format("The cost of a call is not recorded: {}", error.what()));
    }
}

std::vector<ClaudeCostRecorder::LogEntry> ClaudeCostRecorder::entries() const {
    const auto text = readFile(logURL_, longestLog);
    std::vector<LogEntry> entries;
    for (std::string_view rest = text ? std::string_view(*text) : std::string_view(); !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        if (auto entry = decodeLine(rest.substr(0, end))) entries.push_back(std::move(*entry));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return entries;
}

double ClaudeCostRecorder::totalCost(double lastSeconds) const {
    const double cutoff = secondsSince1970(clock_()) - lastSeconds;
    double total = 0;
    for (const LogEntry& entry : entries())
        if (secondsSince1970(entry.timestamp) >= cutoff) total += entry.costUSD;
    return total;
}

} // namespace quorvel
