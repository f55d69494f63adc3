#include "Core/reviews/ReviewNotes.h"

#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"

#include <fmt/format.h>

namespace quorvel {

ReviewNotes ReviewNotesFile::load() const {
    const auto text = readFile(file_);
    if (!text) return {};
    try {
        return decodeJSON<ReviewNotes>(*text);
    } catch (const JSONError& error) {
        Logger("Reviews").warning(fmt::format("{} cannot be read: {}", file_.string(), error.what()));
        return {};
    }
}

void ReviewNotesFile::update(const std::function<void(ReviewNotes&)>& change) const {
    createFolders(file_.parent_path(), FolderMode::secret);
    auto lock = file_;
    const FileLock held(lock += ".lock");
    ReviewNotes notes = load();
    change(notes);
    writeFileAtomically(file_, encodeJSON(notes), FileMode::secret);
}

} // namespace quorvel
