#ifdef __linux__

#include "Platform/desktop/BusNotifier.h"

#include "Platform/log/Log.h"
#include "Platform/task/Task.h"
#include "Platform/text/Markup.h"

#include <fmt/format.h>

#include <sys/eventfd.h>
#include <systemd/sd-bus.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>

namespace quorvel {

namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* servicePath = "/org/freedesktop/Notifications";
constexpr const char* defaultAction = "default";
constexpr std::size_t mostRemembered = 1000;           // notifications that may still be tapped
constexpr std::chrono::milliseconds lastPatience{300}; // of a cancelled call, with answers on their way

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct MessageReleaser {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;
using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

std::string reasonOf(int negativeError) {
    return std::generic_category().message(-negativeError);
}

// What the service says that it can do.
struct Capabilities {
    bool takesMarkup = false;
    bool takesActions = false;
};

Capabilities readCapabilities(sd_bus_message* answer) {
    Capabilities capabilities;
    if (sd_bus_message_enter_container(answer, 'a', "s") < 0) return capabilities;
    const char* name = nullptr;
    while (sd_bus_message_read(answer, "s", &name) > 0) {
        if (std::string_view(name) == "body-markup") capabilities.takesMarkup = true;
        if (std::string_view(name) == "actions") capabilities.takesActions = true;
    }
    return capabilities;
}

// The notifications of one call of `show`.
struct Job {
    std::vector<DesktopNotification> notifications;
    std::size_t waiting = 0;          // for answers; of the bus thread alone
    DesktopNotifier::Outcome outcome; // guarded by the session
    bool isDone = false;              // likewise
};

} // namespace

class BusNotifier::Session {
  public:
    Session(DesktopAccess access, TapHandler onTap)
        : access_(std::move(access)),
          onTap_(std::move(onTap)),
          wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (wake_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~Session() {
        if (thread_.joinable()) {
            thread_.request_stop();
            wakeUp();
            thread_.join();
        }
        ::close(wake_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Outcome show(const std::vector<DesktopNotification>& notifications) {
        if (notifications.empty()) return {};
        if (!access_.busAddress) return {{}, "there is no session bus (DBUS_SESSION_BUS_ADDRESS is not set)"};
        checkCancellation();
        const auto job = std::make_shared<Job>();
        job->notifications = notifications;
        std::unique_lock lock(mutex_);
        jobs_.push_back(job);
        if (!thread_.joinable())
            thread_ = std::jthread([this](const std::stop_token& token) { serve(token); });
        wakeUp();
        const auto isDone = [&] { return job->isDone; };
        if (!done_.wait(lock, currentStopToken(), isDone) && !done_.wait_for(lock, lastPatience, isDone)) {
            std::erase(jobs_, job);
            if (job->outcome.shown.empty()) throw CancellationError();
        }
        return job->outcome;
    }

  private:
    using Clock = std::chrono::steady_clock;

    // An answer that is waited for.
    struct Pending {
        Session* session;
        const DesktopNotification* notification; // null: of the capabilities
    };

    void wakeUp() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
    }

    // All below runs on the bus thread.
    void serve(const std::stop_token& token) {
        while (!token.stop_requested()) {
            if (!job_) begin(nextJob());
            const int processed = bus_ ? sd_bus_process(bus_.get(), nullptr) : 0;
            if (processed < 0)
                lose(processed);
            else if (job_ && Clock::now() >= deadline_)
                lose(-ETIMEDOUT);
            else if (processed == 0)
                await();
        }
        bus_.reset();
    }

    std::shared_ptr<Job> nextJob() {
        const std::lock_guard lock(mutex_);
        if (jobs_.empty()) return nullptr;
        auto job = jobs_.front();
        jobs_.pop_front();
        return job;
    }

    void begin(std::shared_ptr<Job> job) {
        if (!job) return;
        job_ = std::move(job);
        deadline_ = Clock::now() + 2 * access_.patience + std::chrono::milliseconds(100);
        int status = connect();
        if (status >= 0) {
            pending_.clear();
            pending_.push_back({this, nullptr});
            status = sd_bus_call_method_async(bus_.get(), nullptr, serviceName, servicePath, serviceName,
                                              "GetCapabilities", capabilitiesArrived, &pending_.back(), "");
        }
        if (status < 0) lose(status);
    }

    int connect() {
        if (bus_) return 0;
        sd_bus* opened = nullptr;
        int status = sd_bus_new(&opened);
        Bus bus(opened);
        if (status >= 0) status = sd_bus_set_address(opened, access_.busAddress->c_str());
        if (status >= 0) status = sd_bus_set_bus_client(opened, 1);
        if (status >= 0)
            status = sd_bus_set_method_call_timeout(
                opened, static_cast<std::uint64_t>(
                            std::chrono::duration_cast<std::chrono::microseconds>(access_.patience).count()));
        if (status >= 0) status = sd_bus_start(opened);
        const auto listen = [&](const char* signal, sd_bus_message_handler_t handler) {
            if (status >= 0)
                status = sd_bus_match_signal_async(opened, nullptr, serviceName, servicePath, serviceName,
                                                   signal, handler, nullptr, this);
        };
        listen("ActionInvoked", actionInvoked);
        listen("NotificationClosed", notificationClosed);
        if (status >= 0) bus_ = std::move(bus);
        return status;
    }

    void lose(int status) {
        bus_.reset(); // no answer to its calls comes any more
        groups_.clear();
        if (job_) finish(fmt::format("the session bus cannot be used: {}", reasonOf(status)));
    }

    void finish(std::optional<std::string> problem = {}) {
        {
            const std::lock_guard lock(mutex_);
            if (problem && !job_->outcome.problem) job_->outcome.problem = std::move(problem);
            job_->isDone = true;
        }
        done_.notify_all();
        job_.reset();
    }

    void await() const {
        pollfd watched[2] = {{wake_, POLLIN, 0}, {-1, 0, 0}};
        if (bus_) {
            const int events = sd_bus_get_events(bus_.get());
            watched[1] = {sd_bus_get_fd(bus_.get()), static_cast<short>(std::max(events, 0)), 0};
        }
        ::poll(watched, 2, millisecondsToWait());
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wake_, &count, sizeof count);
    }

    // Until the library or the job has to look again; -1: for ever.
    [[nodiscard]] int millisecondsToWait() const {
        using std::chrono::microseconds;
        auto wait = microseconds::max();
        std::uint64_t due = UINT64_MAX; // microseconds of the monotonic clock, which is `Clock`
        if (bus_ && sd_bus_get_timeout(bus_.get(), &due) >= 0 && due != UINT64_MAX)
            wait = microseconds(static_cast<std::int64_t>(due)) -
                   std::chrono::duration_cast<microseconds>(Clock::now().time_since_epoch());
        if (job_) wait = std::min(wait, std::chrono::duration_cast<microseconds>(deadline_ - Clock::now()));
        if (wait == microseconds::max()) return -1;
        return static_cast<int>(std::clamp<std::int64_t>(wait.count() / 1000 + 1, 0, 3'600'000));
    }

    void note(std::string problem) {
        const std::lock_guard lock(mutex_);
        job_->outcome.problem = std::move(problem);
    }

    static std::string problemOf(sd_bus_message* answer) {
        const sd_bus_error* error = sd_bus_message_get_error(answer);
        const std::string_view name = error && error->name ? error->name : "";
        if (name == SD_BUS_ERROR_SERVICE_UNKNOWN || name == SD_BUS_ERROR_NAME_HAS_NO_OWNER)
            return "no notification service runs on the session bus";
        if (name == SD_BUS_ERROR_NO_REPLY || name == SD_BUS_ERROR_TIMEOUT)
            return "the notification service does not answer";
        return fmt::format("the notification service refuses: {}",
                           error && error->message ? error->message : name);
    }

    static int capabilitiesArrived(sd_bus_message* answer, void* data, sd_bus_error*) {
        Session& session = *static_cast<Pending*>(data)->session;
        if (sd_bus_message_is_method_error(answer, nullptr) > 0)
            session.finish(problemOf(answer));
        else
            session.sendAll(readCapabilities(answer));
        return 1;
    }

    void sendAll(const Capabilities& capabilities) {
        job_->waiting = 0;
        for (const DesktopNotification& notification : job_->notifications) {
            pending_.push_back({this, &notification});
            const int status = send(notification, capabilities, pending_.back());
            if (status >= 0)
                ++job_->waiting;
            else
                note(fmt::format("a notification cannot be sent: {}", reasonOf(status)));
        }
        if (job_->waiting == 0) finish();
    }

    int send(const DesktopNotification& notification, const Capabilities& capabilities, Pending& pending) {
        sd_bus_message* made = nullptr;
        int status = sd_bus_message_new_method_call(bus_.get(), &made, serviceName, servicePath, serviceName,
                                                    "Notify");
        const Message message(made);
        const std::string body =
            capabilities.takesMarkup ? escapedMarkup(notification.body) : notification.body;
        constexpr std::uint32_t replacesNone = 0;
        if (status >= 0)
            status = sd_bus_message_append(made, "susss", access_.applicationName.c_str(), replacesNone, "",
                                           notification.title.c_str(), body.c_str());
        // Some services show a dialog for what they have no buttons for.
        if (status >= 0)
            status = capabilities.takesActions ? sd_bus_message_append(made, "as", 2, defaultAction, "Open")
                                               : sd_bus_message_append(made, "as", 0);
        const bool isCritical = notification.urgency == DesktopNotification::Urgency::critical;
        if (status >= 0)
            status = sd_bus_message_append(made, "a{sv}i", 2, "urgency", "y", isCritical ? 2 : 1,
                                           "x-quorvel-id", "s", notification.id.c_str(), -1);
        if (status >= 0)
            status = sd_bus_call_async(bus_.get(), nullptr, made, notificationShown, &pending, 0);
        return status;
    }

    static int notificationShown(sd_bus_message* answer, void* data, sd_bus_error*) {
        const Pending& pending = *static_cast<Pending*>(data);
        Session& session = *pending.session;
        Job& job = *session.job_;
        std::uint32_t number = 0;
        if (sd_bus_message_is_method_error(answer, nullptr) > 0) {
            session.note(problemOf(answer));
        } else if (sd_bus_message_read(answer, "u", &number) > 0) {
            {
                const std::lock_guard lock(session.mutex_);
                job.outcome.shown.push_back(pending.notification->id);
            }
            if (session.groups_.size() >= mostRemembered) session.groups_.erase(session.groups_.begin());
            session.groups_[number] = pending.notification->group;
        } else {
            session.note("the notification service gives no answer of use");
        }
        if (--job.waiting == 0) session.finish();
        return 1;
    }

    static int actionInvoked(sd_bus_message* signal, void* data, sd_bus_error*) {
        auto& session = *static_cast<Session*>(data);
        std::uint32_t number = 0;
        const char* action = nullptr;
        if (sd_bus_message_read(signal, "us", &number, &action) <= 0) return 0;
        const auto found = session.groups_.find(number);
        if (found == session.groups_.end() || std::strcmp(action, defaultAction) != 0) return 0;
        try {
            if (session.onTap_) session.onTap_(found->second);
        } catch (const std::exception& error) { // it must not unwind through the library
            Logger("BusNotifier").error(fmt::format("A tap could not be handed on: {}", error.what()));
        }
        return 0;
    }

    static int notificationClosed(sd_bus_message* signal, void* data, sd_bus_error*) {
        std::uint32_t number = 0;
        std::uint32_t reason = 0;
        if (sd_bus_message_read(signal, "uu", &number, &reason) > 0)
            static_cast<Session*>(data)->groups_.erase(number);
        return 0;
    }

    const DesktopAccess access_;
    const TapHandler onTap_;
    const int wake_;
    std::mutex mutex_;
    std::condition_variable_any done_;
    std::deque<std::shared_ptr<Job>> jobs_; // guarded by mutex_
    // Of the bus thread:
    Bus bus_;
    std::shared_ptr<Job> job_;
    Clock::time_point deadline_;  // of the job, also while the bus itself hangs
    std::deque<Pending> pending_; // of the job; a deque keeps their addresses
    std::map<std::uint32_t, std::string> groups_;
    std::jthread thread_; // last, as it uses all the others
};

BusNotifier::BusNotifier(DesktopAccess access, TapHandler onTap)
    : session_(std::make_unique<Session>(std::move(access), std::move(onTap))) {}

BusNotifier::~BusNotifier() = default;

DesktopNotifier::Outcome BusNotifier::show(const std::vector<DesktopNotification>& notifications) {
    return session_->show(notifications);
}

} // namespace quorvel

#endif
