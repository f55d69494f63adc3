#include "Core/ai/ClaudeError.h"

#include <fmt/format.h>

#include <cmath>

namespace quorvel {

namespace {

struct TextVisitor {
    std::string operator()(const ClaudeError::Unauthorized& problem) const {
        return "Penwise is not available: " + problem.message;
    }
    std::string operator()(const ClaudeError::RateLimited& problem) const {
        if (!problem.retryAfter) return "Penwise rate-limited.";
        return fmt::format("Penwise rate-limited. Retry in {:.0f}s.", std::trunc(*problem.retryAfter));
    }
    std::string operator()(const ClaudeError::ServerError& problem) const {
        return fmt::format("Penwise {}{}", problem.status, problem.message ? ": " + *problem.message : "");
    }
    std::string operator()(const ClaudeError::APIError& problem) const {
        return fmt::format("Penwise {}: {}", problem.status, problem.message);
    }
    std::string operator()(const ClaudeError::Decoding& problem) const {
        return "Failed to decode Penwise response: " + problem.message;
    }
    std::string operator()(const ClaudeError::Network& problem) const {
        return "Network failure talking to Penwise: " + problem.message;
    }
    std::string operator()(const ClaudeError::MissingAPIKey&) const {
        return R"(The AI service is not configured: its address or its signing secret is missing. Set "relay" and "relaySecret" in the endpoints file, or build with QUORVEL_RELAY_URL and QUORVEL_RELAY_SECRET.)";
    }
    std::string operator()(const ClaudeError::EmptyResponse&) const {
        return "Penwise returned an empty response.";
    }
};

} // namespace

ClaudeError::ClaudeError(Case problem)
    : problem_(std::move(problem)), description_(std::visit(TextVisitor{}, problem_)) {}

ClaudeError::Kind ClaudeError::kind() const {
    if (as<Unauthorized>() || as<MissingAPIKey>()) return Kind::noAccess;
    if (as<RateLimited>() || as<ServerError>() || as<Network>()) return Kind::serviceTrouble;
    return Kind::failed;
}

} // namespace quorvel
