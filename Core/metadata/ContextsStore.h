// The platform contexts of an app that were last seen, kept in its metadata folder.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct PersistedContexts {
    Date lastUpdated;
    std::vector<PlatformContext> contexts;
    std::optional<std::string> selectedContextId; // such as "ios/next"
    QUORVEL_RECORD(PersistedContexts, lastUpdated, contexts, selectedContextId)

    /// Whether there are none, or one is of these versions: those of another app are of none of them.
    [[nodiscard]] bool areOf(const std::vector<std::string>& versionIDs) const;
    bool operator==(const PersistedContexts&) const = default;
};

/// Reads and writes .brevant/contexts.json under the root of an app's metadata folder.
class ContextsStore {
  public:
    ContextsStore(MetadataFolder appFolder, Clock clock);

    /// What was saved; nothing when the file is missing or cannot be read or understood.
    [[nodiscard]] std::optional<PersistedContexts> load() const;
    /// Saves with the current time. Throws `FileError`.
    void save(const std::vector<PlatformContext>& contexts,
              const std::optional<std::string>& selectedContextId) const;

  private:
    MetadataFolder folder_;
    Clock clock_;
    Logger logger_{"ContextsStore"};
};

} // namespace quorvel
