#include "Core/asc/operations/Shapes.h"

#include <utility>

namespace quorvel {

using namespace operations;

// Not in the unnamed namespace: clang takes no record there that holds an optional record.
namespace operations {

struct CategoryReferences {
    std::optional<OptionalReference> primaryCategory;
    std::optional<OptionalReference> primarySubcategoryOne;
    std::optional<OptionalReference> primarySubcategoryTwo;
    std::optional<OptionalReference> secondaryCategory;
    std::optional<OptionalReference> secondarySubcategoryOne;
    std::optional<OptionalReference> secondarySubcategoryTwo;
    QUORVEL_RECORD(CategoryReferences, primaryCategory, primarySubcategoryOne, primarySubcategoryTwo,
                   secondaryCategory, secondarySubcategoryOne, secondarySubcategoryTwo)
};

struct ReferringAppInfo {
    std::string id;
    std::string type;
    AppInfoAttributes attributes;
    std::optional<CategoryReferences> relationships;
    QUORVEL_RECORD(ReferringAppInfo, id, type, attributes, relationships)
};

/// One whose attributes are any, and left out where none has a value.
struct LooseResource {
    std::string id;
    std::string type;
    std::optional<JSONValue> attributes;
    QUORVEL_RECORD(LooseResource, id, type, attributes)
};

} // namespace operations

namespace {

ASCResource<JSONValue> withAttributes(operations::LooseResource&& resource) {
    return {std::move(resource.id), std::move(resource.type),
            resource.attributes ? std::move(*resource.attributes) : JSONValue::object()};
}

AppInfoCategories categoriesIn(const operations::CategoryReferences& references) {
    const auto idIn = [](const std::optional<OptionalReference>& reference) {
        return reference && reference->data ? std::optional(reference->data->id) : std::nullopt;
    };
    return {.primaryCategory = idIn(references.primaryCategory),
            .primarySubcategoryOne = idIn(references.primarySubcategoryOne),
            .primarySubcategoryTwo = idIn(references.primarySubcategoryTwo),
            .secondaryCategory = idIn(references.secondaryCategory),
            .secondarySubcategoryOne = idIn(references.secondarySubcategoryOne),
            .secondarySubcategoryTwo = idIn(references.secondarySubcategoryTwo)};
}

} // namespace

ASCList<ASCAppAttributes> ASCClientProtocol::listApps(std::optional<std::string_view> bundleID,
                                                      ASCListBound bound) const {
    return listResources<ASCAppAttributes>(
        *this, "v1/apps", {{"filter[bundleId]", bundleID}, {"limit", limitFor(bound)}}, bound);
}

ASCList<AppInfoAttributes> ASCClientProtocol::listAppInfos(std::string_view appID) const {
    return listResources<AppInfoAttributes>(*this, ascPath("apps", appID, "appInfos"));
}

std::vector<ASCAppInfoSummary> ASCClientProtocol::listAppInfoSummaries(std::string_view appID) const {
    std::vector<ASCAppInfoSummary> summaries;
    // A relationship tells what it leads to only where that is included.
    forEachPage<ASCResponse<std::vector<operations::ReferringAppInfo>>>(
        *this,
        ASCRequest::get(
            ascPath("apps", appID, "appInfos"),
            {{"include", "primaryCategory,primarySubcategoryOne,primarySubcategoryTwo,secondaryCategory,"
                         "secondarySubcategoryOne,secondarySubcategoryTwo"}}),
        {}, [&](auto&& page) {
            for (auto& info : page.data) {
                ASCAppInfoSummary summary{
                    {std::move(info.id), std::move(info.type), std::move(info.attributes)}, {}};
                if (info.relationships) summary.categories = categoriesIn(*info.relationships);
                summaries.push_back(std::move(summary));
            }
        });
    return summaries;
}

ASCList<AppInfoLocalizationAttributes>
ASCClientProtocol::listAppInfoLocalizations(std::string_view appInfoID) const {
    return listResources<AppInfoLocalizationAttributes>(
        *this, ascPath("appInfos", appInfoID, "appInfoLocalizations"), {{"limit", limitFor()}});
}

ASCResource<AppInfoLocalizationAttributes>
ASCClientProtocol::createAppInfoLocalization(std::string_view appInfoID,
                                             const AppInfoLocalizationCreateAttributes& attributes) const {
    return createResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", attributes,
                                                         {.appInfo = relationTo("appInfos", appInfoID)});
}

ASCResource<AppInfoLocalizationAttributes>
ASCClientProtocol::updateAppInfoLocalization(std::string_view id,
                                             const AppInfoLocalizationPatchAttributes& attributes) const {
    return patchResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", id, attributes);
}

ASCResource<AppInfoLocalizationAttributes> ASCClientProtocol::updateAppInfoLocalization(
    std::string_view id, const AppInfoLocalizationPrivacyPatchAttributes& attributes) const {
    return patchResource<AppInfoLocalizationAttributes>(*this, "appInfoLocalizations", id, attributes);
}

void ASCClientProtocol::deleteAppInfoLocalization(std::string_view id) const {
    (void)exchange(ASCRequest::remove(ascPath("appInfoLocalizations", id)));
}

void ASCClientProtocol::updateAppInfoCategories(std::string_view appInfoID,
                                                std::optional<std::string> primaryCategory,
                                                std::optional<std::string> secondaryCategory) const {
    updateAppInfoCategories(appInfoID, {.primaryCategory = std::move(primaryCategory),
                                        .secondaryCategory = std::move(secondaryCategory)});
}

void ASCClientProtocol::updateAppInfoCategories(std::string_view appInfoID,
                                                const AppInfoCategories& categories) const {
    AppInfoCategoryPatchEnvelope document{{"appInfos", std::string(appInfoID), {}}};
    const auto box = [](const std::optional<std::string>& id) {
        return id ? std::optional(relationTo("appCategories", *id)) : std::nullopt;
    };
    auto& relationships = document.data.relationships;
    relationships.primaryCategory = box(categories.primaryCategory);
    relationships.primarySubcategoryOne = box(categories.primarySubcategoryOne);
    relationships.primarySubcategoryTwo = box(categories.primarySubcategoryTwo);
    relationships.secondaryCategory = box(categories.secondaryCategory);
    relationships.secondarySubcategoryOne = box(categories.secondarySubcategoryOne);
    relationships.secondarySubcategoryTwo = box(categories.secondarySubcategoryTwo);
    (void)exchange(ASCRequest::patch(ascPath("appInfos", appInfoID), document));
}

std::optional<ASCResource<JSONValue>>
ASCClientProtocol::getAgeRatingDeclaration(std::string_view appInfoID) const {
    using Answer = ASCResponse<std::optional<operations::LooseResource>>;
    try {
        auto data =
            send<Answer>(ASCRequest::get(ascPath("appInfos", appInfoID, "ageRatingDeclaration"))).data;
        if (data) return withAttributes(std::move(*data));
    } catch (const ASCError& error) {
        if (error.kind() != ASCError::Kind::notFound) throw;
        (void)listAppInfoLocalizations(appInfoID); // throws when it is the app info that does not exist
    }
    return std::nullopt;
}

ASCResource<JSONValue> ASCClientProtocol::updateAgeRatingDeclaration(std::string_view id,
                                                                     const JSONValue& attributes) const {
    return withAttributes(
        send<ASCResponse<operations::LooseResource>>(patchRequest("ageRatingDeclarations", id, attributes))
            .data);
}

} // namespace quorvel
