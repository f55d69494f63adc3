// The file with all that one build run printed.
#pragma once

#include "Core/build/BuildConfig.h"
#include "Core/build/ToolOutput.h"
#include "Platform/files/FileDescriptor.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Takes the text of a private key out of what tools print.
class SecretFilter {
  public:
    explicit SecretFilter(std::string_view privateKey);
    [[nodiscard]] std::string operator()(std::string_view text) const;

  private:
    std::vector<std::string> secrets_; // the lines of the key
};

/// Each line is written as it arrives, so that a run that is killed leaves what it printed. A file that can
/// be written no more ends the log and not the run.
class BuildLog {
  public:
    static constexpr std::size_t keptLogs = 20; // the older ones are removed
    static constexpr std::uint64_t maxBytes = 256ULL
                                              << 20; // later lines are left out, stages are still marked

    /// Makes a file named after the moment in `folder`, both for this user only. Throws `FileError`.
    BuildLog(const std::filesystem::path& folder, Clock clock);

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// A line of `stage`; a stage that begins is marked with the time.
    void add(std::string_view line, BuildStage stage);
    /// The lines so far that say why a run failed.
    [[nodiscard]] const std::vector<std::string>& causes() const { return causes_.causes(); }
    /// Why the log is not whole; nothing when it is.
    [[nodiscard]] const std::optional<std::string>& trouble() const { return trouble_; }

  private:
    void write(std::string_view text);

    Clock clock_;
    std::filesystem::path path_;
    FileDescriptor file_;
    std::optional<BuildStage> stage_;
    CauseList causes_;
    std::uint64_t bytes_ = 0;
    std::optional<std::string> trouble_;
};

} // namespace quorvel
