// Notifications through org.freedesktop.Notifications on the session bus.
#pragma once

#include "Platform/desktop/DesktopNotifier.h"

namespace quorvel {

/// Talks to the bus on one thread of its own, which begins with the first notification: calls wait for
/// answers there, and taps arrive. A bus that went away is connected to again with the next notification.
class BusNotifier : public DesktopNotifier {
  public:
    BusNotifier(DesktopAccess access, TapHandler onTap);
    ~BusNotifier() override;

    [[nodiscard]] Outcome show(const std::vector<DesktopNotification>& notifications) override;

  private:
    class Session;
    std::unique_ptr<Session> session_;
};

} // namespace quorvel
