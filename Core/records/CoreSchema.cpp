#include "Core/records/CoreSchema.h"

#include "Core/records/RecordMapping.h"
#include "Platform/store/Database.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace quorvel {

namespace {

using records::Column;
using records::TableRules;

constexpr auto modelNames =
    std::apply([](const auto&... table) { return std::array{table.rules.name...}; }, records::tables);

// The place of a column in a list, from 1; 0 when it is not in it.
std::size_t placeIn(std::string_view list, std::string_view column) {
    for (std::size_t place = 1; !list.empty(); ++place) {
        const std::size_t end = std::min(list.find(", "), list.size());
        if (list.substr(0, end) == column) return place;
        list.remove_prefix(std::min(end + 2, list.size()));
    }
    return 0;
}

std::vector<Column> inTableOrder(std::vector<Column> columns, const TableRules& table) {
    std::ranges::stable_sort(columns, {},
                             [&](const Column& column) { return placeIn(table.lastColumns, column.name); });
    return columns;
}

std::string definitionOf(const Column& column, const TableRules& table) {
    std::string sql = fmt::format("{} {}{}", column.name, column.type, column.isOptional ? "" : " NOT NULL");
    if (column.name == table.key || column.name == table.unique) sql += " UNIQUE";
    if (column.isJSON) sql += fmt::format(" CHECK (json_valid({}))", column.name);
    if (const auto& [name, owner, onDelete] = table.reference; name == column.name)
        sql += fmt::format(" REFERENCES {}(id) ON DELETE {}", owner, onDelete);
    return sql;
}

std::string creationOf(const TableRules& table, const std::vector<Column>& columns) {
    std::vector<std::string> parts{"identity INTEGER PRIMARY KEY"};
    for (const Column& column : inTableOrder(columns, table))
        parts.push_back(definitionOf(column, table));
    for (const std::string_view unique : {table.key, table.unique})
        if (unique.find(',') != unique.npos) parts.push_back(fmt::format("UNIQUE ({})", unique));
    std::string sql =
        fmt::format("CREATE TABLE {} (\n    {}\n) STRICT;\n", table.name, fmt::join(parts, ",\n    "));
    for (const auto& [name, indexed] : table.indexes)
        if (!name.empty()) sql += fmt::format("CREATE INDEX {} ON {}({});\n", name, table.name, indexed);
    return sql;
}

template <typename Record>
std::string creationOf(const records::Table<Record>& table) {
    return creationOf(table.rules, records::describedColumns<Record>());
}

std::string versionText(std::int64_t number) {
    return fmt::format("{}.{}.{}", number / 1'000'000, number / 1'000 % 1'000, number % 1'000);
}

std::string nameOf(const Database& database) {
    return escapeControls(database.file().native());
}

template <typename Record>
void readOne(Database& database, const records::Table<Record>&) {
    static_cast<void>(records::select<Record>(database, "LIMIT 1"));
}

} // namespace

std::span<const std::string_view> CoreSchema::models() {
    return modelNames;
}

std::span<const CoreSchema::Step> CoreSchema::steps() {
    return {}; // 1.0.0 is the first version
}

void CoreSchema::create(Database& database) {
    database.transaction([&] {
        std::apply([&](const auto&... table) { (database.execute(creationOf(table)), ...); },
                   records::tables);
        database.setSchemaVersion(versionNumber);
    });
}

void CoreSchema::migrate(Database& database, std::span<const Step> steps, std::int64_t target) {
    if (database.schemaVersion() == target) return;
    database.transaction([&] {
        // Another process may have migrated the store before this one could write.
        for (std::int64_t at = database.schemaVersion(); at != target;) {
            if (at > target)
                throw StoreError(
                    StoreError::Kind::newerSchema,
                    fmt::format(
                        "{}: its schema {} is newer than {}, the newest that this version of the program "
                        "knows",
                        nameOf(database), versionText(at), versionText(target)));
            const auto step = std::ranges::find(steps, at, &Step::from);
            if (step == steps.end() || step->to <= at)
                throw StoreError(
                    StoreError::Kind::damaged,
                    fmt::format("{}: nothing is known of its schema {}", nameOf(database), versionText(at)));
            database.execute(step->sql);
            at = step->to;
            database.setSchemaVersion(at);
        }
    });
}

void CoreSchema::checkTables(Database& database) {
    try {
        std::apply([&](const auto&... table) { (readOne(database, table), ...); }, records::tables);
    } catch (const StoreError& error) {
        if (error.kind() != StoreError::Kind::statement) throw;
        throw StoreError(StoreError::Kind::damaged, error.what());
    }
}

} // namespace quorvel
