// What the application keeps of an open app until it quits.
#pragma once

#include "Quorvel/controllers/metadata/MetadataController.h"
#include "Quorvel/controllers/notes/ReleaseNotesController.h"
#include "Quorvel/controllers/release/ReleaseController.h"
#include "Quorvel/controllers/screenshots/ScreenshotsController.h"
#include "Quorvel/controllers/translation/TranslationController.h"

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace quorvel {

/// The tab that an app's detail view shows.
enum class AppTab { metadata, screenshots, build, testFlight, revenue, keywords, reviews };

/// The controllers of one open app, made once and then kept, so that switching between apps keeps each app's
/// pulled state, running work and chosen tab.
struct AppSession {
    std::shared_ptr<OperationGate> gate; // one operation at a time for all of them
    std::shared_ptr<MetadataController> metadata;
    std::shared_ptr<ScreenshotsController> screenshots;
    std::shared_ptr<ScreenshotsController> previews; // the same work on videos
    std::shared_ptr<TranslationController> translation;
    std::shared_ptr<ReleaseNotesController> notes;
    std::shared_ptr<ReleaseController> release;
    AppTab selectedTab = AppTab::metadata;
};

[[nodiscard]] std::shared_ptr<AppSession> makeAppSession(AppAccess::Parts parts,
                                                         std::shared_ptr<OperationGate> gate);

/// The key of a session of an app over a folder that was named for once; `folderOfKey` reads that again.
[[nodiscard]] std::string sessionKey(std::string_view appID, const std::optional<MetadataFolder>& folder);
[[nodiscard]] std::optional<MetadataFolder> folderOfKey(std::string_view key);

/// App (id of its record, or `sessionKey`) → session. Thread-safe.
class AppSessionStore {
  public:
    /// Makes the session of an app; may ask for other apps' sessions, not for the one that it makes.
    using Factory = std::function<std::shared_ptr<AppSession>(std::string_view appID)>;

    explicit AppSessionStore(Factory factory);

    /// The app's session, made when it is first asked for; who asks meanwhile waits for it. Throws what the
    /// factory throws, and the next who asks tries again.
    [[nodiscard]] std::shared_ptr<AppSession> session(std::string_view appID);
    /// Forgets the sessions of an app that was removed; those who have one keep it.
    void forget(std::string_view appID);

  private:
    using Making = std::shared_future<std::shared_ptr<AppSession>>;

    Factory factory_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<const Making>, std::less<>> sessions_;
};

} // namespace quorvel
