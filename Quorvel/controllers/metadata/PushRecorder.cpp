#include "Quorvel/controllers/metadata/PushRecorder.h"

#include <fmt/format.h>

namespace quorvel {

PushRecorder::PushRecorder(PushHistory history, Clock clock, const PushPlan& plan, std::string run)
    : history_(std::move(history)), clock_(std::move(clock)), plan_(plan), run_(std::move(run)) {}

PushRecording PushRecorder::recording() {
    return {.begin = [this](const std::vector<PushOutcome>& changes) { begin(changes); },
            .end = [this](const std::vector<PushOutcome>& outcomes) { end(outcomes); }};
}

std::optional<std::string> PushRecorder::problem() const {
    const std::lock_guard lock(mutex_);
    return problem_;
}

PushHistoryEntry PushRecorder::entryOf(const PushOutcome& outcome) const {
    const bool keepsTexts = !isSecret(outcome.change.field);
    return {.timestamp = clock_(),
            .locale = outcome.change.locale,
            .fieldType = std::string(rawValue(outcome.change.field)),
            .previousValue = keepsTexts ? outcome.textBefore() : std::string(),
            .newValue = std::string(keepsTexts ? outcome.change.textToSend() : std::string_view()),
            .success = outcome.success,
            .errorMessage = outcome.errorMessage,
            .sessionId = run_,
            .versionString = plan_.version.versionString,
            .platform = std::string(rawValue(plan_.version.platform)),
            .stateClass = std::string(rawValue(plan_.version.stateClass)),
            .app = plan_.app.id};
}

void PushRecorder::begin(const std::vector<PushOutcome>& changes) {
    std::vector<PushHistoryEntry> entries;
    for (const PushOutcome& change : changes)
        entries.push_back(entryOf(change));
    save([&] { history_.record(entries); });
}

void PushRecorder::end(const std::vector<PushOutcome>& outcomes) {
    std::vector<PushHistoryEntry> sent, unsent;
    for (const PushOutcome& outcome : outcomes)
        (outcome.wasSent() ? sent : unsent).push_back(entryOf(outcome));
    save([&] { history_.settle(sent, unsent); });
}

template <typename Work>
void PushRecorder::save(Work&& work) {
    try {
        work();
    } catch (const std::exception& error) {
        logger_.error(fmt::format("Failed to save push history: {}", error.what()));
        const std::lock_guard lock(mutex_);
        if (!problem_)
            problem_ = fmt::format(
                "Not all of this push is in the history, so it cannot be taken back as a whole: {}",
                error.what());
    }
}

} // namespace quorvel
