// Notifications on the user's desktop.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct DesktopNotification {
    /// A critical one stays until the user has seen it.
    enum class Urgency { normal, critical };
    std::string id; // of what it tells
    std::string title;
    std::string body;  // plain text
    std::string group; // of notifications about the same thing; a tap hands it back
    Urgency urgency = Urgency::normal;
};

/// Shows notifications. Thread-safe.
class DesktopNotifier {
  public:
    /// Gets the group of a notification that the user tapped, on a thread of the notifier's own.
    using TapHandler = std::function<void(const std::string& group)>;
    struct Outcome {
        std::vector<std::string> shown;     // their ids
        std::optional<std::string> problem; // why not all of them were; the end of a sentence
    };

    DesktopNotifier() = default;
    virtual ~DesktopNotifier() = default; // no tap is handed over afterwards
    DesktopNotifier(const DesktopNotifier&) = delete;
    DesktopNotifier& operator=(const DesktopNotifier&) = delete;

    /// Shows each, asking the user for permission before the first where the system wants that. Takes a few
    /// seconds at most, however the system behaves. Cancelled meanwhile, it soon returns what was shown;
    /// throws `CancellationError` when nothing was.
    [[nodiscard]] virtual Outcome show(const std::vector<DesktopNotification>& notifications) = 0;
};

/// How to reach the system's notifications.
struct DesktopAccess {
    std::string applicationName;              // shown with each
    std::optional<std::string> busAddress;    // of the session bus; none: there is no session
    std::chrono::milliseconds patience{5000}; // with a service that does not answer
};

/// The address of the session bus by the environment's DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR; nothing
/// without a session.
[[nodiscard]] std::optional<std::string>
sessionBusAddress(const std::function<std::optional<std::string>(std::string_view name)>& variable);

/// The notifier of this system: org.freedesktop.Notifications on Linux; elsewhere one that shows nothing and
/// says so.
[[nodiscard]] std::unique_ptr<DesktopNotifier> makeDesktopNotifier(DesktopAccess access,
                                                                   DesktopNotifier::TapHandler onTap);

} // namespace quorvel
