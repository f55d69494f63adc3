#include "Quorvel/controllers/metadata/MetadataState.h"

#include "Core/metadata/MetadataTexts.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Line = MetadataChecklist::Line;

constexpr std::string_view pullFirstText = "Click Pull to fetch App Store Connect";

Line pulledLine(const TextComparison& texts, std::size_t missing) {
    Line line{"All locales pulled", std::string(pullFirstText), false};
    if (!texts.wasPulled) return line;
    line.holds = missing == 0;
    line.detail = line.holds ? fmt::format("{} locales on disk", texts.grid.locales.size())
                             : counted(missing, "locale") + " missing";
    return line;
}

Line limitsLine(const TextComparison& texts) {
    const std::size_t count = texts.overLimit();
    return {"Nothing over a character limit",
            count > 0 ? fmt::format("{} to trim before Push", count) : std::string(shortLimitsText),
            count == 0};
}

// Before the first pull nothing differs, but nothing is known to match either.
Line pushedLine(const TextComparison& texts) {
    Line line{"Local edits pushed", "Local matches App Store Connect", false};
    if (texts.waiting() > 0)
        line.detail = fmt::format("{} waiting for Push", texts.waiting());
    else if (!texts.wasPulled)
        line.detail = pullFirstText;
    else
        line.holds = true;
    return line;
}

} // namespace

MetadataChecklist MetadataChecklist::of(const TextComparison& texts, std::size_t missingLocales) {
    return {pulledLine(texts, missingLocales), limitsLine(texts), pushedLine(texts)};
}

std::optional<PlatformContext> MetadataState::selectedContext() const {
    const auto found = std::ranges::find_if(
        contexts, [&](const PlatformContext& context) { return context.id() == selectedContextId; });
    return found == contexts.end() ? std::nullopt : std::optional(*found);
}

} // namespace quorvel
