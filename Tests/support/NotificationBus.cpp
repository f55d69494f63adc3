#ifdef __linux__

#include "Tests/support/NotificationBus.h"

#include "Platform/files/Files.h"

#include <sys/eventfd.h>
#include <systemd/sd-bus.h>

#include <poll.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <source_location>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace quorvel::test {

PrivateBus::PrivateBus() {
    const auto configuration = folder_ / "bus.conf";
    writeFileAtomically(
        configuration,
        "<busconfig><type>session</type><listen>unix:path=" + (folder_ / "bus").string() +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
            "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
    daemon_ =
        std::make_unique<ChildProgram>(ProgramCall{.program = "/usr/bin/dbus-daemon",
                                                   .arguments = {"--nofork", "--nopidfile", "--print-address",
                                                                 "--config-file=" + configuration.string()},
                                                   .environment = {}});
    address_ = daemon_->readLine();
    if (address_.empty()) throw std::runtime_error("no bus daemon");
}

// Everything but the list of what was shown belongs to the service's own thread.
struct NotificationService::Implementation {
    std::string address;
    Manner manner;
    std::vector<std::string> capabilities;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::vector<Shown> shown; // number `index + 1` on the bus
    std::vector<std::pair<std::size_t, std::string>> taps;
    bool isReady = false;
    int wake = ::eventfd(0, EFD_CLOEXEC);
    std::jthread thread;

    static void require(int status, const std::source_location& place = std::source_location::current()) {
        if (status < 0)
            throw std::runtime_error("the test's notification service failed in line " +
                                     std::to_string(place.line()) + " with " + std::to_string(status));
    }

    static int getCapabilities(sd_bus_message* call, void* data, sd_bus_error*) {
        auto& self = *static_cast<Implementation*>(data);
        if (self.manner == Manner::neverAnswers) return 1;
        sd_bus_message* answer = nullptr;
        require(sd_bus_message_new_method_return(call, &answer));
        require(sd_bus_message_open_container(answer, 'a', "s"));
        for (const std::string& capability : self.capabilities)
            require(sd_bus_message_append(answer, "s", capability.c_str()));
        require(sd_bus_message_close_container(answer));
        require(sd_bus_send(nullptr, answer, nullptr));
        sd_bus_message_unref(answer);
        return 1;
    }

    static int notify(sd_bus_message* call, void* data, sd_bus_error*) {
        auto& self = *static_cast<Implementation*>(data);
        Shown one;
        const char *application = nullptr, *icon = nullptr, *title = nullptr, *body = nullptr;
        require(sd_bus_message_read(call, "susss", &application, &one.replaces, &icon, &title, &body));
        one.application = application;
        one.title = title;
        one.body = body;
        const char* text = nullptr;
        require(sd_bus_message_enter_container(call, 'a', "s"));
        while (sd_bus_message_read(call, "s", &text) > 0)
            one.actions.emplace_back(text);
        require(sd_bus_message_exit_container(call));
        require(sd_bus_message_enter_container(call, 'a', "{sv}"));
        while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
            const char* name = nullptr;
            require(sd_bus_message_read(call, "s", &name));
            if (std::string_view(name) == "urgency") {
                std::uint8_t urgency = 0;
                require(sd_bus_message_read(call, "v", "y", &urgency));
                one.urgency = urgency;
            } else if (std::string_view(name) == "x-quorvel-id") {
                require(sd_bus_message_read(call, "v", "s", &text));
                one.id = text;
            } else {
                require(sd_bus_message_skip(call, "v"));
            }
            require(sd_bus_message_exit_container(call));
        }
        std::uint32_t number = 0;
        {
            const std::lock_guard lock(self.mutex);
            self.shown.push_back(std::move(one));
            number = static_cast<std::uint32_t>(self.shown.size());
        }
        self.changed.notify_all();
        return sd_bus_reply_method_return(call, "u", number);
    }

    void serve(const std::stop_token& token) {
        static const sd_bus_vtable methods[] = {
            SD_BUS_VTABLE_START(0),
            SD_BUS_METHOD("GetCapabilities", "", "as", getCapabilities, 0),
            SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", notify, 0),
            SD_BUS_SIGNAL("ActionInvoked", "us", 0),
            SD_BUS_VTABLE_END,
        };
        constexpr const char* name = "org.freedesktop.Notifications";
        constexpr const char* path = "/org/freedesktop/Notifications";
        sd_bus* bus = nullptr;
        require(sd_bus_new(&bus));
        require(sd_bus_set_address(bus, address.c_str()));
        require(sd_bus_set_bus_client(bus, 1));
        require(sd_bus_start(bus));
        require(sd_bus_add_object_vtable(bus, nullptr, path, name, methods, this));
        require(sd_bus_request_name(bus, name, 0));
        {
            const std::lock_guard lock(mutex);
            isReady = true;
        }
        changed.notify_all();
        while (!token.stop_requested()) {
            std::vector<std::pair<std::size_t, std::string>> wanted;
            {
                const std::lock_guard lock(mutex);
                wanted.swap(taps);
            }
            for (const auto& [index, action] : wanted)
                require(sd_bus_emit_signal(bus, path, name, "ActionInvoked", "us",
                                           static_cast<std::uint32_t>(index + 1), action.c_str()));
            const int processed = sd_bus_process(bus, nullptr);
            if (processed < 0) break; // the bus has ended
            if (processed > 0) continue;
            pollfd watched[] = {{wake, POLLIN, 0},
                                {sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0}};
            ::poll(watched, 2, -1);
            std::uint64_t count = 0;
            if (watched[0].revents != 0) require(static_cast<int>(::read(wake, &count, sizeof count)));
        }
        sd_bus_close_unref(bus);
    }

    void wakeUp() const {
        const std::uint64_t one = 1;
        require(static_cast<int>(::write(wake, &one, sizeof one)));
    }
};

NotificationService::NotificationService(const std::string& address, Manner manner,
                                         std::vector<std::string> capabilities)
    : implementation_(std::make_unique<Implementation>()) {
    Implementation& self = *implementation_;
    self.address = address;
    self.manner = manner;
    self.capabilities = std::move(capabilities);
    self.thread = std::jthread([&self](const std::stop_token& token) { self.serve(token); });
    std::unique_lock lock(self.mutex);
    self.changed.wait(lock, [&] { return self.isReady; });
}

NotificationService::~NotificationService() {
    implementation_->thread.request_stop();
    implementation_->wakeUp();
    implementation_->thread.join();
    ::close(implementation_->wake);
}

std::vector<NotificationService::Shown> NotificationService::awaitShown(std::size_t count) const {
    std::unique_lock lock(implementation_->mutex);
    implementation_->changed.wait(lock, [&] { return implementation_->shown.size() >= count; });
    return implementation_->shown;
}

void NotificationService::tap(std::size_t index, const std::string& action) {
    {
        const std::lock_guard lock(implementation_->mutex);
        implementation_->taps.emplace_back(index, action);
    }
    implementation_->wakeUp();
}

} // namespace quorvel::test

#endif
