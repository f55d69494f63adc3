#include "Core/assistants/MCPClientInstaller.h"

#include "Core/assistants/MCPConfiguration.h"
#include "Platform/files/Files.h"
#include "Platform/files/ReplaceFile.h"
#include "Platform/text/Text.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace quorvel {

namespace {

using InstallError = MCPClientInstaller::InstallError;

constexpr std::string_view temporaryExtension = ".quorvel-tmp";
constexpr int mostAttempts = 20;

std::string shown(const std::filesystem::path& path) {
    return escapeControls(path.native());
}

// What the system said, without the path that stands before it already.
std::string reasonOf(const FileError& error) {
    if (error.errorNumber() != 0) return std::generic_category().message(error.errorNumber());
    return error.what();
}

// Nothing where there is no file.
std::optional<std::string> readConfiguration(const std::filesystem::path& file) {
    try {
        return readFile(file);
    } catch (const FileError& error) {
        throw InstallError::configInvalidJSON(file, error.what());
    }
}

MCPConfiguration parse(const std::filesystem::path& file, const std::optional<std::string>& text) {
    if (!text) return MCPConfiguration::empty();
    try {
        return MCPConfiguration(*text);
    } catch (const MCPConfigurationError& error) {
        throw InstallError::configInvalidJSON(file, error.what());
    }
}

// A file may be renamed over one that must not be written, so its mode has to be asked.
void requireWritable(const std::filesystem::path& file, const std::filesystem::path& target) {
    using std::filesystem::perms;
    std::error_code error;
    const perms mode = std::filesystem::status(target, error).permissions();
    const bool isMarked =
        (mode & (perms::owner_write | perms::group_write | perms::others_write)) == perms::none;
    if (!error && (isMarked || ::access(target.c_str(), W_OK) != 0))
        throw InstallError::writeFailed(file, "it is read-only");
}

} // namespace

InstallError::InstallError(Kind kind, std::filesystem::path url, const std::string& text, std::string detail)
    : std::runtime_error(text), kind_(kind), url_(std::move(url)), detail_(std::move(detail)) {}

InstallError InstallError::configInvalidJSON(const std::filesystem::path& file, std::string detail) {
    return {Kind::configInvalidJSON, file,
            "Existing config at " + shown(file) +
                " isn't valid JSON. Open it manually or remove it before connecting.",
            std::move(detail)};
}

InstallError InstallError::writeFailed(const std::filesystem::path& file, const std::string& reason) {
    return {Kind::writeFailed, file, "Could not write " + shown(file) + ": " + reason};
}

InstallError InstallError::parentDirectoryMissing(const std::filesystem::path& folder) {
    return {Kind::parentDirectoryMissing, folder,
            "Client config directory doesn't exist yet (" + shown(folder) +
                ") — launch the client at least once and try again."};
}

MCPClientInstaller::MCPClientInstaller(std::string binaryPath, Home home)
    : binaryPath_(std::move(binaryPath)), home_(std::move(home)) {}

MCPClientInstaller::Status MCPClientInstaller::status(MCPClient client) const {
    const auto file = configurationOf(client, home_);
    const auto command = parse(file, readConfiguration(file)).command();
    if (!command) return {};
    return {*command == binaryPath_ ? Status::Kind::installed : Status::Kind::installedButStale, *command};
}

MCPClientInstaller::Change MCPClientInstaller::install(MCPClient client, DryRun dryRun) const {
    return change(client, Wish::entry, dryRun);
}

MCPClientInstaller::Change MCPClientInstaller::uninstall(MCPClient client, DryRun dryRun) const {
    return change(client, Wish::noEntry, dryRun);
}

MCPClientInstaller::Change MCPClientInstaller::change(MCPClient client, Wish wish, DryRun dryRun) const {
    const auto file = configurationOf(client, home_);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        try {
            const auto before = readConfiguration(file);
            const MCPConfiguration configuration = parse(file, before);
            Change change{.file = file, .target = followLinks(file)};
            if (wish == Wish::noEntry && !configuration.hasEntry()) return change;
            std::error_code ignored;
            if (!std::filesystem::is_directory(change.target.parent_path(), ignored))
                throw InstallError::parentDirectoryMissing(change.target.parent_path());
            change.previousPath = configuration.command();
            change.makesFile = !before;
            const std::string after =
                wish == Wish::entry ? configuration.installing(binaryPath_) : configuration.uninstalling();
            if (after == before) return change;
            change.kind = wish == Wish::noEntry      ? Change::Kind::removed
                          : configuration.hasEntry() ? Change::Kind::replaced
                                                     : Change::Kind::added;
            if (before) requireWritable(file, change.target);
            if (dryRun == DryRun::yes) return change;
            beforeWrite(file);
            if (replaceFileThrough(temporaryExtension, file, before, after)) return change;
        } catch (const FileError& error) {
            throw InstallError::writeFailed(file, reasonOf(error));
        }
    }
    throw InstallError::writeFailed(file, "another program keeps changing it");
}

} // namespace quorvel
