#include "Quorvel/settings/ActiveWorkspace.h"

namespace quorvel {

ActiveWorkspace::ActiveWorkspace(std::shared_ptr<UserDefaults> defaults) : defaults_(std::move(defaults)) {}

std::optional<std::string> ActiveWorkspace::id() const {
    try {
        auto id = defaults_->string(key);
        return id && !id->empty() ? id : std::nullopt;
    } catch (const FileError& error) {
        logger_.warning(error.what()); // one can work without a choice
        return std::nullopt;
    }
}

bool ActiveWorkspace::choose(const std::optional<std::string>& workspaceID) const {
    try {
        if (workspaceID)
            defaults_->set(key, *workspaceID);
        else
            defaults_->remove(key);
        return true;
    } catch (const FileError& error) {
        logger_.error(std::string("Couldn't save active workspace: ") + error.what());
        return false;
    }
}

} // namespace quorvel
