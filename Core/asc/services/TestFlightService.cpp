#include "Core/asc/services/TestFlightService.h"

#include "Core/asc/services/CreateOrAdopt.h"

#include <algorithm>
#include <optional>

namespace quorvel {

ASCResource<BetaBuildLocalizationAttributes>
TestFlightService::writeTestNotes(std::string_view buildID, std::string_view locale,
                                  std::string_view whatsNew) const {
    const std::string notes(whatsNew);
    const auto find = [&]() -> std::optional<std::string> {
        const auto all = client_.listBetaBuildLocalizations(buildID);
        const auto found =
            std::ranges::find_if(all, [&](const auto& each) { return each.attributes.locale == locale; });
        return found == all.end() ? std::nullopt : std::optional(found->id);
    };
    const auto patch = [&](const std::string& id) {
        return client_.updateBetaBuildLocalization(id, {notes});
    };
    const auto create = [&] {
        return client_.createBetaBuildLocalization(buildID, {std::string(locale), notes});
    };
    if (const auto id = find()) return patch(*id);
    return createOrAdopt(create, find, patch);
}

void TestFlightService::release(const Release& release) const {
    for (const auto& [locale, notes] : release.notes)
        (void)writeTestNotes(release.buildID, locale, notes);
    for (const std::string& group : release.groupIDs)
        client_.addBuildToBetaGroup(group, release.buildID);
    if (release.betaReview == Release::BetaReview::request)
        (void)client_.submitForBetaReview(release.buildID);
}

} // namespace quorvel
