// The engine's prepared statements; for the sources of this folder.
#pragma once

#include "Platform/store/Database.h"

#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>

namespace quorvel {

struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

/// Prepared statements by their text, each lent to one user at a time. None is ever dropped: the program has
/// few.
class StatementCache {
  public:
    /// The statement of `sql`, ready to be bound; empty when it has none or it is lent.
    [[nodiscard]] Statement take(std::string_view sql);
    void giveBack(std::string_view sql, Statement statement);

  private:
    std::map<std::string, Statement, std::less<>> statements_;
};

/// Binds `values` from the first place on, texts without a copy; the engine's result.
[[nodiscard]] int bindValues(sqlite3_stmt* statement, std::span<const StoreValue> values);

/// The current row of a statement.
class StatementRow final : public StoreRow {
  public:
    explicit StatementRow(sqlite3_stmt* statement) : statement_(statement) {}
    [[nodiscard]] bool isNull(int column) const override;
    [[nodiscard]] std::int64_t integer(int column) const override;
    [[nodiscard]] double number(int column) const override;
    [[nodiscard]] std::string_view text(int column) const override;

  private:
    sqlite3_stmt* statement_;
};

} // namespace quorvel
