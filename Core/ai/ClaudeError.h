// The errors of AI calls and their user-facing texts.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <variant>

namespace quorvel {

/// Whatever goes wrong between us and the AI service; `description()` is the text that users see.
class ClaudeError : public std::exception {
  public:
    struct Unauthorized {
        std::string message;
        bool operator==(const Unauthorized&) const = default;
    };
    struct RateLimited {
        std::optional<double> retryAfter; // seconds
        bool operator==(const RateLimited&) const = default;
    };
    struct ServerError {
        int status = 0;
        std::optional<std::string> message;
        bool operator==(const ServerError&) const = default;
    };
    struct APIError {
        int status = 0;
        std::string message;
        bool operator==(const APIError&) const = default;
    };
    struct Decoding {
        std::string message;
        bool operator==(const Decoding&) const = default;
    };
    struct Network {
        std::string message;
        bool operator==(const Network&) const = default;
    };
    struct MissingAPIKey {
        bool operator==(const MissingAPIKey&) const = default;
    };
    struct EmptyResponse {
        bool operator==(const EmptyResponse&) const = default;
    };
    enum class Kind {
        noAccess,       // every further request would fail the same way until the user changes something
        serviceTrouble, // the service is busy, broken or out of reach; a later try may succeed
        failed,
    };
    using Case = std::variant<Unauthorized, RateLimited, ServerError, APIError, Decoding, Network,
                              MissingAPIKey, EmptyResponse>;

    ClaudeError(Case problem);

    [[nodiscard]] const Case& problem() const { return problem_; }
    [[nodiscard]] const std::string& description() const { return description_; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }
    /// Whether this is the case `T`.
    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&problem_);
    }
    [[nodiscard]] Kind kind() const;
    bool operator==(const ClaudeError& other) const { return problem_ == other.problem_; }

  private:
    Case problem_;
    std::string description_;
};

} // namespace quorvel
