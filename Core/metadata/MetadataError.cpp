#include "Core/metadata/MetadataError.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quorvel {

namespace {

using ErrorKind = MetadataError::Kind;

std::string shown(const std::filesystem::path& path) {
    return escapeControls(path.native());
}

// About a file or folder, which the text begins with.
template <typename... Arguments>
MetadataError errorAt(ErrorKind kind, const std::filesystem::path& path,
                      fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    return {kind,
            fmt::format("{}: {}", shown(path), fmt::format(text, std::forward<Arguments>(arguments)...)),
            {path, {}, {}}};
}

// "de" means "de-DE", which there is.
std::string meant(std::string_view locale, const std::vector<std::string>& known) {
    const auto nearest = nearestAppStoreLocale(locale);
    if (!nearest || std::ranges::find(known, *nearest) == known.end()) return {};
    return fmt::format("Did you mean {}? ", *nearest);
}

} // namespace

MetadataError::MetadataError(Kind kind, const std::string& text, Where where)
    : std::runtime_error(text), kind_(kind), where_(std::move(where)) {}

MetadataError MetadataError::readOnlyContext(std::string_view appStoreState) {
    return {ErrorKind::readOnlyContext,
            fmt::format(
                "Current state is {}. Create a new editable version on App Store Connect to push changes.",
                escapeControls(appStoreState))};
}

MetadataError MetadataError::unknownContext(std::string_view wanted, std::string_view known) {
    return {ErrorKind::unknownContext,
            fmt::format("There is no context \"{}\" on App Store Connect. This app has: {}.",
                        escapeControls(wanted), known)};
}

MetadataError MetadataError::invalidContext(std::string_view name) {
    const std::string lowered = asciiLowercase(name);
    return {
        ErrorKind::invalidContext,
        fmt::format(
            "\"{}\" is no context. {}", escapeControls(name),
            parseContextID(lowered)
                ? fmt::format("Did you mean {}?", lowered)
                : "A context is ios, macos, tvos or visionos, a slash, and next or live, such as ios/next.")};
}

MetadataError MetadataError::interruptedPull(const std::filesystem::path& folder) {
    return errorAt(ErrorKind::interruptedPull, folder,
                   "the last pull was interrupted, so pulled texts may look like local edits. Pull again.");
}

MetadataError MetadataError::otherVersionPulled(std::string_view versionString) {
    return {ErrorKind::otherVersionPulled,
            fmt::format("The last pull was of another version than {}. Pull, then push.",
                        escapeControls(versionString))};
}

MetadataError MetadataError::invalidLocale(std::string_view locale) {
    const auto nearest = nearestAppStoreLocale(locale);
    return {ErrorKind::invalidLocale,
            fmt::format("\"{}\" is no App Store locale.{}", escapeControls(locale),
                        nearest ? fmt::format(" Did you mean {}?", *nearest) : ""),
            {{}, std::string(locale), {}}};
}

MetadataError MetadataError::unknownLocale(std::string_view locale, const std::filesystem::path& folder,
                                           const std::vector<std::string>& known) {
    return {ErrorKind::unknownLocale,
            fmt::format("There is no locale \"{}\" in {}. {}There are {}.", escapeControls(locale),
                        shown(folder), meant(locale, known), fmt::join(known, ", ")),
            {folder, std::string(locale), {}}};
}

MetadataError MetadataError::unsafeName(std::string_view what, std::string_view name) {
    return {ErrorKind::unsafeName,
            fmt::format("The {} \"{}\" cannot be a folder's name: it is empty, too long, begins with a dot, "
                        "or holds a separator or a control character.",
                        what, escapeControls(name))};
}

MetadataError MetadataError::unsafeLocale(std::string_view locale) {
    return {ErrorKind::unsafeName, unsafeName("locale", locale).what(), {{}, std::string(locale), {}}};
}

MetadataError MetadataError::leadsOutside(const std::filesystem::path& path,
                                          const std::filesystem::path& root) {
    return errorAt(ErrorKind::leadsOutside, path,
                   "is a symbolic link that leads out of the metadata folder {}. "
                   "Replace it by the file or folder itself.",
                   shown(root));
}

MetadataError MetadataError::notUTF8(const std::filesystem::path& path, std::size_t offset) {
    return errorAt(ErrorKind::unusableText, path, "is not valid UTF-8 at byte {}. Save the file as UTF-8.",
                   offset);
}

MetadataError MetadataError::holdsNUL(const std::filesystem::path& path, std::size_t offset) {
    return errorAt(ErrorKind::unusableText, path,
                   "holds a NUL character at byte {}. Save the file as UTF-8 text.", offset);
}

MetadataError MetadataError::tooLarge(const std::filesystem::path& path, std::uint64_t size,
                                      std::uint64_t limit) {
    return errorAt(ErrorKind::unusableText, path,
                   "has {} bytes; a field file may have at most {}. Is this the right file?", size, limit);
}

MetadataError MetadataError::notAFile(const std::filesystem::path& path) {
    std::error_code unreachable;
    if (std::filesystem::is_directory(path, unreachable))
        return errorAt(ErrorKind::unreadable, path,
                       "is a folder where a text file belongs. Move it away or remove it.");
    return errorAt(ErrorKind::unreadable, path, "is not a regular file. Move it away or remove it.");
}

MetadataError MetadataError::notAFolder(const std::filesystem::path& path) {
    return errorAt(ErrorKind::unreadable, path, "there is no such folder.");
}

MetadataError MetadataError::cannotRead(const std::filesystem::path& path, int errorNumber) {
    if (errorNumber == ELOOP)
        return errorAt(ErrorKind::unreadable, path,
                       "is a symbolic link that leads to itself. Replace it by the file or folder itself.");
    if (errorNumber == ENOTDIR)
        return errorAt(ErrorKind::unreadable, path,
                       "is a file where a folder belongs. Move it away or remove it.");
    return errorAt(ErrorKind::unreadable, path, "cannot be read: {}",
                   std::generic_category().message(errorNumber));
}

MetadataError MetadataError::keepsChanging(const std::filesystem::path& path) {
    return errorAt(
        ErrorKind::unreadable, path,
        "is being saved again and again, so it was left as it is. Close it elsewhere and try again.");
}

MetadataError MetadataError::badBookmark(std::string_view problem) {
    return {ErrorKind::badBookmark,
            fmt::format("The stored bookmark of the metadata folder cannot be used ({}). "
                        "Choose the folder again in the app's settings.",
                        escapeControls(problem))};
}

MetadataError MetadataError::lostFolder(const std::filesystem::path& path) {
    return errorAt(ErrorKind::lostFolder, path,
                   "the metadata folder was moved or removed and is not found nearby. "
                   "Put it back, or choose the folder again in the app's settings, "
                   "where it lies now or where a new one is to be.");
}

MetadataError MetadataError::folderInUse(const std::filesystem::path& folder, std::string_view problem) {
    return errorAt(ErrorKind::folderInUse, folder, "{}. Name a folder of this app's own.", problem);
}

MetadataError MetadataError::olderLayout(const std::filesystem::path& folder) {
    return errorAt(ErrorKind::olderLayout, folder,
                   "holds texts in an older layout, which a dry run does not move. "
                   "Do it once in earnest; nothing is lost by it.");
}

MetadataError MetadataError::otherApp(const std::filesystem::path& folder, std::string_view appName) {
    return errorAt(ErrorKind::otherApp, folder,
                   "holds the texts of another app than {}. Name this app's own folder, or a new one.",
                   escapeControls(appName));
}

MetadataError MetadataError::unknownApp() {
    return {ErrorKind::unknownApp, "The app is no longer among the imported ones. Import it again."};
}

MetadataError MetadataError::unknownRun(std::string_view run) {
    return {ErrorKind::unknownRun,
            fmt::format("There is no push \"{}\" in this app's history.", escapeControls(run))};
}

} // namespace quorvel
