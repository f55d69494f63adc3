#include "Quorvel/controllers/reviews/ReplyDrafts.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <cerrno>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view textEnding = ".txt";
constexpr std::uint64_t largestReplyFile = 1 << 20;

} // namespace

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
/// What is kept of a typed reply beside its text.
struct ReplyDraftRest {
    std::string developerNote;
    std::optional<std::string> textBeforeDraft;
    std::optional<ReplyDraft::Sending> sending;
    QUORVEL_RECORD(ReplyDraftRest, developerNote, textBeforeDraft, sending)
};

std::filesystem::path ReplyDrafts::textFile(const std::string& reviewID) const {
    constexpr std::size_t longestName = 200;
    if (!isSafeName(reviewID) || reviewID.size() > longestName)
        throw FileError(folder_, "The id of this review cannot name a file in " + folder_.string(), EINVAL);
    return folder_ / (reviewID + std::string(textEnding));
}

std::filesystem::path ReplyDrafts::restFile(const std::string& reviewID) const {
    return textFile(reviewID).replace_extension(".json");
}

std::optional<ReplyDraft> ReplyDrafts::load(const std::string& reviewID) const {
    const auto text = readFile(textFile(reviewID), largestReplyFile);
    const auto rest = readFile(restFile(reviewID), largestReplyFile);
    if (!text && !rest) return std::nullopt;
    ReplyDraft draft;
    if (text) draft.replyText = repairUTF8(*text);
    // Editors end a file with a line break that nobody meant.
    while (draft.replyText.ends_with('\n') || draft.replyText.ends_with('\r'))
        draft.replyText.pop_back();
    if (!rest) return draft;
    try {
        auto kept = decodeJSON<ReplyDraftRest>(*rest);
        draft.developerNote = std::move(kept.developerNote);
        draft.textBeforeDraft = std::move(kept.textBeforeDraft);
        draft.sending = std::move(kept.sending);
    } catch (const JSONError&) { // the text is what counts
    }
    return draft;
}

void ReplyDrafts::save(const std::string& reviewID, const ReplyDraft& draft) const {
    const auto text = textFile(reviewID);
    createFolders(folder_, FolderMode::secret);
    // First what was replaced, so that no text is nowhere.
    writeFileAtomically(restFile(reviewID),
                        encodeJSON(ReplyDraftRest{draft.developerNote, draft.textBeforeDraft, draft.sending},
                                   {JSONLayout::pretty, JSONKeyOrder::declared}),
                        FileMode::secret);
    writeFileAtomically(text, draft.replyText, FileMode::secret);
}

void ReplyDrafts::remove(const std::string& reviewID) const {
    removeFile(textFile(reviewID));
    removeFile(restFile(reviewID));
}

std::vector<std::string> ReplyDrafts::reviewIDs() const {
    std::vector<std::string> ids;
    for (const FolderEntry& entry : listFolder(folder_).value_or(std::vector<FolderEntry>()))
        if (std::error_code unreachable; isSafeName(entry.name) && entry.name.ends_with(textEnding) &&
                                         entry.name.size() > textEnding.size() &&
                                         std::filesystem::file_size(folder_ / entry.name, unreachable) > 0 &&
                                         !unreachable)
            ids.push_back(entry.name.substr(0, entry.name.size() - textEnding.size()));
    return ids;
}

} // namespace quorvel
