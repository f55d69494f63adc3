// What the controllers of one open app share: its record, its folder and App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/DryRun.h"
#include "Core/metadata/TextComparison.h"
#include "Core/records/Records.h"
#include "Platform/files/Home.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/notify/NotificationCenter.h"
#include "Quorvel/controllers/OperationGate.h"
#include "Quorvel/controllers/metadata/AppContexts.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// A value; thread-safe.
class AppAccess {
  public:
    struct Parts {
        SharedContainer container; // none for an app that is not recorded, in a home without records
        std::function<std::optional<ManagedApp>()> app;                   // the record as it is now
        std::function<std::shared_ptr<const ASCClientProtocol>()> client; // asked once per operation
        std::function<std::shared_ptr<HTTPClient>()> http = {};           // to other hosts, without a token
        Home home;
        Clock clock = systemClock();
        std::shared_ptr<NotificationCenter> notifications = {};
        std::optional<MetadataFolder> folder = {};          // instead of the app's own
        std::optional<std::string> context = {};            // of requests that name none, such as "ios/next"
        std::optional<std::filesystem::path> pictures = {}; // instead of those in the metadata folder
        std::optional<std::string> folderOrigin = {};       // "tree in /work/quorvel.toml"
    };

    explicit AppAccess(Parts parts) : parts_(std::move(parts)) {}

    /// Throws `MetadataError` when the app is no longer recorded.
    [[nodiscard]] ManagedApp record() const;
    [[nodiscard]] AppRecords records() const { return {parts_.container, parts_.clock}; }
    /// The locales that are taken out of pulls and pushes; none of an app that is not recorded.
    [[nodiscard]] LocaleSet disabledLocales(const ManagedApp& app) const;
    /// What the user decided about the app's texts in `folder`. Throws what `finalLineBreakOf` throws.
    [[nodiscard]] TextRules textRules(const ManagedApp& app, const MetadataFolder& folder) const {
        return {disabledLocales(app), finalLineBreakOf(folder)};
    }
    [[nodiscard]] std::vector<ManagedLocale> locales(const ManagedApp& app) const;
    [[nodiscard]] PushHistory history() const { return PushHistory(parts_.container); }
    [[nodiscard]] const SharedContainer& container() const { return parts_.container; }
    [[nodiscard]] std::shared_ptr<const ASCClientProtocol> client() const { return parts_.client(); }
    [[nodiscard]] std::shared_ptr<HTTPClient> http() const { return parts_.http(); }
    [[nodiscard]] const Clock& clock() const { return parts_.clock; }

    /// The app's metadata folder, which need not exist. Throws `OperationRefused` when it cannot be told.
    [[nodiscard]] MetadataFolder folder(const ManagedApp& app) const;
    /// The same for a read: carries a tree of the older layout over first, as an operation of `gate`, unless
    /// another operation runs. Throws also what `open` throws.
    [[nodiscard]] MetadataFolder folderToRead(const ManagedApp& app, OperationGate& gate,
                                              DryRun dryRun = DryRun::no) const;

    /// An app with its folder, for the time of an operation.
    struct Target {
        ManagedApp app;
        MetadataFolder folder;
        std::optional<FileLock> lock; // none in a dry run of a folder that nobody locked yet
    };
    /// Opens the app for an operation: its folder is locked, and a tree of the older layout carried over.
    /// Throws `OperationRefused`, `MetadataError` for an older layout in a dry run, `CancellationError`.
    [[nodiscard]] Target open(OperationGate::Operation& operation, DryRun dryRun = DryRun::no) const;

    [[nodiscard]] AppContexts contexts(const MetadataFolder& folder) const {
        return {folder, parts_.clock, parts_.context};
    }
    /// What names the app's folder where it is no record: "tree in /work/quorvel.toml".
    [[nodiscard]] const std::optional<std::string>& folderOrigin() const { return parts_.folderOrigin; }
    /// The folder of the app's pictures where it lies elsewhere than in the metadata folder.
    [[nodiscard]] const std::optional<std::filesystem::path>& pictures() const { return parts_.pictures; }

    /// Saves the contexts and posts `metadataContextsPersistedNotification`. Throws `FileError`.
    void saveContexts(const ManagedApp& app, const MetadataFolder& folder,
                      const std::vector<PlatformContext>& contexts,
                      const std::optional<std::string>& selected) const;
    /// Makes the folder that a first pull used the app's own.
    void keepFolder(const ManagedApp& app, const MetadataFolder& folder) const;
    /// Throws `MetadataError` when versions were saved in the folder that are none of these, as far as the
    /// folder may be another app's.
    void requireOwnFolder(const ManagedApp& app, const MetadataFolder& folder,
                          const std::vector<std::string>& versionIDs) const;

  private:
    Parts parts_;
};

} // namespace quorvel
