#include "Core/metadata/MetadataError.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <system_error>

namespace quorvel {

namespace {

std::string shown(const std::filesystem::path& path) {
    return escapeControls(path.native());
}

} // namespace

MetadataError::MetadataError(const std::string& text, Where where, std::string code)
    : std::runtime_error(text), where_(std::move(where)), code_(std::move(code)) {}

MetadataError MetadataError::readOnlyContext(std::string_view appStoreState) {
    return MetadataError(
        fmt::format("Current state is {}. Create a new editable version on App Store Connect "
                    "to push changes.",
                    escapeControls(appStoreState)),
        {}, "READ_ONLY_CONTEXT");
}

MetadataError MetadataError::unknownContext(std::string_view wanted, std::string_view known) {
    return MetadataError(fmt::format("There is no context \"{}\" on App Store Connect. This app has: {}.",
                                     escapeControls(wanted), known),
                         {}, "UNKNOWN_CONTEXT");
}

MetadataError MetadataError::otherVersionPulled(std::string_view versionString) {
    return MetadataError(
        fmt::format("The last pull was of another version than {}. Pull (--leave-edits keeps your edits in "
                    "place), then push.",
                    escapeControls(versionString)),
        {}, "OTHER_VERSION_PULLED");
}

MetadataError MetadataError::interruptedPull(const std::filesystem::path& folder) {
    return MetadataError(fmt::format("{}: the last pull was interrupted, so pulled texts may look like local "
                                     "edits. Pull again.",
                                     shown(folder)),
                         {folder, {}, {}}, "INTERRUPTED_PULL");
}

MetadataError MetadataError::unsafeName(std::string_view kind, std::string_view name) {
    return MetadataError(fmt::format("The {} \"{}\" cannot be a folder's name: it is empty, too long, begins "
                                     "with a dot, or holds a separator or a control character.",
                                     kind, escapeControls(name)));
}

MetadataError MetadataError::unsafeLocale(std::string_view locale) {
    return MetadataError(unsafeName("locale", locale).what(), {{}, std::string(locale), {}});
}

MetadataError MetadataError::leadsOutside(const std::filesystem::path& path,
                                          const std::filesystem::path& root) {
    return MetadataError(fmt::format("{}: is a symbolic link that leads out of the metadata folder {}. "
                                     "Replace it by the file or folder itself.",
                                     shown(path), shown(root)),
                         {path, {}, {}});
}

MetadataError MetadataError::notUTF8(const std::filesystem::path& path, std::size_t offset) {
    return MetadataError(
        fmt::format("{}: is not valid UTF-8 at byte {}. Save the file as UTF-8.", shown(path), offset),
        {path, {}, {}});
}

MetadataError MetadataError::holdsNUL(const std::filesystem::path& path, std::size_t offset) {
    return MetadataError(fmt::format("{}: holds a NUL character at byte {}. Save the file as UTF-8 text.",
                                     shown(path), offset),
                         {path, {}, {}});
}

MetadataError MetadataError::tooLarge(const std::filesystem::path& path, std::uint64_t size,
                                      std::uint64_t limit) {
    return MetadataError(fmt::format("{}: has {} bytes; a field file may have at most {}. Is this the right "
                                     "file?",
                                     shown(path), size, limit),
                         {path, {}, {}});
}

MetadataError MetadataError::notAFile(const std::filesystem::path& path) {
    return MetadataError(fmt::format("{}: is not a regular file.", shown(path)), {path, {}, {}});
}

MetadataError MetadataError::notAFolder(const std::filesystem::path& path) {
    return MetadataError(fmt::format("{}: there is no such folder.", shown(path)), {path, {}, {}});
}

MetadataError MetadataError::cannotRead(const std::filesystem::path& path, int errorNumber) {
    return MetadataError(
        fmt::format("{}: cannot be read: {}", shown(path), std::generic_category().message(errorNumber)),
        {path, {}, {}});
}

MetadataError MetadataError::badBookmark(std::string_view problem) {
    return MetadataError(fmt::format("The stored bookmark of the metadata folder cannot be used ({}). Choose "
                                     "the folder again in the app's settings.",
                                     escapeControls(problem)),
                         {}, "BAD_BOOKMARK");
}

MetadataError MetadataError::lostFolder(const std::filesystem::path& path) {
    return MetadataError(
        fmt::format("{}: the metadata folder was moved or removed and is not found nearby. "
                    "Put it back, or choose the folder again in the app's settings, where it "
                    "lies now or where a new one is to be.",
                    shown(path)),
        {path, {}, {}}, "LOST_FOLDER");
}

} // namespace quorvel
