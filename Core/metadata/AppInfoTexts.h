// What an app's app infos hold, which all contexts of a slot share.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/PlatformContext.h"

#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// What App Store Connect has of an app, as far as a pull needs it.
struct AppDiscovery {
    std::vector<PlatformContext> contexts; // none: the app has no version
    std::vector<std::string> versionIDs;   // of all versions, those without a context too
    std::vector<ASCAppInfoSummary> appInfos;
    std::map<std::string, AppStoreVersionAttributes, std::less<>> versions = {}; // by id
};

/// Fetches what each app info holds once, however many contexts are pulled with it. Thread-safe: who asks for
/// what another thread is fetching waits for that.
class AppInfoTexts {
  public:
    struct Texts {
        LocaleTexts locales;
        std::optional<LocaleTexts> ageRating; // of the page, empty without one; none: the key may not see it
    };

    AppInfoTexts(const ASCClientProtocol& client, AppDiscovery discovery);

    [[nodiscard]] const AppDiscovery& discovery() const { return discovery_; }

    /// Throws `ASCError`, and `CancellationError` when the caller's own task is cancelled; one that asks
    /// after a failure fetches again, and so does one that waited for a task that was cancelled.
    [[nodiscard]] Texts of(const std::string& appInfoID);

  private:
    void fetch(const std::string& appInfoID, std::promise<Texts> promise);

    const ASCClientProtocol& client_;
    AppDiscovery discovery_;
    std::mutex mutex_;
    std::map<std::string, std::shared_future<Texts>> texts_; // guarded by mutex_
};

/// What `fetch` brings; nothing where the key may not see it. Throws what it throws for every other reason.
template <typename Fetch>
[[nodiscard]] auto ifAllowed(Fetch&& fetch) -> std::optional<decltype(fetch())> {
    try {
        return fetch();
    } catch (const ASCError& error) {
        if (error.httpStatus() != 403) throw;
        return std::nullopt;
    }
}

} // namespace quorvel
