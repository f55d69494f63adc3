#include "Core/metadata/AppInfoTexts.h"

#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/task/Task.h"

#include <exception>
#include <optional>
#include <utility>

namespace quorvel {

AppInfoTexts::AppInfoTexts(const ASCClientProtocol& client, ASCList<AppInfoAttributes> appInfos)
    : client_(client), appInfos_(std::move(appInfos)) {}

LocaleTexts AppInfoTexts::of(const std::string& appInfoID) {
    for (;;) {
        std::optional<std::promise<LocaleTexts>> mine;
        std::shared_future<LocaleTexts> texts;
        {
            const std::lock_guard lock(mutex_);
            auto& entry = texts_[appInfoID];
            if (!entry.valid()) entry = mine.emplace().get_future().share();
            texts = entry;
        }
        if (mine) {
            list(appInfoID, std::move(*mine));
            return texts.get();
        }
        try {
            return texts.get();
        } catch (const CancellationError&) {
            // What ended the one that listed, a failure of its other requests perhaps, does not concern us.
            checkCancellation();
        }
    }
}

void AppInfoTexts::list(const std::string& appInfoID, std::promise<LocaleTexts> promise) {
    try {
        promise.set_value(textsOf(listLocalizations(client_, FieldHome::appInfoLocalization, appInfoID)));
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            texts_.erase(appInfoID);
        }
        promise.set_exception(std::current_exception());
    }
}

} // namespace quorvel
