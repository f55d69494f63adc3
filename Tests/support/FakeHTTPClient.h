// An HTTP client that answers from a script and remembers what it was sent.
#pragma once

#include "Platform/http/HTTPClient.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <vector>

namespace quorvel::test {

class FakeHTTPClient : public HTTPClient {
  public:
    using Answer = std::function<HTTPResponse(const HTTPRequest&)>;

    /// Answers each request with the next of `answers`, and with the last of them from then on.
    explicit FakeHTTPClient(std::vector<Answer> answers) : answers_(std::move(answers)) {}

    [[nodiscard]] static Answer status(int code, std::string body = {},
                                       std::vector<HTTPHeader> headers = {}) {
        return [=](const HTTPRequest&) { return HTTPResponse{code, headers, body}; };
    }

    HTTPResponse send(const HTTPRequest& request) override {
        Answer answer;
        {
            const std::lock_guard lock(mutex_);
            answer = answers_.at(std::min(requests_.size(), answers_.size() - 1));
            requests_.push_back(request);
        }
        return answer(request);
    }

    [[nodiscard]] std::vector<HTTPRequest> requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<Answer> answers_;
    std::vector<HTTPRequest> requests_;
};

} // namespace quorvel::test
