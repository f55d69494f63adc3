// The tables of the records and how older ones become today's.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace quorvel {

class Database;

/// The schema of the store: eleven models, each a table named after it with a column per member. Dates are
/// microseconds since 1970; lists and maps are JSON.
class CoreSchema {
  public:
    static constexpr std::string_view version = "1.0.0";
    /// The same number in the file: 1,000,000 for the major, 1,000 for the minor, 1 for the patch version.
    static constexpr std::int64_t versionNumber = 1'000'000;

    [[nodiscard]] static std::span<const std::string_view> models();

    /// Makes the tables in a new file.
    static void create(Database& database);

    /// Migrates the schema from one version to a later one.
    struct Step {
        std::int64_t from;
        std::int64_t to;
        std::string_view sql;
    };
    [[nodiscard]] static std::span<const Step> steps();

    /// Brings an older file up to `target` by the steps that lead there, all in one transaction. Throws
    /// `StoreError`: `newerSchema` when it is beyond `target`, `damaged` when no steps lead there.
    static void migrate(Database& database, std::span<const Step> steps = CoreSchema::steps(),
                        std::int64_t target = versionNumber);

    /// Reads a row of every table. Throws `StoreError` of the kind `damaged` where something is missing.
    static void checkTables(Database& database);
};

} // namespace quorvel
