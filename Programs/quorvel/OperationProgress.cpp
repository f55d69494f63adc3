#include "Programs/quorvel/OperationProgress.h"

#include <fmt/format.h>

namespace quorvel {

ActionProgress OperationProgress::actionProgress() {
    return {.step = [this](const ActionProgress::Step& step) { show(step); }};
}

void OperationProgress::show(const ActionProgress::Step& step) {
    const std::string text =
        step.done ? fmt::format("{} ({} of {})", step.text, *step.done, step.total) : step.text;
    const std::lock_guard lock(mutex_);
    if (text == shown_) return;
    shown_ = text;
    output_.progress(text);
}

} // namespace quorvel
