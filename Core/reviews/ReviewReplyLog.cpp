#include "Core/reviews/ReviewReplyLog.h"

#include <utility>

namespace quorvel {

ReviewReplyLog::ReviewReplyLog(std::shared_ptr<UserDefaults> defaults, Clock clock)
    : defaults_(std::move(defaults)), clock_(std::move(clock)) {}

std::map<std::string, ReviewReplyLog::Entry> ReviewReplyLog::entries() const {
    const auto kept = defaults_->string(key);
    if (!kept) return {};
    try {
        return decodeJSON<std::map<std::string, Entry>>(*kept);
    } catch (const JSONError&) {
        return {};
    }
}

void ReviewReplyLog::record(const std::string& reviewID, const std::string& text) const {
    auto all = entries();
    all[reviewID] = {text, clock_(), "PENDING_PUBLISH"};
    defaults_->set(key, encodeJSON(all));
}

} // namespace quorvel
