// Summaries of all apps for the workspace's home.
#pragma once

#include "Core/metadata/ContextsStore.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"
#include "Platform/notify/NotificationCenter.h"
#include "Platform/notify/Published.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Posted after a pull saved an app's contexts; the payload's "app" is the id of the app's record.
inline constexpr std::string_view metadataContextsPersistedNotification = "Quorvel.metadataContextsPersisted";
/// Asks the main window to select the app whose record's id is the payload's "app".
inline constexpr std::string_view selectAppRequestedNotification = "Quorvel.selectAppRequested";

/// Whether a version in this state waits for an action of the developer.
[[nodiscard]] bool asksForAttention(std::string_view appStoreState);

/// Observes `metadataContextsPersistedNotification` and then rebuilds the summary of the app concerned.
/// Thread-safe.
class WorkspaceIndex {
  public:
    struct Summary {
        /// In the order in which the home screen groups its rows: something waits for the developer; a
        /// version is on its way through Apple's hands; all is on sale; nothing is known.
        enum class Bucket { attention, inReview, live, notPulled };

        std::string appID; // of the app's record
        std::optional<PlatformContext>
            headline;                          // the first that put the app into its bucket, next before live
        std::vector<PlatformContext> contexts; // as they were saved at the last pull
        std::optional<Date> lastUpdated;       // when that was
        QUORVEL_RECORD(Summary, appID, headline, contexts, lastUpdated)

        /// The first bucket that one of the contexts falls into.
        [[nodiscard]] Bucket bucket() const;
        /// How many contexts wait for the developer.
        [[nodiscard]] std::int64_t attentionCount() const;
        bool operator==(const Summary&) const = default;
    };
    struct State {
        std::map<std::string, Summary, std::less<>> summaries; // by app
        std::int64_t attentionCount = 0;                       // of all apps
        bool operator==(const State&) const = default;
    };

    WorkspaceIndex(AppRecords apps, Home home, Clock clock,
                   std::shared_ptr<NotificationCenter> notifications);
    ~WorkspaceIndex();

    [[nodiscard]] std::shared_ptr<const State> state() const;
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake);

    /// Reads the saved contexts of every app anew; an app whose folder or contexts cannot be read is
    /// `notPulled`. Blocking. Throws `StoreError`, `CancellationError`; the state is unchanged then.
    void rebuild();
    /// Reads those of one app; forgets an app that is gone. Throws like the other.
    void rebuild(std::string_view appID);

    /// The summary of an app's saved contexts.
    [[nodiscard]] static Summary summarize(std::string_view appID,
                                           const std::optional<PersistedContexts>& persisted);

  private:
    class Reader;

    std::shared_ptr<Reader> reader_; // also held by a notification that is being delivered
    NotificationCenter::Subscription subscription_;
};

template <>
struct RawValues<WorkspaceIndex::Summary::Bucket> {
    using B = WorkspaceIndex::Summary::Bucket;
    static constexpr std::pair<B, std::string_view> values[] = {{B::attention, "attention"},
                                                                {B::inReview, "inReview"},
                                                                {B::live, "live"},
                                                                {B::notPulled, "notPulled"}};
};

} // namespace quorvel
