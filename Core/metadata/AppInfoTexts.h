// The texts of an app's app infos, which all contexts of a slot share.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/FieldTexts.h"

#include <future>
#include <map>
#include <mutex>
#include <string>

namespace quorvel {

/// Lists the localizations of each app info once, however many contexts are pulled with them. Thread-safe:
/// who asks for what another thread is listing waits for that.
class AppInfoTexts {
  public:
    AppInfoTexts(const ASCClientProtocol& client, ASCList<AppInfoAttributes> appInfos);

    [[nodiscard]] const ASCList<AppInfoAttributes>& appInfos() const { return appInfos_; }

    /// Throws `ASCError`, and `CancellationError` when the caller's own task is cancelled; one that asks
    /// after a failure lists again, and so does one that waited for a task that was cancelled.
    [[nodiscard]] LocaleTexts of(const std::string& appInfoID);

  private:
    void list(const std::string& appInfoID, std::promise<LocaleTexts> promise);

    const ASCClientProtocol& client_;
    ASCList<AppInfoAttributes> appInfos_;
    std::mutex mutex_;
    std::map<std::string, std::shared_future<LocaleTexts>> texts_; // guarded by mutex_
};

} // namespace quorvel
