// One SQLite file, without the engine's own headers.
#pragma once

#include "Platform/store/StoreError.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <variant>

namespace quorvel {

/// A value for a statement: null, integer, floating-point number, or text (any bytes), which is not copied.
using StoreValue = std::variant<std::monostate, std::int64_t, double, std::string_view>;

/// The columns of one row of a result, valid during the call that hands it over.
class StoreRow {
  public:
    virtual ~StoreRow() = default;
    [[nodiscard]] virtual bool isNull(int column) const = 0;
    [[nodiscard]] virtual std::int64_t integer(int column) const = 0;
    [[nodiscard]] virtual double number(int column) const = 0;
    [[nodiscard]] virtual std::string_view text(int column) const = 0;
};

/// A connection in WAL mode with foreign keys enforced. Statements are prepared once and kept. One thread at
/// a time. Everything throws `StoreError`.
class Database {
  public:
    /// Opens the file, or makes it for this user only, and sets the connection up. Waits up to `busyTimeout`
    /// for other processes, here and in every later operation; a cancelled task stops waiting and throws
    /// `CancellationError`.
    explicit Database(const std::filesystem::path& file,
                      std::chrono::milliseconds busyTimeout = std::chrono::seconds(30));
    ~Database();
    Database(Database&&) noexcept;
    Database& operator=(Database&&) noexcept;

    [[nodiscard]] const std::filesystem::path& file() const;

    /// Runs statements without results, separated by semicolons.
    void execute(std::string_view sql);
    /// Runs one statement; the number of rows that it changed.
    std::int64_t run(std::string_view sql, std::span<const StoreValue> values = {});
    /// Runs one query and calls `row` for each row of its result.
    void query(std::string_view sql, std::span<const StoreValue> values,
               const std::function<void(const StoreRow&)>& row);

    /// Runs `work` in one transaction that is rolled back when it throws. Acquires the write lock
    /// at the beginning, so that another writer cannot make it fail half way. Inside another transaction it
    /// is a savepoint, which is rolled back alone.
    void transaction(const std::function<void()>& work);

    /// The number kept in the file for the version of its schema; 0 in a new one.
    [[nodiscard]] std::int64_t schemaVersion();
    void setSchemaVersion(std::int64_t version);
    /// Puts all that was stored into the main file, so that it is whole by itself.
    void checkpoint();
    /// Throws a `StoreError` of the kind `damaged` that says what the engine found wrong.
    void checkIntegrity();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace quorvel
