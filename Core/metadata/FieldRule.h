// An app's own rule for one store text.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace quorvel {

/// Whether and how a field is translated, and a limit of the user's own; kept as raw strings, as records
/// store them.
struct FieldRule {
    std::string fieldType;
    std::string translateMode;
    std::optional<std::int64_t> maxLength; // absent: the standard limit
    std::optional<std::string> app;        // id of its app
    QUORVEL_RECORD(FieldRule, fieldType, translateMode, maxLength, app)

    [[nodiscard]] static FieldRule of(FieldType field, TranslateMode mode,
                                      std::optional<std::int64_t> maxLength = {},
                                      std::optional<std::string> app = {}) {
        return {std::string(rawValue(field)), std::string(rawValue(mode)), maxLength, std::move(app)};
    }
    /// Empty when the stored string is no field or mode that we know.
    [[nodiscard]] std::optional<FieldType> fieldTypeValue() const {
        return fromRawValue<FieldType>(fieldType);
    }
    [[nodiscard]] std::optional<TranslateMode> translateModeValue() const {
        return fromRawValue<TranslateMode>(translateMode);
    }
    bool operator==(const FieldRule&) const = default;
};

/// The limit of a field for an app with these rules: the rule's own where it has one above zero, else the
/// standard limit. Whether a change is over the limit is always told by the standard one.
[[nodiscard]] std::size_t limitOf(FieldType field, std::span<const FieldRule> rules);

} // namespace quorvel
