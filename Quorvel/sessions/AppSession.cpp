#include "Quorvel/sessions/AppSession.h"

namespace quorvel {

AppSessionStore::AppSessionStore(Factory factory) : factory_(std::move(factory)) {}

std::shared_ptr<AppSession> AppSessionStore::session(std::string_view appID) {
    std::promise<std::shared_ptr<AppSession>> made;
    const auto own = std::make_shared<const Making>(made.get_future().share());
    std::shared_ptr<const Making> known;
    {
        const std::lock_guard lock(mutex_);
        known = sessions_.try_emplace(std::string(appID), own).first->second;
    }
    if (known != own) return known->get();

    // Without the lock: making a session reads files, and may ask for another one.
    try {
        made.set_value(factory_(appID));
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            const auto entry = sessions_.find(appID);
            if (entry != sessions_.end() && entry->second == own) sessions_.erase(entry);
        }
        made.set_exception(std::current_exception());
    }
    return own->get();
}

void AppSessionStore::forget(std::string_view appID) {
    std::shared_ptr<const Making> forgotten; // goes after the lock: a controller ends its work first
    const std::lock_guard lock(mutex_);
    if (const auto entry = sessions_.find(appID); entry != sessions_.end()) {
        forgotten = std::move(entry->second);
        sessions_.erase(entry);
    }
}

} // namespace quorvel
