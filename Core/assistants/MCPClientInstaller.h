// Registers the assistant server in the configurations of AI assistants.
#pragma once

#include "Core/assistants/MCPClient.h"
#include "Core/metadata/DryRun.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace quorvel {

/// Adds, replaces and removes the server's entry in a client's configuration and changes no other byte of it.
/// A symbolic link stays and its target is replaced; mode and owner stay. What the client writes meanwhile is
/// kept. A value; thread-safe.
class MCPClientInstaller {
  public:
    struct Status {
        enum class Kind {
            installed,
            installedButStale, // an entry names another path, for instance after the program was moved
            notInstalled,
        };
        Kind kind = Kind::notInstalled;
        std::string binaryPath; // in the entry; empty where it names none
        bool operator==(const Status&) const = default;
    };

    /// What stops a change; the configuration is untouched. The text is for the user; `detail` says what is
    /// wrong within the file, where that is known.
    class InstallError : public std::runtime_error {
      public:
        enum class Kind { configInvalidJSON, writeFailed, parentDirectoryMissing };

        [[nodiscard]] static InstallError configInvalidJSON(const std::filesystem::path& file,
                                                            std::string detail = {});
        [[nodiscard]] static InstallError writeFailed(const std::filesystem::path& file,
                                                      const std::string& reason);
        [[nodiscard]] static InstallError parentDirectoryMissing(const std::filesystem::path& folder);
        [[nodiscard]] Kind kind() const { return kind_; }
        [[nodiscard]] const std::filesystem::path& url() const { return url_; }
        [[nodiscard]] const std::string& detail() const { return detail_; }

      private:
        InstallError(Kind kind, std::filesystem::path url, const std::string& text, std::string detail = {});
        Kind kind_;
        std::filesystem::path url_;
        std::string detail_;
    };

    /// What a change did, or would do in a dry run.
    struct Change {
        enum class Kind { added, replaced, removed, unchanged };
        Kind kind = Kind::unchanged;
        std::filesystem::path file;              // the configuration
        std::filesystem::path target;            // where it lies; another one than `file` behind links
        std::optional<std::string> previousPath; // in the entry before
        bool makesFile = false;
    };

    /// `binaryPath` is the server's executable, absolute.
    MCPClientInstaller(std::string binaryPath, Home home);

    [[nodiscard]] const std::string& binaryPath() const { return binaryPath_; }

    /// Throws `InstallError` (configInvalidJSON).
    [[nodiscard]] Status status(MCPClient client) const;
    /// Throws `InstallError`.
    Change install(MCPClient client, DryRun dryRun = DryRun::no) const;
    /// Throws `InstallError`. A configuration that does not exist stays so.
    Change uninstall(MCPClient client, DryRun dryRun = DryRun::no) const;

    /// Called between the reading and the writing of a change, with the configuration's file; for tests,
    /// which write it then.
    std::function<void(const std::filesystem::path&)> beforeWrite = [](const std::filesystem::path&) {};

  private:
    enum class Wish { entry, noEntry };
    [[nodiscard]] Change change(MCPClient client, Wish wish, DryRun dryRun) const;

    std::string binaryPath_;
    Home home_;
};

template <>
struct RawValues<MCPClientInstaller::Status::Kind> {
    using Kind = MCPClientInstaller::Status::Kind;
    static constexpr std::pair<Kind, std::string_view> values[] = {
        {Kind::installed, "installed"},
        {Kind::installedButStale, "installedButStale"},
        {Kind::notInstalled, "notInstalled"},
    };
};

template <>
struct RawValues<MCPClientInstaller::Change::Kind> {
    using Kind = MCPClientInstaller::Change::Kind;
    static constexpr std::pair<Kind, std::string_view> values[] = {
        {Kind::added, "added"},
        {Kind::replaced, "replaced"},
        {Kind::removed, "removed"},
        {Kind::unchanged, "unchanged"},
    };
};

} // namespace quorvel
