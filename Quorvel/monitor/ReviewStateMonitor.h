// Watches the review states of all apps and tells what changed.
#pragma once

#include "Platform/desktop/DesktopNotifier.h"
#include "Platform/files/FileLock.h"
#include "Platform/log/Log.h"
#include "Platform/notify/Published.h"
#include "Quorvel/application/AppDirectory.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/monitor/ChangeProgram.h"
#include "Quorvel/monitor/CheckTimer.h"
#include "Quorvel/monitor/SeenStates.h"
#include "Quorvel/settings/ReviewMonitorSettings.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// Asks App Store Connect for the versions of every recorded app, one request each and a few at once, and
/// compares their states with those seen before, which a file keeps between runs. Every change is notified
/// once, also across restarts, and handed to the user's program. One app's failure stops no other.
///
/// A change counts as seen once it was told: one that an interruption kept from the user is found again.
class ReviewStateMonitor {
  public:
    /// One app to check.
    struct Target {
        std::string id; // of the app's record
        std::string name;
        std::string appStoreId;
        std::string slug;
        KeyOwner key;
    };
    using Change = ReviewChange;

    /// A version in the state that was seen last.
    struct WatchedVersion {
        std::string appID;
        std::string appName;
        std::string slug;
        ASCPlatform platform = ASCPlatform::iOS;
        std::string version;
        std::string state;         // raw
        std::optional<Date> since; // when the change to it was noticed; nothing where it was met in it
        QUORVEL_RECORD(WatchedVersion, appID, appName, slug, platform, version, state, since)
    };
    struct AppProblem {
        std::string appID;
        std::string appName;
        Failure failure;
        QUORVEL_RECORD(AppProblem, appID, appName, failure)
    };
    struct Check {
        Date checkedAt;
        std::int64_t appCount = 0; // that were to be asked
        std::vector<ReviewNotice> changes;
        std::vector<WatchedVersion> versions; // of all these apps, but those that were replaced
        std::vector<AppProblem> failures;     // their versions are those seen before
        std::vector<std::string> problems;    // beside the apps: with notifying and with remembering
        QUORVEL_RECORD(Check, checkedAt, appCount, changes, versions, failures, problems)
    };
    struct State {
        bool isChecking = false;
        std::optional<Date> lastCheckAt;
        std::optional<Date> nextCheckAt;
        std::int64_t checks = 0; // that have finished
        std::shared_ptr<const Check> last;
    };

    struct Options {
        std::optional<std::string> appID;          // only this one
        std::optional<std::string> workspaceID;    // only the apps of this one
        std::shared_ptr<DesktopNotifier> notifier; // none: nothing is notified
        std::optional<ChangeProgram> program;
        std::optional<CheckTimer::Clocks> clocks; // other than the system's
    };

    /// Acquires the lock of the home's monitor for its life. Throws `ApplicationError` while another one
    /// holds it, `FileError`.
    ReviewStateMonitor(Application& application, Options options);

    /// The apps to check, of all workspaces; those without an App Store id are left out. Throws `StoreError`.
    [[nodiscard]] std::vector<Target> targets() const;

    /// Makes one check; `trigger` is for the log. Throws `StoreError`, `CancellationError`.
    Check check(std::string_view trigger);
    /// Checks at the interval of the settings until the current task is cancelled.
    void run();

    /// Posts that somebody asked for an app, by the id of its record: what a tap on a notification does.
    static void selectApp(const Application& application, const std::string& appID);

    [[nodiscard]] std::shared_ptr<const State> state() const { return published_.current(); }
    NotificationCenter::Subscription observe(Executor executor, std::function<void()> wake) {
        return published_.observe(std::move(executor), std::move(wake));
    }

  private:
    struct Answer;
    class Round;

    [[nodiscard]] std::vector<Answer> ask(const std::vector<Target>& targets);
    void compare(const std::vector<Answer>& answers, Check& check, std::vector<Change>& changes);
    void tell(const std::vector<Change>& changes, Check& check);
    void notify(Check& check);
    void remember(const Change& change, Date date);
    void save(Check& check);
    [[nodiscard]] std::vector<WatchedVersion> versionsOf(const std::vector<Target>& targets) const;
    void publish(Check check);
    [[nodiscard]] std::chrono::minutes interval() const;

    Application& application_;
    const Options options_;
    const std::filesystem::path file_;
    const FileLock lock_;
    const ReviewMonitorSettings settings_;
    SeenStates seen_;
    std::vector<std::string> problems_; // to be told with the next check
    Published<State> published_;
    Logger logger_{"ReviewStateMonitor"};
};

} // namespace quorvel
