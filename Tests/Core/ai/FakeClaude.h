// An AI client that answers from a script and remembers what it was asked.
#pragma once

#include "Core/ai/ClaudeClientProtocol.h"

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace quorvel::test {

class FakeClaude : public ClaudeClientProtocol {
  public:
    using Answer = std::function<ClaudeResponse(const ClaudeRequest&)>;

    /// Answers each request with the next of `answers`, and with the last of them from then on.
    explicit FakeClaude(std::vector<Answer> answers) : answers_(std::move(answers)) {}

    [[nodiscard]] static ClaudeResponse response(std::string text, ClaudeResponse::Usage usage = {10, 5}) {
        return {"r1", "message", "m", "stop", {{"text", std::move(text)}}, usage};
    }
    [[nodiscard]] static Answer says(std::string text) {
        return [=](const ClaudeRequest&) { return response(text); };
    }

    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request) const override {
        Answer answer;
        {
            const std::lock_guard lock(mutex_);
            answer = answers_.at(std::min(requests_.size(), answers_.size() - 1));
            requests_.push_back(request);
        }
        return answer(request);
    }

    [[nodiscard]] std::vector<ClaudeRequest> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Answer> answers_;
    mutable std::vector<ClaudeRequest> requests_;
};

} // namespace quorvel::test
