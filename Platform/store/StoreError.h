// What goes wrong with a database file.
#pragma once

#include <stdexcept>
#include <string>

namespace quorvel {

/// An operation on a database that failed; the text says what was attempted and the engine's reason.
class StoreError : public std::runtime_error {
  public:
    enum class Kind {
        busy,        // another process holds it, longer than was waited for
        full,        // no room on the disk
        readOnly,    // may be read but not written
        damaged,     // the file is not a database, or its content contradicts itself
        newerSchema, // written by a later version of the program
        constraint,  // refused by a rule of the schema
        statement,   // the engine takes no such statement: a table or a column is missing
        noFile,      // what has its name cannot hold a database, such as a folder
        unavailable, // cannot be opened, read or written now
    };

    StoreError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    Kind kind_;
};

/// What an error of the system (`errno`) on a file of the database amounts to.
[[nodiscard]] StoreError::Kind kindOfSystemError(int number);

} // namespace quorvel
