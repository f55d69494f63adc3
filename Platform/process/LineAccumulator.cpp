#include "Platform/process/LineAccumulator.h"

namespace quorvel {

using namespace ProcessRunner;

void LineAccumulator::append(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto end = bytes.find('\n');
        const std::string_view part = bytes.substr(0, end);
        const std::size_t room = maxLineBytes - pending_.size();
        if (part.size() > room) {
            pending_.append(part.substr(0, room));
            bytes.remove_prefix(room);
            deliver(pending_);
            pending_.clear();
            continue;
        }
        if (end == std::string_view::npos) {
            pending_.append(part);
            return;
        }
        if (pending_.empty()) {
            deliver(part);
        } else {
            pending_.append(part);
            deliver(pending_);
            pending_.clear();
        }
        bytes.remove_prefix(end + 1);
    }
}

void LineAccumulator::finish() {
    if (!pending_.empty()) deliver(pending_);
    pending_.clear();
}

std::string LineAccumulator::trail() const {
    std::string joined;
    joined.reserve(trailBytes_ + trail_.size());
    for (const std::string& line : trail_) {
        if (&line != &trail_.front()) joined += '\n';
        joined += line;
    }
    return joined;
}

void LineAccumulator::deliver(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (trail_.size() == maxTrailLines) { // the oldest string's memory serves the newest line
        trailBytes_ -= trail_.front().size();
        trail_.push_back(std::move(trail_.front()));
        trail_.pop_front();
        trail_.back().assign(line);
    } else {
        trail_.emplace_back(line);
    }
    trailBytes_ += line.size();
    while (trailBytes_ > maxTrailBytes) {
        trailBytes_ -= trail_.front().size();
        trail_.pop_front();
    }
    if (onLine_) onLine_(line, stream_);
}

} // namespace quorvel
