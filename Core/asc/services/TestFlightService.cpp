#include "Core/asc/services/TestFlightService.h"

#include "Core/asc/services/CreateOrAdopt.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <optional>

namespace quorvel {

namespace {

// Runs `change`. When it fails and may have been carried out all the same, or is refused as done, `isDone`
// decides.
template <typename Change, typename IsDone>
StepEnd changeOnce(Change&& change, IsDone&& isDone) {
    try {
        change();
        return StepEnd::done;
    } catch (const ASCError& error) {
        const auto status = error.httpStatus();
        if (!mayHaveBeenDone(error) && status != 409 && status != 422) throw;
        bool done = false;
        try {
            done = isDone();
        } catch (const ASCError&) { // the error of the change says more
        }
        if (!done) throw;
        return StepEnd::done;
    }
}

bool isSameAddress(const std::optional<std::string>& left, std::string_view right) {
    return asciiLowercase(left.value_or("")) == asciiLowercase(right);
}

} // namespace

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

std::vector<TestNotesChange>
TestFlightService::compareTestNotes(std::string_view buildID,
                                    const std::map<std::string, std::string>& notes) const {
    const auto all = client_.listBetaBuildLocalizations(buildID);
    std::vector<TestNotesChange> changes;
    for (const auto& [locale, text] : notes) {
        const auto found =
            std::ranges::find_if(all, [&](const auto& each) { return each.attributes.locale == locale; });
        const auto before = found == all.end() ? std::nullopt : found->attributes.whatsNew;
        if (before.value_or("") != text) changes.push_back({locale, before, text});
    }
    return changes;
}

ASCResource<BetaGroupAttributes>
TestFlightService::createGroup(std::string_view appID, const BetaGroupCreateAttributes& attributes) const {
    std::optional<ASCResource<BetaGroupAttributes>> made;
    const auto find = [&]() -> std::optional<std::string> {
        for (auto& each : client_.listBetaGroups(appID)) {
            if (each.attributes.name != attributes.name) continue;
            made = std::move(each);
            return made->id;
        }
        return std::nullopt;
    };
    return createOrAdopt([&] { return client_.createBetaGroup(appID, attributes); }, find,
                         [&](const std::string&) { return *made; });
}

StepEnd TestFlightService::addBuildToGroup(std::string_view groupID, std::string_view buildID) const {
    const auto isThere = [&] {
        return std::ranges::any_of(client_.listBuildsOfBetaGroup(groupID),
                                   [&](const ASCBuildSummary& each) { return each.build.id == buildID; });
    };
    if (isThere()) return StepEnd::wasDone;
    return changeOnce([&] { client_.addBuildToBetaGroup(groupID, buildID); }, isThere);
}

StepEnd TestFlightService::requestBetaReview(std::string_view buildID) const {
    const auto isThere = [&] { return client_.getBetaReviewSubmission(buildID).has_value(); };
    if (isThere()) return StepEnd::wasDone;
    return changeOnce([&] { (void)client_.submitForBetaReview(buildID); }, isThere);
}

StepEnd TestFlightService::setAutoNotify(std::string_view buildID, bool notify) const {
    const auto detail = client_.getBuildBetaDetail(buildID);
    if (!detail || detail->attributes.autoNotifyEnabled == notify) return StepEnd::wasDone;
    (void)client_.updateBuildBetaDetail(detail->id, {notify});
    return StepEnd::done;
}

StepEnd TestFlightService::addTester(std::string_view groupID,
                                     const BetaTesterCreateAttributes& tester) const {
    return changeOnce([&] { (void)client_.createBetaTester(groupID, tester); },
                      [&] {
                          return std::ranges::any_of(client_.listBetaTesters(groupID), [&](const auto& each) {
                              return isSameAddress(each.attributes.email, tester.email);
                          });
                      });
}

} // namespace quorvel
