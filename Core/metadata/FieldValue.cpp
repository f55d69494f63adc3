#include "Core/metadata/FieldValue.h"

#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/WebAddress.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// Quotes a value, cut, as a file may hold anything.
std::string quotedValue(std::string_view value) {
    constexpr std::size_t shown = 60;
    const std::string_view start = graphemePrefix(value, shown);
    return fmt::format("\"{}{}\"", escapeControls(start), start.size() < value.size() ? "…" : "");
}

std::optional<std::string> faultOfValue(FieldType field, std::string_view value) {
    switch (kindOf(field)) {
    case FieldKind::address:
        if (auto problem = problemOfAddress(value)) return *problem + ".";
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

} // namespace

std::string canonicalValue(FieldType field, std::string_view text) {
    if (isStoreText(field)) return std::string(text);
    const std::string_view bare = withoutByteOrderMark(text);
    if (kindOf(field) == FieldKind::text || isSecret(field)) return std::string(withoutFinalLineBreak(bare));
    return std::string(trim(bare));
}

std::optional<std::string> valueFault(FieldType field, std::string_view text) {
    if (isBlank(text) || isStoreText(field)) return std::nullopt;
    const std::string value = canonicalValue(field, text);
    const auto fault = faultOfValue(field, value);
    if (!fault) return std::nullopt;
    return fmt::format("{}: {} {}", fileNameOf(field), quotedValue(value), *fault);
}

} // namespace quorvel
