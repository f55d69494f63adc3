#include "Platform/store/Statement.h"

#include <type_traits>

namespace quorvel {

namespace {

int bindValue(sqlite3_stmt* statement, int place, const StoreValue& value) {
    return std::visit(
        [&](const auto& held) {
            using T = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_same_v<T, std::int64_t>)
                return sqlite3_bind_int64(statement, place, held);
            else if constexpr (std::is_same_v<T, double>)
                return sqlite3_bind_double(statement, place, held);
            else if constexpr (std::is_same_v<T, std::string_view>) // a null address would bind null
                return sqlite3_bind_text64(statement, place, held.data() ? held.data() : "", held.size(),
                                           SQLITE_STATIC, SQLITE_UTF8);
            else
                return sqlite3_bind_null(statement, place);
        },
        value);
}

} // namespace

Statement StatementCache::take(std::string_view sql) {
    const auto found = statements_.find(sql);
    return found == statements_.end() ? nullptr : std::move(found->second);
}

void StatementCache::giveBack(std::string_view sql, Statement statement) {
    const auto found = statements_.find(sql);
    if (found == statements_.end())
        statements_.emplace(sql, std::move(statement));
    else if (!found->second)
        found->second = std::move(statement);
}

int bindValues(sqlite3_stmt* statement, std::span<const StoreValue> values) {
    int place = 0;
    for (const StoreValue& value : values)
        if (const int result = bindValue(statement, ++place, value); result != SQLITE_OK) return result;
    return SQLITE_OK;
}

bool StatementRow::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t StatementRow::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double StatementRow::number(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string_view StatementRow::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (!bytes) return {};
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

} // namespace quorvel
