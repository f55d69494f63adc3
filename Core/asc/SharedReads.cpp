#include "Core/asc/SharedReads.h"

#include <exception>
#include <stdexcept>

namespace quorvel {

namespace {

std::string questionOf(const ASCRequest& request) {
    std::string question = request.absoluteURL.value_or(request.path) + "\n" + request.accept;
    for (const auto& [name, value] : request.query)
        question += "\n" + name + "=" + value;
    return question;
}

} // namespace

std::string SharedReads::exchange(const ASCRequest& request) const {
    if (request.method != "GET") throw std::logic_error("a plan only reads: " + request.method);
    const std::string question = questionOf(request);
    std::promise<std::string> promise;
    std::shared_future<std::string> answer;
    {
        const std::lock_guard lock(mutex_);
        if (const auto known = answers_.find(question); known != answers_.end())
            answer = known->second;
        else
            answers_.emplace(question, promise.get_future().share());
    }
    if (answer.valid()) return answer.get();
    try {
        std::string text = client_->exchange(request);
        promise.set_value(text);
        return text;
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            answers_.erase(question);
        }
        promise.set_exception(std::current_exception());
        throw;
    }
}

} // namespace quorvel
