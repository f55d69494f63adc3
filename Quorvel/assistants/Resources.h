// Store texts as resources, and what completes their addresses.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Quorvel/application/Application.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Serves the texts of the recorded apps of one workspace; nothing leaves the apps' folders.
class TextResources {
  public:
    TextResources(Application& application, std::optional<std::string> workspace)
        : application_(application), workspace_(std::move(workspace)) {}

    static constexpr std::string_view uriTemplate =
        "quorvel://texts/{app}/{platform}/{slot}/{locale}/{field}";

    /// A page of the locales of all pulled contexts, `cursor` as the page before told it. Throws
    /// `ProtocolError` for another cursor.
    [[nodiscard]] JSONValue list(const JSONValue* cursor);
    [[nodiscard]] static JSONValue templates();
    /// The "contents" of an address of a locale or of one of its fields; nothing where there is none.
    [[nodiscard]] std::optional<JSONValue> read(std::string_view uri);

    /// What a part of an address can be, the parts before it given where they are known.
    [[nodiscard]] std::vector<std::string> values(std::string_view part, const JSONValue* known);
    /// The short names of the recorded apps.
    [[nodiscard]] std::vector<std::string> apps();

  private:
    Application& application_;
    const std::optional<std::string> workspace_;
};

} // namespace quorvel
