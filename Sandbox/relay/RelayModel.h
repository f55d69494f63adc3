// The model behind the sandbox's relay: deterministic answers to the prompts that it knows.
#pragma once

#include "Sandbox/SandboxServer.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// What a request asks of the model.
struct ModelPrompt {
    std::string system;
    std::vector<std::string> userTexts;
    bool wantsJSON = false;
};

struct ModelAnswer {
    std::string content;
    std::string_view finishReason = "stop"; // as on the wire
};

/// Translates by pseudo-localisation and keeps the limit that the prompt names, builds keyword lists from the
/// reference keywords, drafts release notes from the subjects of commits, comments on sales figures,
/// classifies and answers customer reviews, and answers anything else with a short text or JSON document. One
/// thread at a time.
class RelayModel {
  public:
    void setManner(ModelManner manner);
    [[nodiscard]] ModelAnswer answer(const ModelPrompt& prompt);
    /// Whether a script may hold this answer.
    [[nodiscard]] static bool knows(std::string_view scriptedAnswer);

  private:
    [[nodiscard]] std::string translate(const ModelPrompt& prompt, const std::string& user);
    [[nodiscard]] std::string generateKeywords(const ModelPrompt& prompt, const std::string& user);
    [[nodiscard]] std::string usualAnswer(const ModelPrompt& prompt, const std::string& user);
    [[nodiscard]] std::string_view nextOfScript(const std::string& user);
    [[nodiscard]] bool exceeds(const std::string& user);
    [[nodiscard]] std::string wrap(std::string text) const;

    ModelManner manner_;
    std::map<std::string, int> tooLong_;          // first prompt → answers to it that were over the limit
    std::map<std::string, std::size_t> scripted_; // first prompt → answers to it that the script gave
};

} // namespace quorvel::sandbox
