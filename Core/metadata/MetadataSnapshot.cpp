#include "Core/metadata/MetadataSnapshot.h"

#include "Platform/text/Text.h"

namespace quorvel {

namespace {

constexpr std::size_t previewLength = 80; // as many as fit into a wide column

} // namespace

MetadataSnapshot::Cell MetadataSnapshot::cell(std::string_view locale, FieldType field) const {
    const auto row = cells.find(locale);
    if (row == cells.end() || !row->second.contains(field)) return cellOf(std::nullopt, field);
    return row->second.at(field);
}

MetadataSnapshot::Cell MetadataSnapshot::cellOf(const std::optional<std::string>& text, FieldType field) {
    Cell cell{.maxLength = static_cast<std::int64_t>(limitOf(field))};
    if (!text) return cell;
    cell.status = CellStatus::empty;
    cell.remarks = remarksOn(*text, field);
    if (isBlank(*text)) return cell;
    const std::size_t count = graphemeCount(*text);
    cell.status = count > limitOf(field) ? CellStatus::overLimit : CellStatus::ok;
    cell.charCount = static_cast<std::int64_t>(count);
    cell.preview = graphemePrefix(*text, previewLength);
    return cell;
}

MetadataSnapshot MetadataSnapshot::of(const LocaleTexts& texts) {
    MetadataSnapshot grid;
    for (const auto& [locale, fields] : texts) {
        grid.locales.push_back(locale);
        for (const FieldType field : storeTexts)
            grid.cells[locale].emplace(field, cellOf(fields[field], field));
    }
    return grid;
}

} // namespace quorvel
