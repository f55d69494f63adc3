// Enumerations that are persisted and sent as raw strings.
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace quorvel {

/// Specialised per enumeration with `static constexpr std::pair<E, std::string_view> values[]`, in
/// declaration order.
template <typename Enumeration>
struct RawValues;

template <typename Enumeration>
concept HasRawValues = requires {
    RawValues<Enumeration>::values;
};

/// The raw string of an enumerator.
template <HasRawValues Enumeration>
[[nodiscard]] constexpr std::string_view rawValue(Enumeration value) {
    for (const auto& [candidate, raw] : RawValues<Enumeration>::values)
        if (candidate == value) return raw;
    return {};
}

/// The enumerator with this raw string; nothing when there is none.
template <HasRawValues Enumeration>
[[nodiscard]] constexpr std::optional<Enumeration> fromRawValue(std::string_view raw) {
    for (const auto& [candidate, candidateRaw] : RawValues<Enumeration>::values)
        if (candidateRaw == raw) return candidate;
    return std::nullopt;
}

} // namespace quorvel
