// A record that cannot be made or changed as asked.
#pragma once

#include <stdexcept>

namespace quorvel {

/// The text is for users and says what to do.
class RecordError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace quorvel
