#include "Quorvel/monitor/ReviewStateMonitor.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>
#include <set>

namespace quorvel {

namespace {

using Versions = ASCList<AppStoreVersionAttributes>;

constexpr std::size_t appsAtOnce = ASCQuota::defaultWidth;
constexpr int versionsPerRequest = 200; // the most that one request brings

std::filesystem::path monitorFile(const Home& home, const char* name) {
    return home.applicationSupport() / "Brevant" / name;
}

FileLock lockMonitor(const Home& home) {
    const auto file = monitorFile(home, "review-states.lock");
    createFolders(file.parent_path(), FolderMode::secret);
    auto lock = FileLock::tryLock(file);
    if (!lock) {
        const auto holder = FileLock::holderOf(file);
        throw ApplicationError(FailureKind::operationRunning,
                               fmt::format("another review monitor works on this home{}",
                                           holder ? fmt::format(" (process {})", holder->processID) : ""),
                               "One is enough: it watches the apps of all workspaces.");
    }
    lock->noteHolder("the review monitor");
    return std::move(*lock);
}

std::string versionKey(ASCPlatform platform, std::string_view version) {
    return fmt::format("{}|{}", rawValue(platform), version);
}

// In the order of the platforms; of one platform the newest first, as far as numbers tell.
bool isShownBefore(const ReviewStateMonitor::WatchedVersion& one,
                   const ReviewStateMonitor::WatchedVersion& other) {
    if (one.platform != other.platform) return one.platform < other.platform;
    return naturalLess(other.version, one.version);
}

bool isLostConnection(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const ASCError& known) {
        return known.as<ASCError::NetworkFailure>() != nullptr;
    } catch (...) {
        return false;
    }
}

} // namespace

struct ReviewStateMonitor::Answer {
    Target target;
    Versions versions;
    std::optional<Failure> failure;
};

// The requests of one check. When nothing but lost connections came back, the apps that are left are not
// asked: each would wait for the network in vain.
class ReviewStateMonitor::Round {
  public:
    explicit Round(Application& application) : application_(application) {}

    Answer ask(const Target& target) {
        if (const auto failure = networkFailure()) return {target, {}, failure};
        try {
            Answer answer{
                target,
                application_.client(target.key)
                    ->listAppStoreVersions(target.appStoreId, std::nullopt, {}, {versionsPerRequest}),
                {}};
            note(std::nullopt);
            return answer;
        } catch (const CancellationError&) {
            throw;
        } catch (...) {
            const auto error = std::current_exception();
            const Failure failure = failureOf(error);
            note(isLostConnection(error) ? std::optional(failure) : std::nullopt);
            return {target, {}, failure};
        }
    }

  private:
    std::optional<Failure> networkFailure() {
        const std::lock_guard lock(mutex_);
        return lostConnections_ >= appsAtOnce ? lastLost_ : std::nullopt;
    }
    void note(const std::optional<Failure>& lost) {
        const std::lock_guard lock(mutex_);
        lostConnections_ = lost ? lostConnections_ + 1 : 0;
        if (lost) lastLost_ = lost;
    }

    Application& application_;
    std::mutex mutex_;
    std::size_t lostConnections_ = 0; // in a row
    std::optional<Failure> lastLost_;
};

ReviewStateMonitor::ReviewStateMonitor(Application& application, Options options)
    : application_(application),
      options_(std::move(options)),
      file_(monitorFile(application.home(), "review-states.json")),
      lock_(lockMonitor(application.home())),
      settings_(application.userDefaults()) {
    LoadedStates loaded = loadSeenStates(file_);
    seen_ = std::move(loaded.states);
    if (loaded.movedAside)
        problems_.push_back(
            fmt::format("The file of the states that were seen before was damaged. It is begun "
                        "anew; what it held is now {}.",
                        escapeControls(loaded.movedAside->native())));
    published_.update([&](State& state) { state.lastCheckAt = settings_.lastCheckAt(); });
}

std::vector<ReviewStateMonitor::Target> ReviewStateMonitor::targets() const {
    std::vector<Target> targets;
    for (const ManagedApp& app : application_.apps().all()) {
        const bool isMeant = (!options_.appID || options_.appID == app.id) &&
                             (!options_.workspaceID || options_.workspaceID == app.workspace);
        if (isMeant && !app.appStoreId.empty())
            targets.push_back({app.id, app.displayName, app.appStoreId, app.slug, ownerOf(app)});
    }
    return targets;
}

ReviewStateMonitor::Check ReviewStateMonitor::check(std::string_view trigger) {
    application_.beginJob();
    const auto targets = this->targets();
    logger_.info(fmt::format("Review check ({}) for {} app(s)", trigger, targets.size()));
    published_.update([](State& state) { state.isChecking = true; });
    try {
        const auto answers = ask(targets);
        Check check{.checkedAt = application_.clock()(),
                    .appCount = static_cast<std::int64_t>(targets.size()),
                    .problems = std::exchange(problems_, {})};
        std::vector<Change> changes;
        compare(answers, check, changes);
        try {
            settings_.setLastCheckAt(check.checkedAt);
        } catch (const FileError& error) {
            check.problems.push_back(error.what());
        }
        logger_.info(fmt::format(
            "Review check done — {} transition(s){}", changes.size(),
            check.failures.empty() ? "" : fmt::format(", {} app(s) failed", check.failures.size())));
        try {
            tell(changes, check);
        } catch (const CancellationError&) {
            save(check);
            throw;
        }
        save(check);
        check.versions = versionsOf(targets);
        publish(check);
        return check;
    } catch (...) {
        published_.update([](State& state) { state.isChecking = false; });
        throw;
    }
}

std::vector<ReviewStateMonitor::Answer> ReviewStateMonitor::ask(const std::vector<Target>& targets) {
    Round round(application_);
    const auto askOne = [&](const Target& target) { return round.ask(target); };
    auto answers = parallelMap(targets, appsAtOnce, askOne);
    // A key is not wrong because this machine's clock was set: the answers told how far it is off.
    const auto wasRefused = [](const Answer& answer) {
        return answer.failure && answer.failure->kind == FailureKind::keyRefused;
    };
    if (std::ranges::any_of(answers, wasRefused) && application_.learnFromAnswers())
        answers = parallelMap(answers, appsAtOnce, [&](const Answer& answer) {
            return wasRefused(answer) ? round.ask(answer.target) : answer;
        });
    for (const Answer& answer : answers)
        if (answer.failure)
            logger_.error(
                fmt::format("Review check failed for {}: {}", answer.target.name, answer.failure->text));
    return answers;
}

void ReviewStateMonitor::compare(const std::vector<Answer>& answers, Check& check,
                                 std::vector<Change>& changes) {
    std::set<std::string> recorded;
    for (const ManagedApp& app : application_.apps().all())
        recorded.insert(app.id);
    std::erase_if(seen_.apps, [&](const auto& entry) { return !recorded.contains(entry.first); });
    for (const Answer& answer : answers) {
        const Target& target = answer.target;
        if (answer.failure) {
            check.failures.push_back({target.id, target.name, *answer.failure});
            continue;
        }
        const bool isFirstCheck = !seen_.of(target.id);
        SeenStates::Versions& known = seen_.apps[target.id];
        std::set<std::string> met;
        for (const auto& version : answer.versions) {
            const auto& attributes = version.attributes;
            const auto platform = fromRawValue<ASCPlatform>(attributes.platform.value_or(""));
            if (!platform || !attributes.versionString) continue;
            const std::string key = versionKey(*platform, *attributes.versionString);
            if (!met.insert(key).second || !attributes.appStoreState) continue;
            const std::string& state = *attributes.appStoreState;
            Change change{target.id, target.name, *platform, *attributes.versionString, {}, state};
            const auto before = known.find(key);
            if (before == known.end()) {
                if (!isFirstCheck && isChangeWhenFirstSeen(state))
                    changes.push_back(std::move(change));
                else
                    known[key] = {state, {}};
            } else if (isSameState(before->second.state, state)) {
                before->second.state = state;
            } else {
                change.oldState = before->second.state;
                changes.push_back(std::move(change));
            }
        }
        // Those that were renamed or deleted; a full page may have left out old ones that exist.
        if (answer.versions.size() < versionsPerRequest)
            std::erase_if(known, [&](const auto& entry) { return !met.contains(entry.first); });
    }
}

void ReviewStateMonitor::tell(const std::vector<Change>& changes, Check& check) {
    for (const Change& change : changes)
        check.changes.push_back(noticeOf(change));
    notify(check);
    for (std::size_t index = 0; index < changes.size(); ++index) {
        if (options_.program)
            check.changes[index].programProblem = options_.program->run(check.changes[index]);
        remember(changes[index], check.checkedAt);
    }
}

void ReviewStateMonitor::notify(Check& check) {
    if (!options_.notifier) return;
    const auto notified = settings_.notifiedTransitions();
    std::set<std::string> known(notified.begin(), notified.end());
    std::vector<std::string> keys;
    std::vector<DesktopNotification> notifications;
    for (const ReviewNotice& notice : check.changes) {
        if (!isWorthNotice(notice.newState) || !known.insert(notice.id).second) continue;
        keys.push_back(notice.id);
        notifications.push_back({.id = notice.id,
                                 .title = notice.title,
                                 .body = notice.body,
                                 .group = notice.appID,
                                 .urgency = notice.isCritical ? DesktopNotification::Urgency::critical
                                                              : DesktopNotification::Urgency::normal});
    }
    if (notifications.empty()) return;
    const auto outcome = options_.notifier->show(notifications);
    const bool wasInterrupted = currentStopToken().stop_requested();
    if (outcome.problem)
        check.problems.push_back(fmt::format("Changes are not shown on the desktop: {}.", *outcome.problem));
    if (outcome.shown.empty())
        logger_.info(
            fmt::format("Notifications not authorised — {} transition(s) not shown", notifications.size()));
    else
        logger_.info(fmt::format("Posting {} review notification(s)", outcome.shown.size()));
    for (ReviewNotice& notice : check.changes)
        if (std::ranges::find(keys, notice.id) != keys.end())
            notice.wasNotified = std::ranges::find(outcome.shown, notice.id) != outcome.shown.end();
    try {
        // Also those that could not be shown: the user reads them where the monitor runs. After an
        // interruption they are found again.
        settings_.addNotifiedTransitions(wasInterrupted ? outcome.shown : keys);
    } catch (const FileError& error) {
        check.problems.push_back(error.what());
    }
    if (wasInterrupted) throw CancellationError();
}

void ReviewStateMonitor::remember(const Change& change, Date date) {
    seen_.apps[change.appID][versionKey(change.platform, change.version)] = {change.newState, date};
}

void ReviewStateMonitor::save(Check& check) {
    try {
        saveSeenStates(file_, seen_);
    } catch (const FileError& error) {
        check.problems.push_back(error.what());
    }
}

std::vector<ReviewStateMonitor::WatchedVersion>
ReviewStateMonitor::versionsOf(const std::vector<Target>& targets) const {
    std::vector<WatchedVersion> all;
    for (const Target& target : targets) {
        const auto* known = seen_.of(target.id);
        if (!known) continue;
        const auto start = std::ssize(all);
        for (const auto& [key, seen] : *known) {
            const std::size_t bar = std::min(key.find('|'), key.size() - 1);
            const auto platform = fromRawValue<ASCPlatform>(std::string_view(key).substr(0, bar));
            if (platform && seen.state != "REPLACED_WITH_NEW_VERSION")
                all.push_back({target.id, target.name, target.slug, *platform, key.substr(bar + 1),
                               seen.state, seen.since});
        }
        std::sort(all.begin() + start, all.end(), isShownBefore);
    }
    return all;
}

void ReviewStateMonitor::publish(Check check) {
    published_.update([&](State& state) {
        state.isChecking = false;
        state.lastCheckAt = check.checkedAt;
        ++state.checks;
        state.last = std::make_shared<const Check>(std::move(check));
    });
}

void ReviewStateMonitor::run() {
    const CheckTimer timer(options_.clocks.value_or(CheckTimer::Clocks{.date = application_.clock()}));
    std::string_view trigger = "launch";
    while (true) {
        try {
            check(trigger);
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) { // the next check may find things in order
            const auto last = state()->last;
            Check failed = last ? *last : Check{};
            failed.checkedAt = application_.clock()();
            failed.changes.clear();
            failed.problems = {failureOf(error).text};
            publish(std::move(failed));
        }
        const auto due = timer.wait(interval(), [this](Date date) {
            published_.update([&](State& state) { state.nextCheckAt = date; });
        });
        trigger = due == CheckTimer::Due::afterSleep ? "wake" : "timer";
    }
}

std::chrono::minutes ReviewStateMonitor::interval() const {
    try {
        return settings_.interval();
    } catch (const FileError& error) {
        logger_.warningOnce(error.what());
        return reviewCheckInterval({});
    }
}

void ReviewStateMonitor::selectApp(const Application& application, const std::string& appID) {
    application.notifications()->post({std::string(selectAppRequestedNotification), {{"app", appID}}});
}

} // namespace quorvel
