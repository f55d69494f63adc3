// What the metadata controller of an app shows.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/MetadataSnapshot.h"
#include "Core/metadata/OlderLayout.h"
#include "Core/metadata/PendingChange.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/json/RawValue.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

enum class MetadataOperation { pull, push, addLocale, revert, importTexts, tidy, translate };

template <>
struct RawValues<MetadataOperation> {
    using M = MetadataOperation;
    static constexpr std::pair<M, std::string_view> values[] = {
        {M::pull, "pull"},          {M::push, "push"}, {M::addLocale, "addLocale"}, {M::revert, "revert"},
        {M::importTexts, "import"}, {M::tidy, "tidy"}, {M::translate, "translate"}};
};

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
};

struct MetadataState {
    struct Progress {
        std::size_t done = 0;
        std::size_t total = 0;
        bool operator==(const Progress&) const = default;
    };

    std::optional<MetadataOperation> running;
    std::string status; // what is being done, or what was done last
    std::optional<Progress> progress;
    std::optional<std::string> error; // of the last operation, for a banner
    std::vector<PlatformContext> contexts;
    std::optional<std::string> selectedContextId;
    MetadataSnapshot grid;              // of the selected context
    std::vector<PendingChange> changes; // of the selected context, those of disabled locales left out
    std::size_t pulledLocales = 0;      // of the selected context, those with a copy of App Store Connect
    std::vector<std::string> missingLocales; // that the app manages but the selected context has no folder of
    LocaleSet disabledLocales;               // of the app
    std::optional<std::string> notice;       // that there is nothing to compare with, for a banner
    std::optional<PullResult> lastPull;
    std::vector<PushOutcome> lastPush;
    OlderLayoutReport olderLayout; // what became of a tree of the older layout when one was met last

    [[nodiscard]] std::optional<PlatformContext> selectedContext() const;
    [[nodiscard]] MetadataChecklist checklist() const;
};

} // namespace quorvel
