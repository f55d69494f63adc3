#include "Core/assistants/MCPClientInstaller.h"

#include "Core/assistants/MCPConfiguration.h"
#include "Platform/files/Files.h"
#include "Platform/files/ReplaceFile.h"
#include "Platform/text/Text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

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

bool isOwnGroup(gid_t group) {
    if (group == ::getegid()) return true;
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(0, ::getgroups(0, nullptr))));
    const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
    groups.resize(static_cast<std::size_t>(std::max(0, count)));
    return std::ranges::find(groups, group) != groups.end();
}

// A file may be renamed over one that must not be written, and the new one is of whoever writes it: what
// cannot stay as it is has to be asked for.
void requireWritable(const std::filesystem::path& file, const std::filesystem::path& target) {
    struct stat status {};
    if (::stat(target.c_str(), &status) != 0) return; // which the writing says
    if ((status.st_mode & 0222) == 0 || ::access(target.c_str(), W_OK) != 0)
        throw InstallError::writeFailed(file, "it is read-only");
    if (::geteuid() == 0) return;
    if (status.st_uid != ::geteuid())
        throw InstallError::writeFailed(file, "it belongs to another user, and would be yours after that");
    if (!isOwnGroup(status.st_gid))
        throw InstallError::writeFailed(file, "it belongs to a group that you are no member of");
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
