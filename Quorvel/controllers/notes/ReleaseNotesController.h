// Drafts the release notes of one app from the commits of its project and writes them into its texts.
#pragma once

#include "Core/build/notes/VersionRangeResolver.h"
#include "Quorvel/controllers/metadata/MetadataController.h"
#include "Quorvel/controllers/notes/ReleaseNotesPlan.h"

#include <memory>

namespace quorvel {

/// Every operation blocks; only `write` takes the app's gate. Thread-safe.
class ReleaseNotesController {
  public:
    ReleaseNotesController(AppAccess access, std::shared_ptr<MetadataController> metadata)
        : access_(std::move(access)), metadata_(std::move(metadata)) {}

    /// Reads and classifies the commits. Without a folder that is named, the repository is that of the
    /// working folder, else that of the app's metadata folder. Throws `GitRepoError`, `OperationRefused` for
    /// a hash that names no commit of the range, for a live context, and where nothing was pulled if the
    /// texts are to be written.
    [[nodiscard]] ReleaseNotesPlan plan(const ReleaseNotesOrder& order) const;

    /// Asks for a draft from the commits that the plan includes. Throws what
    /// `ReleaseNotesGenerator::generate` throws.
    [[nodiscard]] ReleaseNotesReport draft(const ReleaseNotesPlan& plan,
                                           std::shared_ptr<const ClaudeClientProtocol> claude,
                                           KeptAnswers keptAnswers) const;

    /// Writes both texts into the source locale's files, marked as unread; what they replace is backed up.
    /// Throws `OperationRefused` for a live context and where nothing was pulled, `FileError`,
    /// `MetadataError`.
    WrittenNotes write(const NotesToWrite& notes);

  private:
    [[nodiscard]] std::filesystem::path repositoryOf(const ReleaseNotesOrder& order) const;
    [[nodiscard]] ReleaseNotesLimits limitsOf(const ManagedApp& app) const;
    [[nodiscard]] ReleaseNotesContext contextOf(const ManagedApp& app, const ReleaseNotesPlan& plan) const;

    AppAccess access_;
    std::shared_ptr<MetadataController> metadata_;
    GitRepoReader reader_;
};

} // namespace quorvel
