#include "Quorvel/workspace/WorkspaceIndex.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace quorvel {

using Summary = WorkspaceIndex::Summary;
using Bucket = Summary::Bucket;

namespace {

constexpr std::array<std::string_view, 8> waitForTheDeveloper = {"REJECTED",
                                                                 "DEVELOPER_REJECTED",
                                                                 "METADATA_REJECTED",
                                                                 "INVALID_BINARY",
                                                                 "REMOVED_FROM_SALE",
                                                                 "DEVELOPER_REMOVED_FROM_SALE",
                                                                 "PENDING_DEVELOPER_RELEASE",
                                                                 "PREPARE_FOR_SUBMISSION"};

Bucket bucketOf(const PlatformContext& context) {
    if (asksForAttention(context.appStoreState)) return Bucket::attention;
    return stateClassOf(context.appStoreState) == AppStoreVersionStateClass::live ? Bucket::live
                                                                                  : Bucket::inReview;
}

std::int64_t attentionOf(const std::map<std::string, Summary, std::less<>>& summaries) {
    std::int64_t count = 0;
    for (const auto& [app, summary] : summaries)
        count += summary.attentionCount();
    return count;
}

} // namespace

bool asksForAttention(std::string_view appStoreState) {
    return std::ranges::find(waitForTheDeveloper, appStoreState) != waitForTheDeveloper.end();
}

Bucket Summary::bucket() const {
    Bucket first = Bucket::notPulled;
    for (const PlatformContext& context : contexts)
        first = std::min(first, bucketOf(context));
    return first;
}

std::int64_t Summary::attentionCount() const {
    return std::ranges::count_if(contexts, asksForAttention, &PlatformContext::appStoreState);
}

Summary WorkspaceIndex::summarize(std::string_view appID, const std::optional<PersistedContexts>& persisted) {
    Summary summary{.appID = std::string(appID)};
    if (!persisted) return summary;
    summary.contexts = persisted->contexts;
    summary.lastUpdated = persisted->lastUpdated;
    for (const auto slot : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
        for (const PlatformContext& context : summary.contexts)
            if (!summary.headline && context.stateClass == slot && bucketOf(context) == summary.bucket())
                summary.headline = context;
    return summary;
}

class WorkspaceIndex::Reader {
  public:
    Reader(AppRecords apps, Home home, Clock clock)
        : apps_(std::move(apps)), home_(std::move(home)), clock_(std::move(clock)) {}

    Published<State>& published() { return published_; }

    // Both read within the update: one after another, so that none puts an older reading over a newer one.
    void readAll() {
        published_.update([this](State& state) {
            constexpr std::size_t threads = 4; // the files are small: it is the disk's latency that overlaps
            state.summaries.clear();
            for (Summary& summary :
                 parallelMap(apps_.all(), threads, [this](const ManagedApp& app) { return read(app); }))
                state.summaries.insert_or_assign(summary.appID, std::move(summary));
            state.attentionCount = attentionOf(state.summaries);
        });
    }

    void readOne(std::string_view appID) {
        published_.update([&](State& state) {
            if (const auto app = apps_.find(appID))
                state.summaries.insert_or_assign(app->id, read(*app));
            else if (const auto gone = state.summaries.find(appID); gone != state.summaries.end())
                state.summaries.erase(gone);
            state.attentionCount = attentionOf(state.summaries);
        });
    }

    // A pull is not to fail because the home screen cannot follow it.
    void follow(const Notification& notification) {
        const auto app = notification.payload.find("app");
        if (app == notification.payload.end()) return;
        try {
            readOne(app->second);
        } catch (const std::exception& error) {
            logger_.warning(fmt::format("Could not refresh the summary of an app: {}", error.what()));
        }
    }

  private:
    [[nodiscard]] Summary read(const ManagedApp& app) const {
        try {
            const MetadataFolder folder = appFolderOf(app, home_, apps_);
            return summarize(app.id, ContextsStore(folder, clock_).load());
        } catch (const MetadataError& error) {
            logger_.warning(fmt::format("{} has no usable folder: {}", app.displayName, error.what()));
            return summarize(app.id, std::nullopt);
        }
    }

    AppRecords apps_;
    Home home_;
    Clock clock_;
    Published<State> published_;
    Logger logger_{"WorkspaceIndex"};
};

WorkspaceIndex::WorkspaceIndex(AppRecords apps, Home home, Clock clock,
                               std::shared_ptr<NotificationCenter> notifications)
    : reader_(std::make_shared<Reader>(std::move(apps), std::move(home), std::move(clock))) {
    if (notifications)
        subscription_ = notifications->observe(
            metadataContextsPersistedNotification,
            [reader = reader_](const Notification& notification) { reader->follow(notification); });
}

WorkspaceIndex::~WorkspaceIndex() = default;

std::shared_ptr<const WorkspaceIndex::State> WorkspaceIndex::state() const {
    return reader_->published().current();
}

NotificationCenter::Subscription WorkspaceIndex::observe(Executor executor, std::function<void()> wake) {
    return reader_->published().observe(std::move(executor), std::move(wake));
}

void WorkspaceIndex::rebuild() {
    reader_->readAll();
}

void WorkspaceIndex::rebuild(std::string_view appID) {
    reader_->readOne(appID);
}

} // namespace quorvel
