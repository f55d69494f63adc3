// Drafts the release texts of a version from its commits, with the AI service.
#pragma once

#include "Core/ai/AnswerCost.h"
#include "Core/ai/ClaudeClientProtocol.h"
#include "Core/ai/PenwiseConfig.h"
#include "Core/build/notes/CommitFilter.h"
#include "Core/metadata/FieldType.h"
#include "Platform/log/Log.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A draft that could not be made; the text says what to do.
class ReleaseNotesError : public std::runtime_error {
  public:
    enum class Kind { modelReturnedInvalidJSON, lengthBudgetExhausted, noUserRelevantCommits };

    [[nodiscard]] static ReleaseNotesError modelReturnedInvalidJSON(const std::string& raw);
    /// `field` by its name in the answer, such as "promotionalText".
    [[nodiscard]] static ReleaseNotesError lengthBudgetExhausted(const std::string& field);
    [[nodiscard]] static ReleaseNotesError noUserRelevantCommits();
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    ReleaseNotesError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    Kind kind_;
};

/// What a draft is made from.
struct ReleaseNotesContext {
    std::string appName;
    std::string brandVoice;
    std::vector<std::string> protectedTerms;
    std::optional<std::string> previousWhatsNew;
    std::optional<std::string> previousPromotionalText;
    std::vector<ClassifiedCommit> commits;
};

/// In user-perceived characters.
struct ReleaseNotesLimits {
    std::size_t whatsNew = limitOf(FieldType::releaseNotes);
    std::size_t promotionalText = limitOf(FieldType::promotionalText);
};

struct ReleaseNotesDraft {
    std::string whatsNew;
    std::string promotionalText;
    QUORVEL_RECORD(ReleaseNotesDraft, whatsNew, promotionalText)
    bool operator==(const ReleaseNotesDraft&) const = default;
};

struct ReleaseNotesPrompt {
    std::string system;
    std::string user;
    QUORVEL_RECORD(ReleaseNotesPrompt, system, user)
    bool operator==(const ReleaseNotesPrompt&) const = default;
};

/// Asks for a draft, and again for one that is malformed or too long. A value.
class ReleaseNotesGenerator {
  public:
    static constexpr int defaultMaxAttempts = 3;

    struct Parts {
        std::shared_ptr<const ClaudeClientProtocol> client;
        std::string model = std::string(PenwiseConfig::defaultModel);
        Logger logger{"ReleaseNotesGenerator"};
        int maxAttempts = defaultMaxAttempts;
    };
    struct Result {
        ReleaseNotesDraft draft; // may be over the limits after the last attempt
        std::int64_t attempts = 0;
        AnswerCost cost;
    };

    explicit ReleaseNotesGenerator(Parts parts) : parts_(std::move(parts)) {}

    /// The first request; nothing when no commit is included.
    [[nodiscard]] static std::optional<ReleaseNotesPrompt> prompt(const ReleaseNotesContext& context,
                                                                  const ReleaseNotesLimits& limits);

    /// Throws `ReleaseNotesError` when no commit is included or no answer can be used, `ClaudeError`.
    [[nodiscard]] Result generate(const ReleaseNotesContext& context, const ReleaseNotesLimits& limits,
                                  KeptAnswers keptAnswers = KeptAnswers::taken) const;

  private:
    Parts parts_;
};

} // namespace quorvel
