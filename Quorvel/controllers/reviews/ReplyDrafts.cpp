#include "Quorvel/controllers/reviews/ReplyDrafts.h"

#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <cerrno>
#include <utility>

namespace quorvel {

namespace {

constexpr std::string_view textEnding = ".txt";
constexpr std::uint64_t largestReplyFile = 1 << 20;

// It may hold a text that is nowhere else; the next save would write over it.
void moveAside(const std::filesystem::path& file) {
    std::filesystem::path aside = file;
    aside += ".damaged";
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error) throw FileError(file, file.string() + " is damaged and cannot be moved aside", error.value());
    Logger("Reviews").warning("A damaged file was moved aside: " + aside.string());
}

} // namespace

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
/// What is kept of a typed reply beside its text.
struct ReplyDraftRest {
    std::string developerNote;
    std::optional<std::string> textBeforeDraft;
    std::optional<ReplyDraft::Sending> sending;
    std::optional<std::string> lastDraft;
    QUORVEL_RECORD(ReplyDraftRest, developerNote, textBeforeDraft, sending, lastDraft)
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

std::filesystem::path ReplyDrafts::earlierFile(const std::string& reviewID) const {
    return textFile(reviewID).replace_extension(".earlier");
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
        draft.lastDraft = std::move(kept.lastDraft);
    } catch (const JSONError&) { // the text is what counts
        moveAside(restFile(reviewID));
    }
    return draft;
}

void ReplyDrafts::save(const std::string& reviewID, const ReplyDraft& draft) const {
    const auto text = textFile(reviewID);
    createFolders(folder_, FolderMode::secret);
    // First what was replaced, so that no text is nowhere.
    writeFileAtomically(
        restFile(reviewID),
        encodeJSON(ReplyDraftRest{draft.developerNote, draft.textBeforeDraft, draft.sending, draft.lastDraft},
                   {JSONLayout::pretty, JSONKeyOrder::declared}),
        FileMode::secret);
    writeFileAtomically(text, draft.replyText, FileMode::secret);
}

void ReplyDrafts::keepEarlier(const std::string& reviewID, std::string_view text) const {
    createFolders(folder_, FolderMode::secret);
    appendLine(earlierFile(reviewID), std::string(trim(text)) + "\n", FileMode::secret);
}

void ReplyDrafts::remove(const std::string& reviewID) const {
    removeFile(textFile(reviewID));
    removeFile(restFile(reviewID));
    removeFile(earlierFile(reviewID));
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
