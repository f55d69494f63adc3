// The one operation that a metadata controller runs at a time; for the controller's own sources.
#pragma once

#include "Quorvel/controllers/MetadataController.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Claims the controller while it lives and tells the state of what goes on.
class MetadataController::Operation {
  public:
    /// Throws `OperationRefused` while another runs; its state is left alone then.
    Operation(MetadataController& controller, MetadataOperation kind);
    ~Operation();
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    void status(std::string text);
    void progress(std::size_t done, std::size_t total);
    /// What the state says once the operation has ended.
    void endWithError(std::string text) { error_ = std::move(text); }

  private:
    MetadataController& controller_;
    std::optional<std::string> error_;
};

/// The folder's turn for `what`, its folders made. Throws `OperationRefused` where they cannot be.
[[nodiscard]] FileLock lockAppFolder(const MetadataFolder& appFolder, std::string_view what);

/// Throws `OperationRefused` for a context that takes no changes; its state is named where it is known.
[[noreturn]] void refuseReadOnly(std::string_view appStoreState);

/// What is shown while the versions are listed.
inline constexpr std::string_view discoveringText = "Discovering versions on App Store Connect…";

} // namespace quorvel
