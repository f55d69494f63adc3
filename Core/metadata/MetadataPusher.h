// Sends changed store texts to App Store Connect.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/PendingChange.h"
#include "Core/metadata/PlannedRequest.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Called from the push's threads, one at a time: first with 0 once the resources are resolved, then after
/// each of the localizations written.
using PushProgress = std::function<void(std::size_t done, std::size_t total)>;

/// What keeps the history of a push that may be killed at any moment. Both are called from the push's
/// threads, also several at once, with changes of one localization.
struct PushRecording {
    using Record = std::function<void(const std::vector<PushOutcome>&)>;
    /// With the changes that are sent next; they have neither succeeded nor an error.
    Record begin = {};
    /// With the outcomes as soon as they are known: before the pulled copies take the texts.
    Record end = {};
    /// With what `MetadataPusher::remoteTexts` gives, once before anything is sent; what it throws ends the
    /// push. Where it is set the push lists all of them, and needs no pulled copies before it.
    std::function<void(const ReadTexts& remote)> resolved = {};
};

/// What a push would do.
struct PlannedPush {
    std::vector<PlannedRequest> requests;
    std::vector<PushOutcome> failures; // changes that would fail, such as those changed on the service too
};

/// Writes each localization, and each resource of the page, with one request that holds all of its changed
/// fields, six at a time. Where that is refused, each field is tried by itself, so that every change has an
/// outcome of its own.
///
/// A field that the version's state does not take (all but the promotional text of a version in review) is
/// tried until two locales were refused, and not sent for the others.
///
/// A text that was changed on App Store Connect since it was pulled is not overwritten: the change fails, or
/// counts as done where both texts are the same. What somebody changes while the push runs is not noticed.
///
/// A change that App Store Connect took refreshes its pulled copy at once: the comparison is right without
/// another pull, and a push that is cancelled or fails half way sends only what is missing when it is
/// repeated.
class MetadataPusher {
  public:
    /// `store` is over the context's folder. `appName` is what a locale without a name of its own is created
    /// with, as App Store Connect takes none without; when empty, such a locale's subtitle fails and says so.
    MetadataPusher(const ASCClientProtocol& client, MetadataStore store, std::string appName = {});

    /// Throws `MetadataError` for a version that takes no changes (READ_ONLY_CONTEXT), after an interrupted
    /// pull, and when another version was pulled.
    void requireChangeable(const PlatformContext& context) const;

    /// One outcome per change, in the order given. The caller holds the lock of the app's folder. Throws like
    /// `requireChangeable`; `ASCError` when the localizations cannot be listed; `CancellationError` until
    /// then. A task that is cancelled later gets its outcomes as well, the changes that were not sent failed;
    /// the caller ends it with `checkCancellation()` once they are shown.
    [[nodiscard]] std::vector<PushOutcome> push(std::string_view appID, const PlatformContext& context,
                                                const std::vector<PendingChange>& changes,
                                                const PushProgress& progress = {},
                                                const PushRecording& record = {}) const;

    /// What `push` would send after listing the localizations, and what would fail. Throws like `push`.
    /// Changes that were compared with App Store Connect itself need no copies.
    enum class Base { pulledCopies, remoteTexts };
    [[nodiscard]] PlannedPush plan(std::string_view appID, const PlatformContext& context,
                                   const std::vector<PendingChange>& changes,
                                   Base base = Base::pulledCopies) const;

    /// What App Store Connect holds of the version and its app info: the texts of all locales, and of the
    /// page the resources that the tree has a file for. Throws `ASCError`, `CancellationError`, and
    /// `MetadataError` for a version that takes no changes.
    [[nodiscard]] ReadTexts remoteTexts(std::string_view appID, const PlatformContext& context) const;

  private:
    void requireOpen(const PlatformContext& context) const;

    const ASCClientProtocol& client_;
    MetadataStore store_;
    std::string appName_;
    Logger logger_{"MetadataPusher"};
};

} // namespace quorvel
