#include "Core/records/RecordMapping.h"
#include "Core/records/Records.h"

#include <fmt/format.h>

#include <limits>

namespace quorvel {

using namespace records;

namespace {

// The runs of an app, the newest first. What a run says of itself is taken from its first entry.
std::vector<PushRun> fetchRuns(const ModelContainer& container, std::string_view filter,
                               std::initializer_list<StoreValue> values) {
    const std::string sql = fmt::format(
        "SELECT run.*, entry.versionString, entry.platform, entry.stateClass FROM (SELECT sessionId, "
        "min(timestamp), max(timestamp) AS finished, count(*), sum(NOT success), count(DISTINCT locale), "
        "min(identity) AS first FROM PushHistoryEntry WHERE app = ?1 AND {} GROUP BY sessionId ORDER BY "
        "finished DESC, first DESC LIMIT ?2) AS run JOIN PushHistoryEntry AS entry ON entry.identity = "
        "first ORDER BY finished DESC, first DESC",
        filter);
    const auto text = [](const StoreRow& row, int column) {
        return memberOf<std::optional<std::string>>(row, column, "PushHistoryEntry");
    };
    std::vector<PushRun> runs;
    container.read([&](Database& database) {
        database.query(sql, {values.begin(), values.size()}, [&](const StoreRow& row) {
            runs.push_back({.sessionId = std::string(row.text(0)),
                            .started = dateOfMicroseconds(row.integer(1)),
                            .finished = dateOfMicroseconds(row.integer(2)),
                            .fields = row.integer(3),
                            .failed = row.integer(4),
                            .locales = row.integer(5),
                            .versionString = text(row, 7),
                            .platform = text(row, 8),
                            .stateClass = text(row, 9)});
        });
    });
    return runs;
}

std::int64_t rowLimit(std::size_t limit) {
    return limit == 0 ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(limit);
}

} // namespace

PushHistory::PushHistory(SharedContainer container) : container_(std::move(container)) {}

void PushHistory::record(std::span<const PushHistoryEntry> entries) const {
    if (entries.empty()) return;
    container_->write([&](Database& database) {
        for (const PushHistoryEntry& entry : entries)
            insert(database, entry);
    });
}

std::vector<PushHistoryEntry> PushHistory::entries(std::string_view appID, std::size_t limit) const {
    return fetch<PushHistoryEntry>(*container_,
                                   "WHERE app = ?1 ORDER BY timestamp DESC, identity DESC LIMIT ?2",
                                   {appID, rowLimit(limit)});
}

std::vector<PushHistoryEntry> PushHistory::entriesOfRun(std::string_view appID,
                                                        std::string_view sessionId) const {
    return fetch<PushHistoryEntry>(*container_, "WHERE app = ?1 AND sessionId = ?2 ORDER BY identity",
                                   {appID, sessionId});
}

std::vector<PushRun> PushHistory::runs(std::string_view appID, std::size_t limit) const {
    return fetchRuns(*container_, "sessionId IS NOT NULL", {appID, rowLimit(limit)});
}

std::vector<PushRun> PushHistory::runsBeginningWith(std::string_view appID, std::string_view start) const {
    return fetchRuns(*container_, "sessionId >= ?3 AND substr(sessionId, 1, length(?3)) = ?3",
                     {appID, rowLimit(0), start});
}

} // namespace quorvel
