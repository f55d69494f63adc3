#include "Platform/store/Database.h"

#include "Platform/store/EngineErrors.h"
#include "Platform/store/Statement.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace quorvel {

namespace {

using std::chrono::steady_clock;

struct ConnectionDeleter {
    void operator()(sqlite3* connection) const { sqlite3_close(connection); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionDeleter>;

// The engine calls the handler again and again while another process holds the database.
struct BusyWait {
    std::chrono::milliseconds timeout;
    steady_clock::time_point begun;

    static int handle(void* wait, int attempt) {
        auto& self = *static_cast<BusyWait*>(wait);
        const auto now = steady_clock::now();
        if (attempt == 0) self.begun = now;
        if (now - self.begun >= self.timeout || currentStopToken().stop_requested()) return 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(1 + attempt, 20)));
        return 1;
    }
};

// The engine alone would make the file world-readable. Its companions get the mode of the file.
void makePrivate(const std::filesystem::path& file) {
    // Opens a new file only: closing any descriptor of a file releases all locks of this process on it.
    const int made = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made >= 0) ::close(made);
}

void keepPrivate(const std::filesystem::path& file) {
    using std::filesystem::perms;
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const std::filesystem::path companion = file.native() + suffix;
        std::error_code ignored; // another user may own it
        const perms mode = std::filesystem::status(companion, ignored).permissions();
        if (!ignored && mode != perms::unknown &&
            (mode & (perms::group_all | perms::others_all)) != perms::none)
            std::filesystem::permissions(companion, perms::owner_read | perms::owner_write, ignored);
    }
}

} // namespace

struct Database::State {
    std::filesystem::path file;
    BusyWait wait;
    Connection connection;
    StatementCache statements; // finalized before the connection is closed
    int depth = 0;             // of transactions

    [[noreturn]] void fail(int result) const {
        const StoreError error = storeError(file, result, connection.get());
        if (error.kind() == StoreError::Kind::busy) checkCancellation();
        throw StoreError(error);
    }
    void check(int result) const {
        if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE) fail(result);
    }

    void execute(const char* sql) const {
        check(sqlite3_exec(connection.get(), sql, nullptr, nullptr, nullptr));
    }

    [[nodiscard]] Statement prepare(std::string_view sql) {
        if (Statement kept = statements.take(sql)) return kept;
        sqlite3_stmt* made = nullptr;
        check(sqlite3_prepare_v3(connection.get(), sql.data(), static_cast<int>(sql.size()),
                                 SQLITE_PREPARE_PERSISTENT, &made, nullptr));
        return Statement(made);
    }

    // Steps through one statement, and calls `row` with it for each row.
    template <typename Row>
    void step(std::string_view sql, std::span<const StoreValue> values, Row&& row) {
        if (depth > 0 && sqlite3_get_autocommit(connection.get()))
            throw StoreError(StoreError::Kind::unavailable,
                             fmt::format("{}: the transaction was rolled back by an earlier failure",
                                         escapeControls(file.native())));
        Statement statement = prepare(sql);
        struct Return {
            State& state;
            std::string_view sql;
            Statement& statement;
            ~Return() {
                sqlite3_reset(statement.get());
                sqlite3_clear_bindings(statement.get());
                state.statements.giveBack(sql, std::move(statement));
            }
        } const giveBack{*this, sql, statement};
        check(bindValues(statement.get(), values));
        for (int result = SQLITE_ROW; result == SQLITE_ROW;) {
            result = sqlite3_step(statement.get());
            check(result);
            if (result == SQLITE_ROW) row(statement.get());
        }
    }
};

Database::Database(const std::filesystem::path& file, std::chrono::milliseconds busyTimeout)
    : state_(std::make_unique<State>()) {
    state_->file = std::filesystem::absolute(file);
    state_->wait = {busyTimeout, {}};
    makePrivate(state_->file);
    sqlite3* connection = nullptr;
    const int result = sqlite3_open_v2(
        state_->file.c_str(), &connection,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    state_->connection.reset(connection);
    state_->check(result);
    if (sqlite3_db_readonly(connection, "main") == 1) state_->fail(SQLITE_READONLY);
    keepPrivate(state_->file);
    sqlite3_busy_handler(connection, &BusyWait::handle, &state_->wait);
    state_->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; "
                    "PRAGMA foreign_keys = ON;PRAGMA cell_size_check = ON");
}

Database::~Database() = default;
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;

const std::filesystem::path& Database::file() const {
    return state_->file;
}

void Database::execute(std::string_view sql) {
    state_->execute(std::string(sql).c_str());
}

std::int64_t Database::run(std::string_view sql, std::span<const StoreValue> values) {
    const auto before = sqlite3_total_changes64(state_->connection.get());
    state_->step(sql, values, [](sqlite3_stmt*) {});
    // Changes that follow by cascade are not counted by the engine's own number for the statement.
    return sqlite3_total_changes64(state_->connection.get()) == before
               ? 0
               : sqlite3_changes64(state_->connection.get());
}

void Database::query(std::string_view sql, std::span<const StoreValue> values,
                     const std::function<void(const StoreRow&)>& row) {
    state_->step(sql, values, [&](sqlite3_stmt* statement) { row(StatementRow(statement)); });
}

void Database::transaction(const std::function<void()>& work) {
    State& state = *state_;
    const bool outermost = state.depth == 0;
    state.execute(outermost ? "BEGIN IMMEDIATE" : "SAVEPOINT part");
    ++state.depth;
    try {
        work();
        state.execute(outermost ? "COMMIT" : "RELEASE part");
        --state.depth;
    } catch (...) {
        --state.depth;
        // Some failures have rolled everything back already.
        if (!sqlite3_get_autocommit(state.connection.get()))
            sqlite3_exec(state.connection.get(), outermost ? "ROLLBACK" : "ROLLBACK TO part; RELEASE part",
                         nullptr, nullptr, nullptr);
        throw;
    }
}

std::int64_t Database::schemaVersion() {
    std::int64_t version = 0;
    query("PRAGMA user_version", {}, [&](const StoreRow& row) { version = row.integer(0); });
    return version;
}

void Database::setSchemaVersion(std::int64_t version) {
    execute(fmt::format("PRAGMA user_version = {}", version));
}

void Database::checkpoint() {
    query("PRAGMA wal_checkpoint(TRUNCATE)", {}, [&](const StoreRow& row) {
        if (row.integer(0) != 0) state_->fail(SQLITE_BUSY);
    });
}

void Database::checkIntegrity() {
    std::string found;
    query("PRAGMA quick_check(1)", {}, [&](const StoreRow& row) { found = row.text(0); });
    // A page that could not be read says nothing of what it holds.
    constexpr std::string_view unread = "unable to get the page. error code=";
    if (const auto place = found.find(unread); place != std::string::npos)
        state_->fail(std::atoi(found.c_str() + place + unread.size()));
    if (found != "ok")
        throw StoreError(
            StoreError::Kind::damaged,
            fmt::format("{}: is damaged ({})", escapeControls(state_->file.native()), escapeControls(found)));
}

} // namespace quorvel
