// How a described record becomes a row and a row a record, once for all models; for the sources of this
// folder.
#pragma once

#include "Core/records/ModelContainer.h"
#include "Core/records/ModelTables.h"
#include "Platform/store/Database.h"

#include <boost/mp11/algorithm.hpp>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace quorvel::records {

[[nodiscard]] std::int64_t microsecondsOf(Date date);
[[nodiscard]] Date dateOfMicroseconds(std::int64_t microseconds);
/// Throws the `StoreError` for a column whose text is not of the form expected.
[[noreturn]] void failColumn(std::string_view table, int column, const JSONError& error);

/// The statements that read and store a record; `Existing` tells what happens to a record with the same key.
[[nodiscard]] std::string selection(std::string_view table, std::span<const std::string_view> columns);
enum class Existing { update, keep };
[[nodiscard]] std::string insertion(std::string_view table, std::span<const std::string_view> columns,
                                    std::string_view key, Existing existing);

template <typename Record>
using Members = boost::describe::describe_members<Record, boost::describe::mod_public>;

template <typename Record>
constexpr auto columnsOf() {
    return []<template <typename...> typename List, typename... D>(List<D...>) {
        return std::array<std::string_view, sizeof...(D)>{D::name...};
    }(Members<Record>{});
}

/// A column as the type of its member tells it.
struct Column {
    std::string_view name;
    std::string_view type; // of the engine
    bool isOptional = false;
    bool isJSON = false; // a list or a map, as text
};

template <typename T>
constexpr Column columnOf(std::string_view name) {
    if constexpr (json::isOptional<T>) {
        Column column = columnOf<typename T::value_type>(name);
        column.isOptional = true;
        return column;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return {name, "TEXT"};
    } else if constexpr (std::is_same_v<T, Date> || std::is_integral_v<T>) {
        return {name, "INTEGER"};
    } else if constexpr (std::is_floating_point_v<T>) {
        return {name, "REAL"};
    } else {
        return {.name = name, .type = "TEXT", .isJSON = true};
    }
}

template <typename Record>
std::vector<Column> describedColumns() {
    std::vector<Column> columns;
    boost::mp11::mp_for_each<Members<Record>>([&](auto member) {
        using T = std::remove_cvref_t<decltype(std::declval<Record>().*member.pointer)>;
        columns.push_back(columnOf<T>(member.name));
    });
    return columns;
}

/// The value of one member for a statement; a text that has to be made is kept in `made`.
template <typename T>
StoreValue valueOf(const T& member, std::string& made) {
    if constexpr (json::isOptional<T>)
        return member ? valueOf(*member, made) : StoreValue{};
    else if constexpr (std::is_same_v<T, std::string>)
        return std::string_view(member);
    else if constexpr (std::is_same_v<T, Date>)
        return microsecondsOf(member);
    else if constexpr (std::is_integral_v<T>)
        return static_cast<std::int64_t>(member);
    else if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(member);
    else
        return std::string_view(made = encodeJSON(member));
}

template <typename T>
T memberOf(const StoreRow& row, int column, std::string_view table) {
    if constexpr (json::isOptional<T>) {
        if (row.isNull(column)) return std::nullopt;
        return memberOf<typename T::value_type>(row, column, table);
    } else if constexpr (std::is_same_v<T, std::string>) {
        return std::string(row.text(column));
    } else if constexpr (std::is_same_v<T, Date>) {
        return dateOfMicroseconds(row.integer(column));
    } else if constexpr (std::is_same_v<T, bool>) {
        return row.integer(column) != 0;
    } else if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(row.integer(column));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(row.number(column));
    } else {
        try {
            return decodeJSON<T>(row.text(column));
        } catch (const JSONError& error) {
            failColumn(table, column, error);
        }
    }
}

/// The record of a row that begins with the record's columns.
template <typename Record>
Record recordOf(const StoreRow& row) {
    Record record;
    int column = 0;
    boost::mp11::mp_for_each<Members<Record>>([&](auto member) {
        using T = std::remove_cvref_t<decltype(record.*member.pointer)>;
        record.*member.pointer = memberOf<T>(row, column++, tableOf<Record>.name);
    });
    return record;
}

/// The records that `clause` ("WHERE … ORDER BY …") picks.
template <typename Record>
std::vector<Record> select(Database& database, std::string_view clause,
                           std::initializer_list<StoreValue> values = {}) {
    static const std::string columns = selection(tableOf<Record>.name, columnsOf<Record>());
    std::vector<Record> found;
    database.query(columns + std::string(clause), {values.begin(), values.size()},
                   [&](const StoreRow& row) { found.push_back(recordOf<Record>(row)); });
    return found;
}

template <typename Record>
std::optional<Record> selectOne(Database& database, std::string_view clause,
                                std::initializer_list<StoreValue> values = {}) {
    auto found = select<Record>(database, clause, values);
    if (found.empty()) return std::nullopt;
    return std::move(found.front());
}

/// Stores a record. One with the same key is updated or kept. Whether anything changed.
template <typename Record>
bool insert(Database& database, const Record& record, Existing existing = Existing::update) {
    static const std::string statements[] = {
        insertion(tableOf<Record>.name, columnsOf<Record>(), tableOf<Record>.key, Existing::update),
        insertion(tableOf<Record>.name, columnsOf<Record>(), tableOf<Record>.key, Existing::keep)};
    std::array<StoreValue, columnsOf<Record>().size()> values;
    std::array<std::string, values.size()> made;
    std::size_t column = 0;
    boost::mp11::mp_for_each<Members<Record>>([&](auto member) {
        values[column] = valueOf(record.*member.pointer, made[column]);
        ++column;
    });
    return database.run(statements[existing == Existing::keep], values) > 0;
}

/// Deletes what `clause` ("WHERE …") picks; how many.
template <typename Record>
std::int64_t erase(Database& database, std::string_view clause,
                   std::initializer_list<StoreValue> values = {}) {
    return database.run("DELETE FROM " + std::string(tableOf<Record>.name) + " " + std::string(clause),
                        {values.begin(), values.size()});
}

// The same through the container, each alone.

template <typename Record>
std::vector<Record> fetch(const ModelContainer& container, std::string_view clause,
                          std::initializer_list<StoreValue> values = {}) {
    std::vector<Record> found;
    container.read([&](Database& database) { found = select<Record>(database, clause, values); });
    return found;
}

template <typename Record>
std::optional<Record> fetchOne(const ModelContainer& container, std::string_view clause,
                               std::initializer_list<StoreValue> values = {}) {
    std::optional<Record> found;
    container.read([&](Database& database) { found = selectOne<Record>(database, clause, values); });
    return found;
}

template <typename Record>
std::int64_t discard(const ModelContainer& container, std::string_view clause,
                     std::initializer_list<StoreValue> values = {}) {
    std::int64_t count = 0;
    container.write([&](Database& database) { count = erase<Record>(database, clause, values); });
    return count;
}

} // namespace quorvel::records
