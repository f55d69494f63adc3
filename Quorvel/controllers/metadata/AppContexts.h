// Which context of an app an operation works on.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/MetadataFolder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The context of this name, such as "ios/next". Throws `MetadataError` for what is none.
[[nodiscard]] ContextID requireContextID(std::string_view name);

/// What an app's metadata folder says of the app's contexts, read once.
class AppContexts {
  public:
    /// `usual` is the context of those who name none, such as "ios/next".
    AppContexts(const MetadataFolder& appFolder, const Clock& clock, std::optional<std::string> usual = {});

    [[nodiscard]] const std::optional<PersistedContexts>& saved() const { return saved_; }
    [[nodiscard]] std::optional<PlatformContext> savedContext(const ContextID& context) const;

    /// What the version of a context was when it was saved.
    [[nodiscard]] Release releaseOf(const ContextID& context) const;

    /// `given`, else the usual context; nothing when there is neither.
    [[nodiscard]] std::optional<std::string> wanted(const std::optional<std::string>& given) const {
        return given ? given : usual_;
    }

    /// The context to work on without asking: the wanted one (such as "ios/next"), the one selected last, the
    /// first that has a folder; nothing when there is none of these. Throws `MetadataError` when the wanted
    /// one is no context.
    [[nodiscard]] std::optional<ContextID> known(const std::optional<std::string>& given) const;

    /// The context of App Store Connect's that a pull is of: `given`, else the one selected last where it is
    /// still there, else the first worth working on. Throws `MetadataError` when `given` is not among them.
    [[nodiscard]] static PlatformContext choose(const std::vector<PlatformContext>& contexts,
                                                const std::optional<std::string>& given,
                                                const std::optional<std::string>& selected);

    /// The context that `known` names, as App Store Connect has it now; `versions` are those of the app.
    /// Throws `OperationRefused` when the app has none, and what `requireSameApp` and `choose` throw.
    [[nodiscard]] PlatformContext current(const ASCList<AppStoreVersionAttributes>& versions,
                                          const std::optional<std::string>& given,
                                          std::string_view appName) const;

    /// Whether nothing was saved, or a context of one of these versions.
    [[nodiscard]] bool areOf(const std::vector<std::string>& versionIDs) const;
    /// Throws `MetadataError` when contexts were saved and none of them is of these versions: the folder is
    /// another app's.
    void requireSameApp(const std::vector<std::string>& versionIDs, std::string_view appName) const;

  private:
    MetadataFolder folder_;
    std::optional<std::string> usual_;
    std::optional<PersistedContexts> saved_;
};

} // namespace quorvel
