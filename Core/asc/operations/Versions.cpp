#include "Core/asc/operations/Shapes.h"

#include <map>
#include <utility>

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

/// A resource with references to what is included with it.
template <typename A, typename R>
struct ReferringResource {
    std::string id;
    std::string type;
    A attributes;
    std::optional<R> relationships;
    QUORVEL_RECORD(ReferringResource, id, type, attributes, relationships)
};

struct VersionReferences {
    std::optional<OptionalReference> build;
    std::optional<OptionalReference> appStoreReviewDetail;
    QUORVEL_RECORD(VersionReferences, build, appStoreReviewDetail)
};

struct References {
    std::optional<std::vector<ASCRelationshipRef>> data;
    QUORVEL_RECORD(References, data)
};

struct LocalizationReferences {
    std::optional<References> appScreenshotSets;
    QUORVEL_RECORD(LocalizationReferences, appScreenshotSets)
};

/// An included resource of any type, whose attributes are decoded when it is looked up. Without a value for
/// any of them there are none.
struct IncludedResource {
    std::string id;
    std::string type;
    std::optional<JSONValue> attributes;
    QUORVEL_RECORD(IncludedResource, id, type, attributes)
};

} // namespace operations

namespace {

constexpr int mostSetsPerLocalization = 50; // what App Store Connect includes at most

template <typename A, typename R>
using ReferringPage =
    ASCResponseWithIncluded<std::vector<ReferringResource<A, R>>, operations::IncludedResource>;

/// What a page includes, by type and id.
class Included {
  public:
    template <typename Page>
    explicit Included(const Page& page) {
        if (page.included)
            for (const auto& one : *page.included)
                resources_[{one.type, one.id}] = one.attributes ? &*one.attributes : nullptr;
    }
    template <typename A>
    [[nodiscard]] std::optional<ASCResource<A>> find(const std::string& type, const std::string& id) const {
        const auto found = resources_.find({type, id});
        if (found == resources_.end()) return std::nullopt;
        const std::string attributes = found->second ? encodeJSON(*found->second) : "{}";
        try {
            return ASCResource<A>{id, type, decodeJSON<A>(attributes)};
        } catch (const JSONError& error) {
            throwDecodingFailed(error, attributes);
        }
    }
    template <typename A>
    [[nodiscard]] std::optional<ASCResource<A>>
    find(const std::string& type, const std::optional<OptionalReference>& reference) const {
        return reference && reference->data ? find<A>(type, reference->data->id) : std::nullopt;
    }

  private:
    std::map<std::pair<std::string, std::string>, const JSONValue*> resources_;
};

/// Replaces a to-one relationship; an empty one clears it.
struct RelationshipReplaceDocument {
    std::optional<ASCRelationshipRef> data;
    QUORVEL_RECORD(RelationshipReplaceDocument, data)
};

ASCCreateRelationships toVersion(std::string_view versionID) {
    return {.appStoreVersion = relationTo("appStoreVersions", versionID)};
}

} // namespace

ASCList<AppStoreVersionAttributes>
ASCClientProtocol::listAppStoreVersions(std::string_view appID, std::optional<ASCPlatform> platform,
                                        const std::vector<std::string>& states, ASCListBound bound) const {
    return listResources<AppStoreVersionAttributes>(
        *this, ascPath("apps", appID, "appStoreVersions"),
        {{"filter[platform]", platform ? std::optional(rawValue(*platform)) : std::nullopt},
         {"filter[appStoreState]", joined(states)},
         {"limit", limitFor(bound)}},
        bound);
}

std::vector<ASCVersionSummary> ASCClientProtocol::listVersionSummaries(std::string_view appID) const {
    std::vector<ASCVersionSummary> summaries;
    forEachPage<ReferringPage<AppStoreVersionAttributes, VersionReferences>>(
        *this,
        ASCRequest::get(ascPath("apps", appID, "appStoreVersions"),
                        {{"include", "build,appStoreReviewDetail"}, {"limit", limitFor()}}),
        {}, [&](auto&& page) {
            const Included included(page);
            for (auto& version : page.data) {
                ASCVersionSummary summary{
                    {std::move(version.id), std::move(version.type), std::move(version.attributes)}, {}, {}};
                if (const auto& references = version.relationships) {
                    summary.build = included.find<ASCBuildAttributes>("builds", references->build);
                    if (auto detail = included.find<AppStoreReviewDetailAttributes>(
                            "appStoreReviewDetails", references->appStoreReviewDetail))
                        summary.reviewDetail = std::move(detail->attributes);
                }
                summaries.push_back(std::move(summary));
            }
        });
    return summaries;
}

ASCResource<AppStoreVersionAttributes> ASCClientProtocol::getAppStoreVersion(std::string_view id) const {
    return send<ASCResponse<ASCResource<AppStoreVersionAttributes>>>(
               ASCRequest::get(ascPath("appStoreVersions", id)))
        .data;
}

ASCResource<AppStoreVersionAttributes>
ASCClientProtocol::createAppStoreVersion(std::string_view appID,
                                         const AppStoreVersionCreateAttributes& attributes) const {
    return createResource<AppStoreVersionAttributes>(*this, "appStoreVersions", attributes,
                                                     {.app = relationTo("apps", appID)});
}

ASCResource<AppStoreVersionAttributes>
ASCClientProtocol::updateAppStoreVersion(std::string_view id,
                                         const AppStoreVersionPatchAttributes& attributes) const {
    return patchResource<AppStoreVersionAttributes>(*this, "appStoreVersions", id, attributes);
}

ASCResource<AppStoreVersionAttributes>
ASCClientProtocol::updateAppStoreVersion(std::string_view id, const JSONValue& attributes) const {
    return patchResource<AppStoreVersionAttributes>(*this, "appStoreVersions", id, attributes);
}

ASCList<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::listVersionLocalizations(std::string_view versionID) const {
    return listResources<AppStoreVersionLocalizationAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreVersionLocalizations"),
        {{"limit", limitFor()}});
}

std::vector<ASCLocalizationSummary>
ASCClientProtocol::listLocalizationSummaries(std::string_view versionID) const {
    std::vector<ASCLocalizationSummary> summaries;
    forEachPage<ReferringPage<AppStoreVersionLocalizationAttributes, LocalizationReferences>>(
        *this,
        ASCRequest::get(ascPath("appStoreVersions", versionID, "appStoreVersionLocalizations"),
                        {{"include", "appScreenshotSets"},
                         {"limit", limitFor()},
                         {"limit[appScreenshotSets]", std::to_string(mostSetsPerLocalization)}}),
        {}, [&](auto&& page) {
            const Included included(page);
            for (auto& one : page.data) {
                ASCLocalizationSummary summary{
                    {std::move(one.id), std::move(one.type), std::move(one.attributes)}, {}};
                if (one.relationships && one.relationships->appScreenshotSets &&
                    one.relationships->appScreenshotSets->data)
                    for (const auto& reference : *one.relationships->appScreenshotSets->data)
                        if (const auto set =
                                included.find<AppScreenshotSetAttributes>(reference.type, reference.id))
                            summary.displayTypes.push_back(set->attributes.screenshotDisplayType);
                summaries.push_back(std::move(summary));
            }
        });
    return summaries;
}

ASCResource<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::createVersionLocalization(std::string_view versionID,
                                             const VersionLocalizationCreateAttributes& attributes) const {
    return createResource<AppStoreVersionLocalizationAttributes>(*this, "appStoreVersionLocalizations",
                                                                 attributes, toVersion(versionID));
}

ASCResource<AppStoreVersionLocalizationAttributes>
ASCClientProtocol::updateVersionLocalization(std::string_view id,
                                             const VersionLocalizationPatchAttributes& attributes) const {
    return patchResource<AppStoreVersionLocalizationAttributes>(*this, "appStoreVersionLocalizations", id,
                                                                attributes);
}

void ASCClientProtocol::deleteVersionLocalization(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appStoreVersionLocalizations", id)));
}

std::optional<ASCResource<AppStoreReviewDetailAttributes>>
ASCClientProtocol::getReviewDetail(std::string_view versionID) const {
    return findResource<AppStoreReviewDetailAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreReviewDetail"),
        [&] { (void)getAppStoreVersion(versionID); });
}

ASCResource<AppStoreReviewDetailAttributes>
ASCClientProtocol::createReviewDetail(std::string_view versionID,
                                      const AppStoreReviewDetailAttributes& attributes) const {
    return createResource<AppStoreReviewDetailAttributes>(*this, "appStoreReviewDetails", attributes,
                                                          toVersion(versionID));
}

ASCResource<AppStoreReviewDetailAttributes>
ASCClientProtocol::updateReviewDetail(std::string_view id,
                                      const AppStoreReviewDetailAttributes& attributes) const {
    return patchResource<AppStoreReviewDetailAttributes>(*this, "appStoreReviewDetails", id, attributes);
}

void ASCClientProtocol::attachBuild(std::string_view versionID, std::string_view buildID) const {
    (void)exchange(ASCRequest::patch(ascPath("appStoreVersions", versionID, "relationships/build"),
                                     RelationshipReplaceDocument{refTo("builds", buildID)}));
}

void ASCClientProtocol::requestVersionRelease(std::string_view versionID) const {
    (void)exchange(createRequest(
        ASCRelationshipOnlyCreateEnvelope{{"appStoreVersionReleaseRequests", toVersion(versionID)}}));
}

std::optional<ASCResource<AppStoreVersionPhasedReleaseAttributes>>
ASCClientProtocol::getPhasedRelease(std::string_view versionID) const {
    return findResource<AppStoreVersionPhasedReleaseAttributes>(
        *this, ascPath("appStoreVersions", versionID, "appStoreVersionPhasedRelease"),
        [&] { (void)getAppStoreVersion(versionID); });
}

ASCResource<AppStoreVersionPhasedReleaseAttributes>
ASCClientProtocol::createPhasedRelease(std::string_view versionID,
                                       const PhasedReleaseCreateAttributes& attributes) const {
    return createResource<AppStoreVersionPhasedReleaseAttributes>(*this, "appStoreVersionPhasedReleases",
                                                                  attributes, toVersion(versionID));
}

ASCResource<AppStoreVersionPhasedReleaseAttributes>
ASCClientProtocol::updatePhasedRelease(std::string_view id,
                                       const PhasedReleasePatchAttributes& attributes) const {
    ASCRequest request = patchRequest("appStoreVersionPhasedReleases", id, attributes);
    request.repetition = Repetition::ofIdempotentMethods;
    return send<ASCResponse<ASCResource<AppStoreVersionPhasedReleaseAttributes>>>(request).data;
}

void ASCClientProtocol::deletePhasedRelease(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appStoreVersionPhasedReleases", id)));
}

} // namespace quorvel
