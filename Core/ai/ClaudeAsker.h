// Asks the AI service for answers that a feature can use.
#pragma once

#include "Core/ai/AnswerCost.h"
#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/JSONAnswer.h"

#include <functional>
#include <type_traits>
#include <utility>

namespace quorvel {

/// Asks and adds up what the answers cost, those that could not be used included. For one thread.
class ClaudeAsker {
  public:
    explicit ClaudeAsker(const ClaudeClientProtocol& claude) : claude_(claude) {}

    /// Returns what `read` makes of the answer. `read` throws `ClaudeError` for an answer that cannot be
    /// used. That one is asked for once more and replaced in the cache, so that no later run meets it again;
    /// one that broke off only when it came from the cache. Throws `ClaudeError`.
    template <typename Read>
    [[nodiscard]] auto ask(ClaudeRequest request, const Read& read)
        -> std::invoke_result_t<const Read&, const ClaudeResponse&> {
        const ClaudeResponse response = send(request);
        try {
            requireWhole(request, response);
            return read(response);
        } catch (const ClaudeError&) {
            if (!mayBetter(response)) throw;
        }
        request.keptAnswers = KeptAnswers::renewed;
        const ClaudeResponse second = send(request);
        requireWhole(request, second);
        return read(second);
    }

    /// The JSON object in the answer as a `T`. `check` may refuse it as `read` does.
    template <typename T>
    [[nodiscard]] T askForJSON(ClaudeRequest request, const std::function<void(const T&)>& check = {}) {
        request.responseFormat = "json_object";
        return ask(std::move(request), [&](const ClaudeResponse& response) {
            T value = decodeAnswer<T>(response.text());
            if (check) check(value);
            return value;
        });
    }

    /// The answer to one request, whatever it is worth. Throws `ClaudeError`.
    [[nodiscard]] ClaudeResponse send(const ClaudeRequest& request);

    [[nodiscard]] const AnswerCost& cost() const { return cost_; }

  private:
    static void requireWhole(const ClaudeRequest& request, const ClaudeResponse& response);
    [[nodiscard]] static bool mayBetter(const ClaudeResponse& response);

    const ClaudeClientProtocol& claude_;
    AnswerCost cost_;
};

} // namespace quorvel
