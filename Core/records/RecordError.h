// A record that cannot be made or changed as asked.
#pragma once

#include <stdexcept>
#include <string>

namespace quorvel {

/// The text is for users and says what to do.
class RecordError : public std::runtime_error {
  public:
    enum class Kind {
        blankName,
        invalidName, // not UTF-8, too long, or with control characters
        nameTaken,
        gone, // the record was removed
    };

    RecordError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    Kind kind_;
};

} // namespace quorvel
