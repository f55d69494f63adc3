// How each app is built for each platform, kept in the user's settings.
#pragma once

#include "Core/build/BuildConfig.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/log/Log.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// One `BuildConfig` per app and platform under "Brevant.BuildConfig.<app>.<platform>", as the text of its
/// JSON. A value; thread-safe, also between processes.
class BuildConfigStore {
  public:
    static constexpr std::string_view keyPrefix = "Brevant.BuildConfig.";

    explicit BuildConfigStore(std::shared_ptr<UserDefaults> defaults) : defaults_(std::move(defaults)) {}

    /// The configuration of the app with this identity; nothing, and a line in the log, for what cannot be
    /// read. Throws `FileError`.
    [[nodiscard]] std::optional<BuildConfig> load(std::string_view appID, TargetPlatform platform) const;
    /// Saves it for the platform that it names; whether it differed. Throws `FileError`.
    bool save(std::string_view appID, const BuildConfig& config) const;

  private:
    std::shared_ptr<UserDefaults> defaults_;
    Logger logger_{"BuildConfigStore"};
};

} // namespace quorvel
