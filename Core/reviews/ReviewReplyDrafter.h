// Drafts replies to customer reviews with the AI service.
#pragma once

#include "Core/ai/ClaudeAsker.h"
#include "Core/ai/PenwiseConfig.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quorvel {

/// The most characters that App Store Connect takes in a reply.
inline constexpr std::size_t longestReply = 5970;

class ReviewReplyDrafter {
  public:
    struct Parts {
        std::shared_ptr<const ClaudeClientProtocol> claude;
        std::string model = std::string(PenwiseConfig::defaultModel);
    };
    struct Input {
        std::string appName;
        std::int64_t rating = 0;
        std::string title;
        std::string body;
        std::string territory;
        std::string reviewerNickname;
        std::string brandVoice;
        std::string developerNote; // the facts that the reply may state
    };
    struct Prompt {
        std::string system;
        std::string user;
    };

    explicit ReviewReplyDrafter(Parts parts) : parts_(std::move(parts)) {}

    [[nodiscard]] static Prompt prompt(const Input& input);
    /// An answer without what models put around a text, and no longer than a reply may be.
    [[nodiscard]] static std::string cleaned(std::string_view answer);

    /// Throws `ClaudeError`, also for an answer without a text or one that broke off.
    [[nodiscard]] std::string draft(const Input& input, KeptAnswers keptAnswers = KeptAnswers::taken) const;
    /// The same with an asker over the same client, which adds up the cost.
    [[nodiscard]] std::string draft(const Input& input, KeptAnswers keptAnswers, ClaudeAsker& asker) const;

  private:
    Parts parts_;
};

} // namespace quorvel
