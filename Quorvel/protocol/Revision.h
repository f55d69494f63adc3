// The revisions of the assistants' protocol that are spoken, and what differs between them.
#pragma once

#include "Platform/json/RawValue.h"

#include <compare>
#include <string_view>
#include <utility>

namespace quorvel {

/// Oldest first.
enum class Revision { r20241105, r20250326, r20250618, r20251125, r20260728 };

template <>
struct RawValues<Revision> {
    using R = Revision;
    static constexpr std::pair<R, std::string_view> values[] = {{R::r20241105, "2024-11-05"},
                                                                {R::r20250326, "2025-03-26"},
                                                                {R::r20250618, "2025-06-18"},
                                                                {R::r20251125, "2025-11-25"},
                                                                {R::r20260728, "2026-07-28"}};
};

inline constexpr Revision newestWithHandshake = Revision::r20251125;

/// Each request says by itself which revision it speaks; before, a handshake says it for all.
[[nodiscard]] constexpr bool isModern(Revision revision) {
    return revision >= Revision::r20260728;
}
[[nodiscard]] constexpr bool hasBatches(Revision revision) {
    return revision == Revision::r20250326;
}
[[nodiscard]] constexpr bool hasAnnotations(Revision revision) {
    return revision >= Revision::r20250326;
}
/// Completions are a capability, and progress has a message.
[[nodiscard]] constexpr bool namesCompletions(Revision revision) {
    return revision >= Revision::r20250326;
}
/// Results with a structure, titles, and questions to the user.
[[nodiscard]] constexpr bool hasStructuredContent(Revision revision) {
    return revision >= Revision::r20250618;
}

} // namespace quorvel
