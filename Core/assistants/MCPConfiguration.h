// The entry of our server in the text of a client's configuration.
#pragma once

#include "Platform/json/JSONText.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A text that is no configuration; says what is wrong with it.
class MCPConfigurationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The text of a configuration, of which only the entry "quorvel" under "mcpServers" is ever changed: every
/// other byte stays. A value.
class MCPConfiguration {
  public:
    static constexpr std::string_view serversKey = "mcpServers";
    static constexpr std::string_view entryKey = "quorvel";

    /// Throws `MCPConfigurationError` for what is no JSON object, whose servers are none, or where one of the
    /// two keys stands twice, as programs differ in which of them they read.
    explicit MCPConfiguration(std::string text);

    /// What a configuration that does not exist yet begins from.
    [[nodiscard]] static MCPConfiguration empty() { return MCPConfiguration("{}\n"); }
    /// The entry that starts `binaryPath`.
    [[nodiscard]] static JSONValue entryFor(const std::string& binaryPath);

    [[nodiscard]] const std::string& text() const { return document_.text(); }
    [[nodiscard]] bool hasEntry() const { return entry_.has_value(); }
    /// The path in the entry; nothing without an entry, empty for one without a path.
    [[nodiscard]] std::optional<std::string> command() const;

    /// The text with the entry for `binaryPath`; as it is when it has exactly that.
    [[nodiscard]] std::string installing(const std::string& binaryPath) const;
    /// The text without the entry; "mcpServers" stays, even when it is empty then.
    [[nodiscard]] std::string uninstalling() const;

  private:
    [[nodiscard]] JSONValue entry() const;

    JSONText document_;
    JSONObjectSpan root_;
    std::optional<JSONObjectSpan> servers_;
    std::optional<std::size_t> entry_; // among the members of `servers_`
};

} // namespace quorvel
