// Property lists as Apple's services send them.
#pragma once

#include "Platform/json/JSONValue.h"

#include <stdexcept>
#include <string_view>

namespace quorvel {

/// Text that is no property list; the message holds no control character.
class PropertyListError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Reads an XML property list: dictionaries become objects, dates and data stay texts. Loads nothing, expands
/// no entity but XML's own, and refuses a document that declares its own and one that is nested deeper than
/// 64. Throws `PropertyListError`.
[[nodiscard]] JSONValue readPropertyList(std::string_view text);

} // namespace quorvel
