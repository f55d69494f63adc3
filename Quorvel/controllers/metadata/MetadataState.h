// What the metadata controller of an app shows.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/PlatformContext.h"
#include "Core/metadata/TextComparison.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// The words for the metadata step of a release checklist.
struct MetadataChecklist {
    struct Line {
        std::string title;
        std::string detail;
        bool holds = false;
        QUORVEL_RECORD(Line, title, detail, holds)
        bool operator==(const Line&) const = default;
    };
    Line pulled;
    Line limits;
    Line pushed;
    QUORVEL_RECORD(MetadataChecklist, pulled, limits, pushed)
    bool operator==(const MetadataChecklist&) const = default;

    /// `missingLocales` are managed by the app and have no folder in the context.
    [[nodiscard]] static MetadataChecklist of(const TextComparison& texts, std::size_t missingLocales);
};

struct MetadataState {
    std::vector<PlatformContext> contexts;
    std::optional<std::string> selectedContextId;
    TextComparison texts;                    // of the selected context
    std::vector<std::string> missingLocales; // that the app manages but the selected context has no folder of
    std::optional<PullResult> lastPull;
    std::vector<PushOutcome> lastPush;

    [[nodiscard]] std::optional<PlatformContext> selectedContext() const;
    [[nodiscard]] MetadataChecklist checklist() const {
        return MetadataChecklist::of(texts, missingLocales.size());
    }
};

} // namespace quorvel
