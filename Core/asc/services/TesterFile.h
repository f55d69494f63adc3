// Lists of testers as spreadsheets and other tools write them.
#pragma once

#include "Core/asc/records/BuildRecords.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Whether `text` has the form of an e-mail address.
[[nodiscard]] bool isEmailAddress(std::string_view text);

/// A line of a list that nobody can be invited by.
struct TesterFileProblem {
    std::int64_t line = 0; // counted from 1
    std::string text;
    QUORVEL_RECORD(TesterFileProblem, line, text)
    bool operator==(const TesterFileProblem&) const = default;
};

struct TesterFile {
    std::vector<BetaTesterCreateAttributes> testers; // each address once, as it was first written
    std::vector<TesterFileProblem> problems;         // bad addresses and the like, in order
    std::vector<TesterFileProblem> repeated;         // addresses that a line before has already
    bool operator==(const TesterFile&) const = default;
};

/// Reads values separated by commas, semicolons or tabs, quoted or not, in UTF-8. A first row without any
/// address is a header that names the columns; without one the addresses tell their own column, and the other
/// columns are the first and the last name. Other columns are left out. A list that cannot be understood as a
/// whole has one problem and no testers.
[[nodiscard]] TesterFile readTesterFile(std::string_view bytes);

} // namespace quorvel
