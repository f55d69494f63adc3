// What AI assistants may do through this program.
#pragma once

#include "Platform/defaults/UserDefaults.h"
#include "Platform/json/RawValue.h"

#include <memory>
#include <string_view>
#include <utility>

namespace quorvel {

enum class AssistantPermission {
    readOnly, // look, and change nothing
    edits,    // also change files and records of this machine, but send nothing
    all,      // also change App Store Connect
};

template <>
struct RawValues<AssistantPermission> {
    static constexpr std::pair<AssistantPermission, std::string_view> values[] = {
        {AssistantPermission::readOnly, "read-only"},
        {AssistantPermission::edits, "edits"},
        {AssistantPermission::all, "all"},
    };
};

/// The permission of one home, remembered between runs. A value over the user defaults.
class AssistantPermissionSetting {
  public:
    static constexpr std::string_view key = "Assistants.permission";

    explicit AssistantPermissionSetting(std::shared_ptr<UserDefaults> defaults)
        : defaults_(std::move(defaults)) {}

    /// What was chosen; edits as long as nothing was, and read-only for a text that is none of the three and
    /// for settings that cannot be read: what is not understood must not allow more.
    [[nodiscard]] AssistantPermission permission() const;
    /// Remembers a choice. Throws `FileError`.
    void choose(AssistantPermission permission) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
};

} // namespace quorvel
