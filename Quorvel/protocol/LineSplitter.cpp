#include "Quorvel/protocol/LineSplitter.h"

#include <utility>

namespace quorvel {

void LineSplitter::append(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        keep(bytes.substr(0, end));
        if (end == std::string_view::npos) return;
        deliver();
        bytes.remove_prefix(end + 1);
    }
}

void LineSplitter::finish() {
    if (!line_.empty() || isTooLong_) deliver();
}

void LineSplitter::keep(std::string_view bytes) {
    if (isTooLong_) return;
    if (line_.size() + bytes.size() <= most_) {
        line_ += bytes;
        return;
    }
    isTooLong_ = true;
    line_ = std::string(); // gives its memory back
}

void LineSplitter::deliver() {
    if (std::exchange(isTooLong_, false))
        onLine_(std::nullopt);
    else
        onLine_(std::exchange(line_, std::string()));
}

} // namespace quorvel
