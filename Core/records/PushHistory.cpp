#include "Core/metadata/PendingChange.h"
#include "Core/records/RecordMapping.h"
#include "Core/records/Records.h"

#include <fmt/format.h>

#include <limits>

namespace quorvel {

using namespace records;

namespace {

// `isOutcomeUnknown` for the engine.
const std::string unknownOutcome =
    fmt::format("NOT success AND (errorMessage IS NULL OR instr(errorMessage, '{}') > 0)", mayHaveTakenText);

// The runs of an app, the newest first. What a run says of itself is taken from its first entry.
std::vector<PushRun> fetchRuns(const ModelContainer& container, std::string_view filter,
                               std::initializer_list<StoreValue> values) {
    const std::string sql = fmt::format(
        "SELECT run.*, entry.versionString, entry.platform, entry.stateClass FROM (SELECT sessionId, "
        "min(timestamp), max(timestamp) AS finished, count(*), sum(NOT success), sum({}), "
        "count(DISTINCT nullif(locale, '')), min(identity) AS first FROM PushHistoryEntry WHERE app = ?1 AND {} "
        "GROUP BY sessionId ORDER BY finished DESC, first DESC LIMIT ?2) AS run "
        "JOIN PushHistoryEntry AS entry ON entry.identity = first ORDER BY finished DESC, first DESC",
        unknownOutcome, filter);
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
                            .failed = row.integer(4) - row.integer(5),
                            .unknown = row.integer(5),
                            .locales = row.integer(6),
                            .versionString = text(row, 8),
                            .platform = text(row, 9),
                            .stateClass = text(row, 10)});
        });
    });
    return runs;
}

std::int64_t rowLimit(std::size_t limit) {
    return limit == 0 ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(limit);
}

// Removes what was recorded before the field was sent.
void withdraw(Database& database, const PushHistoryEntry& entry) {
    if (!entry.app || !entry.sessionId) return;
    erase<PushHistoryEntry>(database,
                            "WHERE app = ?1 AND sessionId = ?2 AND locale = ?3 AND fieldType = ?4 "
                            "AND NOT success AND errorMessage IS NULL",
                            {std::string_view(*entry.app), std::string_view(*entry.sessionId),
                             std::string_view(entry.locale), std::string_view(entry.fieldType)});
}

} // namespace

bool isOutcomeUnknown(const PushHistoryEntry& entry) {
    return !entry.success &&
           (!entry.errorMessage || entry.errorMessage->find(mayHaveTakenText) != std::string::npos);
}

PushHistory::PushHistory(SharedContainer container) : container_(std::move(container)) {}

void PushHistory::record(std::span<const PushHistoryEntry> entries) const {
    if (entries.empty()) return;
    container_->write([&](Database& database) {
        for (const PushHistoryEntry& entry : entries)
            insert(database, entry);
    });
}

void PushHistory::settle(std::span<const PushHistoryEntry> known,
                         std::span<const PushHistoryEntry> unsent) const {
    if (known.empty() && unsent.empty()) return;
    container_->write([&](Database& database) {
        for (const auto& entries : {known, unsent})
            for (const PushHistoryEntry& entry : entries)
                withdraw(database, entry);
        for (const PushHistoryEntry& entry : known)
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
