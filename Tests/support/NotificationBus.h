// A private session bus with a small notification service on it.
#pragma once

#include "Tests/support/ChildProgram.h"
#include "Tests/support/TemporaryFolder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel::test {

/// A bus daemon of the test's own; nobody serves on it by itself.
class PrivateBus {
  public:
    PrivateBus();
    [[nodiscard]] const std::string& address() const { return address_; }
    void end() { daemon_.reset(); }

  private:
    TemporaryFolder folder_;
    std::unique_ptr<ChildProgram> daemon_;
    std::string address_;
};

/// Serves org.freedesktop.Notifications and notes what it is asked to show.
class NotificationService {
  public:
    enum class Manner { answers, neverAnswers };
    struct Shown {
        std::uint32_t replaces = 0;
        std::string application;
        std::string title;
        std::string body;
        std::vector<std::string> actions;
        int urgency = -1;
        std::string id; // of the change
    };

    NotificationService(const std::string& address, Manner manner,
                        std::vector<std::string> capabilities = {"body", "actions"});
    ~NotificationService();

    /// Waits until so many were shown.
    [[nodiscard]] std::vector<Shown> awaitShown(std::size_t count) const;
    [[nodiscard]] std::vector<Shown> shown() const { return awaitShown(0); }
    /// Taps the one that was shown as number `index`, or presses another of its buttons.
    void tap(std::size_t index, const std::string& action = "default");

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace quorvel::test
