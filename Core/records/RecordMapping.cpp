#include "Core/records/RecordMapping.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <chrono>

namespace quorvel::records {

using std::chrono::microseconds;

std::int64_t microsecondsOf(Date date) {
    return std::chrono::floor<microseconds>(date.time_since_epoch()).count();
}

Date dateOfMicroseconds(std::int64_t count) {
    // What a damaged file may hold must not run over.
    constexpr std::int64_t first = std::chrono::ceil<microseconds>(Date::min().time_since_epoch()).count();
    constexpr std::int64_t last = std::chrono::floor<microseconds>(Date::max().time_since_epoch()).count();
    return Date(std::chrono::duration_cast<Date::duration>(microseconds(std::clamp(count, first, last))));
}

void failColumn(std::string_view table, int column, const JSONError& error) {
    throw StoreError(StoreError::Kind::damaged, fmt::format("a record of {} is damaged in its value {}: {}",
                                                            table, column + 1, error.what()));
}

std::string selection(std::string_view table, std::span<const std::string_view> columns) {
    return fmt::format("SELECT {} FROM {} ", fmt::join(columns, ", "), table);
}

std::string insertion(std::string_view table, std::span<const std::string_view> columns, std::string_view key,
                      Existing existing) {
    std::vector<std::string> places, updates;
    for (const std::string_view column : columns) {
        places.push_back(fmt::format("?{}", places.size() + 1));
        updates.push_back(fmt::format("{0} = excluded.{0}", column));
    }
    std::string sql = fmt::format("INSERT INTO {} ({}) VALUES ({})", table, fmt::join(columns, ", "),
                                  fmt::join(places, ", "));
    if (key.empty()) return sql;
    return existing == Existing::keep
               ? sql + " ON CONFLICT DO NOTHING"
               : fmt::format("{} ON CONFLICT ({}) DO UPDATE SET {}", sql, key, fmt::join(updates, ", "));
}

} // namespace quorvel::records
