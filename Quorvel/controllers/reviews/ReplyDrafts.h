// Replies that were typed and not sent yet, as files of their own.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct ReplyDraft {
    /// A reply on its way, whose answer was not seen.
    struct Sending {
        std::string text;
        Date since;
        QUORVEL_RECORD(Sending, text, since)
        bool operator==(const Sending&) const = default;
    };
    std::string replyText;
    std::string developerNote;
    std::optional<std::string> textBeforeDraft; // that the last draft replaced
    std::optional<Sending> sending;
    std::optional<std::string> lastDraft = {}; // as the AI service wrote it
    bool operator==(const ReplyDraft&) const = default;
};

/// Two files per review that only their owner can read: the text as it is, for any editor, and the rest as
/// JSON. A third one takes typed texts that no other place has room for. A value. Everything throws
/// `FileError`.
class ReplyDrafts {
  public:
    explicit ReplyDrafts(std::filesystem::path folder) : folder_(std::move(folder)) {}

    /// The rest is empty where it cannot be read; its file is moved aside then (".damaged").
    [[nodiscard]] std::optional<ReplyDraft> load(const std::string& reviewID) const;
    void save(const std::string& reviewID, const ReplyDraft& draft) const;
    /// Appends a typed text that is replaced for good to the file of earlier texts.
    void keepEarlier(const std::string& reviewID, std::string_view text) const;
    /// Removes the earlier texts too.
    void remove(const std::string& reviewID) const;
    /// The ids of the reviews that a text is typed for.
    [[nodiscard]] std::vector<std::string> reviewIDs() const;
    /// The file of the text. Throws also for an id that cannot name a file.
    [[nodiscard]] std::filesystem::path textFile(const std::string& reviewID) const;
    [[nodiscard]] std::filesystem::path earlierFile(const std::string& reviewID) const;

  private:
    [[nodiscard]] std::filesystem::path restFile(const std::string& reviewID) const;

    std::filesystem::path folder_;
};

} // namespace quorvel
