// Takes apps of App Store Connect into the records.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/MetadataFolder.h"
#include "Core/records/Records.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The folder-safe short name of an app: the ASCII letters and digits of its name, else of its bundle id,
/// with "-" for the characters between them.
[[nodiscard]] std::string slugOf(std::string_view name, std::string_view bundleID);

struct ImportedApp {
    ManagedApp app;
    std::vector<ManagedLocale> locales;
    bool wasThere = false; // the record existed and was brought up to date
    std::optional<MetadataFolder> avoidedFolder = std::nullopt; // of its name, but with another app's texts
};

class AppImporter {
  public:
    AppImporter(const ASCClientProtocol& client, AppRecords apps, Home home);

    /// Makes the record of an app and those of its locales (of its app info's localizations), in the
    /// workspace, or brings its name, bundle id and locales up to date; the short name, the folder and all
    /// settings of an existing record stay, and so does its workspace unless one is given. The short name of
    /// a new record is one whose default folder holds no other app's texts, as that of an app that was
    /// removed does; this costs a request where such a folder is there. Throws `ASCError`, `StoreError`.
    [[nodiscard]] ImportedApp importApp(const ASCResource<ASCAppAttributes>& app,
                                        const std::optional<std::string>& workspaceID) const;

  private:
    const ASCClientProtocol& client_;
    AppRecords apps_;
    Home home_;
};

} // namespace quorvel
