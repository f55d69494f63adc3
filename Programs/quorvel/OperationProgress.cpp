#include "Programs/quorvel/OperationProgress.h"

#include <fmt/format.h>

namespace quorvel {

void OperationProgress::follow(MetadataController& controller) {
    subscriptions_.push_back(controller.observe(inlineExecutor(), [this, &controller] {
        const auto state = controller.state();
        if (!state->running || state->status.empty()) return;
        step(state->progress
                 ? fmt::format("{} ({} of {})", state->status, state->progress->done, state->progress->total)
                 : state->status);
    }));
}

void OperationProgress::step(std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (text == shown_) return;
    shown_ = text;
    output_.progress(text);
}

} // namespace quorvel
