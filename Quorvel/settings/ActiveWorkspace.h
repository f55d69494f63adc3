// Which workspace the user works in, remembered between runs.
#pragma once

#include "Platform/defaults/UserDefaults.h"
#include "Platform/log/Log.h"

#include <memory>
#include <optional>
#include <string>

namespace quorvel {

class ActiveWorkspace {
  public:
    static constexpr std::string_view key = "Workspace.activeID";

    explicit ActiveWorkspace(std::shared_ptr<UserDefaults> defaults);

    /// The id that was chosen last; the workspace may be gone by now. Nothing, and a line in the log, when
    /// the settings cannot be read.
    [[nodiscard]] std::optional<std::string> id() const;
    /// Remembers a choice, or forgets it. A failure is logged as "Couldn't save active workspace: " and the
    /// error; whether it was stored.
    bool choose(const std::optional<std::string>& workspaceID) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
    Logger logger_{"ActiveWorkspace"};
};

} // namespace quorvel
