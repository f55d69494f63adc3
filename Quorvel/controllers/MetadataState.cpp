#include "Quorvel/controllers/MetadataState.h"

#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view pullFirstText = "Click Pull to fetch App Store Connect";

std::size_t fieldsOverLimit(const MetadataSnapshot& grid, const LocaleSet& disabled) {
    std::size_t count = 0;
    for (const auto& [locale, cells] : grid.cells)
        if (!disabled.contains(locale))
            count += static_cast<std::size_t>(std::ranges::count_if(cells, [](const auto& cell) {
                return cell.second.status == MetadataSnapshot::CellStatus::overLimit;
            }));
    return count;
}

MetadataChecklist::Line pulledLine(const MetadataState& state) {
    MetadataChecklist::Line line{"All locales pulled", std::string(pullFirstText), false};
    const std::size_t missing = state.missingLocales.size();
    if (state.pulledLocales == 0) return line;
    line.holds = missing == 0;
    line.detail = line.holds ? fmt::format("{} locales on disk", state.grid.locales.size())
                             : counted(missing, "locale") + " missing";
    return line;
}

MetadataChecklist::Line limitsLine(const MetadataState& state) {
    const std::size_t count = fieldsOverLimit(state.grid, state.disabledLocales);
    return {"Nothing over a character limit",
            count > 0 ? fmt::format("{} to trim before Push", count) : std::string(shortLimitsText),
            count == 0};
}

// Before the first pull nothing differs, but nothing is known to match either.
MetadataChecklist::Line pushedLine(const MetadataState& state) {
    MetadataChecklist::Line line{"Local edits pushed", "Local matches App Store Connect", false};
    if (!state.changes.empty())
        line.detail = fmt::format("{} waiting for Push", state.changes.size());
    else if (state.pulledLocales == 0)
        line.detail = pullFirstText;
    else
        line.holds = true;
    return line;
}

} // namespace

std::optional<PlatformContext> MetadataState::selectedContext() const {
    const auto found = std::ranges::find_if(
        contexts, [&](const PlatformContext& context) { return context.id() == selectedContextId; });
    return found == contexts.end() ? std::nullopt : std::optional(*found);
}

MetadataChecklist MetadataState::checklist() const {
    return {pulledLine(*this), limitsLine(*this), pushedLine(*this)};
}

} // namespace quorvel
