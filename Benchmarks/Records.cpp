// The store of the records: push history of 100,000 entries, and opening at start-up, against SQLite's C
// interface alone with the same tables and settings.
#include "Core/records/Records.h"
#include "Benchmarks/Ratio.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <sqlite3.h>

#include <stdexcept>

using namespace quorvel;

namespace {

constexpr std::size_t many = 100'000;
constexpr const char* settings =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON;";
constexpr const char* columns =
    "timestamp, locale, fieldType, previousValue, newValue, success, errorMessage, "
    "sessionId, versionString, platform, stateClass, app";

std::vector<PushHistoryEntry> entriesOf(const std::string& appID, std::size_t count) {
    const std::string_view locales[] = {"de-DE", "en-US", "fr-FR", "ja", "pt-BR"};
    std::vector<PushHistoryEntry> entries(count);
    for (std::size_t i = 0; i < count; ++i)
        entries[i] = {.timestamp = dateFromSecondsSince1970(1772368200 + static_cast<double>(i)),
                      .locale = std::string(locales[i % 5]),
                      .fieldType = "description",
                      .previousValue = std::string(300, 'p'),
                      .newValue = std::string(300, 'n'),
                      .success = i % 50 != 0,
                      .sessionId = "run-" + std::to_string(1'000'000 + i / 240),
                      .versionString = "2.4.3",
                      .platform = "IOS",
                      .stateClass = "editable",
                      .app = appID};
    return entries;
}

// A store with one app.
struct Store {
    explicit Store(std::size_t entries = 0)
        : container(ModelContainer::open(folder.path(), systemClock())), history(container) {
        appID = AppRecords(container, systemClock()).add({.slug = "garden"}).id;
        history.record(entriesOf(appID, entries));
    }
    test::TemporaryFolder folder;
    std::shared_ptr<ModelContainer> container;
    PushHistory history;
    std::string appID;
};

// The C interface, no more.
struct Bare {
    explicit Bare(const std::filesystem::path& folder) {
        check(sqlite3_open_v2((folder / "default.store").c_str(), &connection,
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr));
        check(sqlite3_exec(connection, settings, nullptr, nullptr, nullptr));
    }
    ~Bare() { sqlite3_close(connection); }
    static void check(int result) {
        if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errstr(result));
    }
    sqlite3_stmt* prepare(const std::string& sql) const {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr));
        return statement;
    }
    void insert(const std::vector<PushHistoryEntry>& entries) const {
        sqlite3_stmt* statement = prepare(std::string("INSERT INTO PushHistoryEntry (") + columns +
                                          ") VALUES (?,?,?,?,?,?,?,?,?,?,?,?)");
        const auto text = [&](int place, const std::string& value) {
            sqlite3_bind_text(statement, place, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        };
        check(sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
        for (const PushHistoryEntry& entry : entries) {
            const auto since1970 = entry.timestamp.time_since_epoch();
            sqlite3_bind_int64(statement, 1,
                               std::chrono::duration_cast<std::chrono::microseconds>(since1970).count());
            text(2, entry.locale);
            text(3, entry.fieldType);
            text(4, entry.previousValue);
            text(5, entry.newValue);
            sqlite3_bind_int(statement, 6, entry.success);
            sqlite3_bind_null(statement, 7);
            text(8, *entry.sessionId);
            text(9, *entry.versionString);
            text(10, *entry.platform);
            text(11, *entry.stateClass);
            text(12, *entry.app);
            if (sqlite3_step(statement) != SQLITE_DONE) throw std::runtime_error("not inserted");
            sqlite3_reset(statement);
        }
        sqlite3_finalize(statement);
        check(sqlite3_exec(connection, "COMMIT", nullptr, nullptr, nullptr));
    }
    std::vector<PushHistoryEntry> list(const std::string& appID) const {
        sqlite3_stmt* statement =
            prepare(std::string("SELECT ") + columns +
                    " FROM PushHistoryEntry WHERE app = ? ORDER BY timestamp DESC, identity DESC");
        sqlite3_bind_text(statement, 1, appID.data(), static_cast<int>(appID.size()), SQLITE_STATIC);
        const auto text = [&](int column) {
            const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
        };
        std::vector<PushHistoryEntry> entries;
        while (sqlite3_step(statement) == SQLITE_ROW) {
            PushHistoryEntry& entry = entries.emplace_back();
            entry.timestamp = Date(std::chrono::microseconds(sqlite3_column_int64(statement, 0)));
            entry.locale = text(1);
            entry.fieldType = text(2);
            entry.previousValue = text(3);
            entry.newValue = text(4);
            entry.success = sqlite3_column_int(statement, 5) != 0;
            entry.sessionId = text(7);
            entry.versionString = text(8);
            entry.platform = text(9);
            entry.stateClass = text(10);
            entry.app = text(11);
        }
        sqlite3_finalize(statement);
        return entries;
    }
    sqlite3* connection = nullptr;
};

void insertHistory(benchmark::State& state) {
    std::optional<Store> ours, theirs;
    std::optional<Bare> bare;
    std::vector<PushHistoryEntry> entries;
    std::vector<double> ourTimes, bareTimes, ratios;
    for (auto _ : state) {
        ours.emplace();
        theirs.emplace();
        bare.emplace(theirs->folder.path());
        entries = entriesOf(theirs->appID, many);
        bareTimes.push_back(benchmarks::secondsOf([&] { bare->insert(entries); }) * 1e3);
        entries = entriesOf(ours->appID, many);
        ourTimes.push_back(benchmarks::secondsOf([&] { ours->history.record(entries); }) * 1e3);
        ratios.push_back(ourTimes.back() / bareTimes.back());
        state.SetIterationTime(ourTimes.back() / 1e3);
        bare.reset();
    }
    state.counters["ours_ms"] = benchmarks::median(ourTimes);
    state.counters["bare_ms"] = benchmarks::median(bareTimes);
    state.counters["ratio"] = benchmarks::median(ratios);
    state.counters["limit"] = 1.1;
}

void listHistory(benchmark::State& state) {
    const Store store(many);
    const Bare bare(store.folder.path());
    if (store.history.entries(store.appID) != bare.list(store.appID))
        throw std::runtime_error("the listings differ");
    benchmarks::reportRatio(
        state, 1.1, [&] { benchmark::DoNotOptimize(store.history.entries(store.appID)); },
        [&] { benchmark::DoNotOptimize(bare.list(store.appID)); });
}

// The newest 20 of 417 runs, against counting the same entries.
void listRuns(benchmark::State& state) {
    const Store store(many);
    const Bare bare(store.folder.path());
    benchmarks::reportRatio(
        state, 0, [&] { benchmark::DoNotOptimize(store.history.runs(store.appID, 20)); },
        [&] {
            sqlite3_exec(bare.connection, "SELECT sum(success) FROM PushHistoryEntry", nullptr, nullptr,
                         nullptr);
        });
}

void openAndReadApps(const std::filesystem::path& folder) {
    const auto container = ModelContainer::open(folder, systemClock());
    if (container->rebuilt()) throw std::runtime_error("the store was rebuilt");
    benchmark::DoNotOptimize(AppRecords(container, systemClock()).all());
}

void openAndReadAppsBare(const std::filesystem::path& folder) {
    const Bare bare(folder);
    sqlite3_exec(bare.connection, "SELECT * FROM ManagedApp", nullptr, nullptr, nullptr);
}

void open(benchmark::State& state) {
    Store store(static_cast<std::size_t>(state.range(0)));
    store.container.reset();
    store.history = PushHistory(nullptr);
    benchmarks::reportRatio(
        state, 0, [&] { openAndReadApps(store.folder.path()); },
        [&] { openAndReadAppsBare(store.folder.path()); });
}

// The first start after damage was met, which checks the whole store.
void openWithCheck(benchmark::State& state) {
    Store store(many);
    store.container.reset();
    store.history = PushHistory(nullptr);
    benchmarks::reportRatio(
        state, 0,
        [&] {
            writeFileAtomically(store.folder / "Brevant" / "store.check", "");
            openAndReadApps(store.folder.path());
        },
        [&] { openAndReadAppsBare(store.folder.path()); });
}

} // namespace

BENCHMARK(insertHistory)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(listHistory)->UseManualTime()->Iterations(11)->Unit(benchmark::kMillisecond);
BENCHMARK(listRuns)->UseManualTime()->Iterations(11)->Unit(benchmark::kMillisecond);
BENCHMARK(open)->UseManualTime()->Arg(0)->Arg(1'000)->Arg(many)->Iterations(51)->Unit(
    benchmark::kMillisecond);
BENCHMARK(openWithCheck)->UseManualTime()->Iterations(7)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
