// A read-only grid of one metadata tree: a cell per locale and store text.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/TextRemarks.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct MetadataSnapshot {
    enum class CellStatus { notPulled, empty, ok, overLimit };

    struct Cell {
        CellStatus status = CellStatus::notPulled;
        std::int64_t charCount = 0; // user-perceived characters
        std::int64_t maxLength = 0;
        std::string preview;             // the start of the text, at most 80 characters
        std::vector<TextRemark> remarks; // what is odd about the text
        QUORVEL_RECORD(Cell, status, charCount, maxLength, preview, remarks)
        bool operator==(const Cell&) const = default;
    };

    std::vector<std::string> locales;
    std::map<std::string, std::map<FieldType, Cell>, std::less<>> cells;

    /// The cell; one with the status `notPulled` for a locale or field that the grid does not hold.
    [[nodiscard]] Cell cell(std::string_view locale, FieldType field) const;

    /// The cell of a text, or of a missing one.
    [[nodiscard]] static Cell cellOf(const std::optional<std::string>& text, FieldType field);
    /// The grid of these texts.
    [[nodiscard]] static MetadataSnapshot of(const LocaleTexts& texts);

    bool operator==(const MetadataSnapshot&) const = default;
};

template <>
struct RawValues<MetadataSnapshot::CellStatus> {
    using S = MetadataSnapshot::CellStatus;
    static constexpr std::pair<S, std::string_view> values[] = {
        {S::notPulled, "notPulled"},
        {S::empty, "empty"},
        {S::ok, "ok"},
        {S::overLimit, "overLimit"},
    };
};

} // namespace quorvel
