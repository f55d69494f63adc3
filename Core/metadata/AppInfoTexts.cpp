#include "Core/metadata/AppInfoTexts.h"

#include "Core/metadata/PageTexts.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/task/Task.h"

#include <exception>
#include <functional>
#include <optional>
#include <utility>

namespace quorvel {

AppInfoTexts::AppInfoTexts(const ASCClientProtocol& client, AppDiscovery discovery)
    : client_(client), discovery_(std::move(discovery)) {}

AppInfoTexts::Texts AppInfoTexts::of(const std::string& appInfoID) {
    for (;;) {
        std::optional<std::promise<Texts>> mine;
        std::shared_future<Texts> texts;
        {
            const std::lock_guard lock(mutex_);
            auto& entry = texts_[appInfoID];
            if (!entry.valid()) entry = mine.emplace().get_future().share();
            texts = entry;
        }
        if (mine) {
            fetch(appInfoID, std::move(*mine));
            return texts.get();
        }
        try {
            return texts.get();
        } catch (const CancellationError&) {
            // What ended the one that fetched, a failure of its other requests perhaps, does not concern us.
            checkCancellation();
        }
    }
}

void AppInfoTexts::fetch(const std::string& appInfoID, std::promise<Texts> promise) {
    try {
        Texts texts;
        const std::vector<std::function<void()>> requests = {
            [&] {
                texts.locales =
                    textsOf(listLocalizations(client_, FieldHome::appInfoLocalization, appInfoID));
            },
            [&] {
                texts.ageRating = ifAllowed([&] {
                    LocaleTexts page;
                    if (const auto declaration = client_.getAgeRatingDeclaration(appInfoID))
                        page.emplace(pageLocale, ageRatingTexts(declaration));
                    return page;
                });
            }};
        parallelForEach(requests, requests.size(), [](const std::function<void()>& request) { request(); });
        promise.set_value(std::move(texts));
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            texts_.erase(appInfoID);
        }
        promise.set_exception(std::current_exception());
    }
}

} // namespace quorvel
