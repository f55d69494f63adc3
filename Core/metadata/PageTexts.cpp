#include "Core/metadata/PageTexts.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/LocalizationAttributes.h"
#include "Platform/json/JSON.h"

#include <algorithm>

namespace quorvel {

namespace {

// The texts of all fields of `home` among the members of `attributes`.
template <typename Attributes>
FieldTexts pageTextsIn(FieldHome home, const Attributes& attributes) {
    FieldTexts texts;
    for (const FieldType field : pageFields)
        if (homeOf(field) == home)
            withText(attributes, field, [&](const std::optional<std::string>& text) {
                texts[field] = canonicalValue(field, text.value_or(""));
            });
    return texts;
}

template <typename Attributes>
Attributes withPageValues(const PageValues& values) {
    Attributes attributes;
    for (const auto& [field, value] : values)
        withText(attributes, field, [&](std::optional<std::string>& member) { member = value; });
    return attributes;
}

AppStoreReviewDetailAttributes reviewDetailOf(const PageValues& values) {
    auto attributes = withPageValues<AppStoreReviewDetailAttributes>(values);
    for (const auto& [field, value] : values)
        if (field == FieldType::demoAccountRequired) attributes.demoAccountRequired = value == "true";
    return attributes;
}

} // namespace

FieldTexts versionTexts(const AppStoreVersionAttributes& attributes) {
    return pageTextsIn(FieldHome::version, attributes);
}

FieldTexts categoryTexts(const AppInfoCategories& categories) {
    return pageTextsIn(FieldHome::appInfo, categories);
}

FieldTexts ageRatingTexts(const std::optional<ASCResource<JSONValue>>& declaration) {
    FieldTexts texts;
    texts[FieldType::ageRating] = declaration ? ageRatingText(declaration->attributes) : "";
    return texts;
}

FieldTexts reviewTexts(const std::optional<ASCResource<AppStoreReviewDetailAttributes>>& detail) {
    const auto attributes = detail ? detail->attributes : AppStoreReviewDetailAttributes();
    FieldTexts texts = pageTextsIn(FieldHome::reviewDetail, attributes);
    texts[FieldType::demoAccountRequired] =
        attributes.demoAccountRequired ? (*attributes.demoAccountRequired ? "true" : "false") : "";
    return texts;
}

void updatePageResource(const ASCClientProtocol& client, FieldHome home, std::string_view id,
                        const PageValues& values) {
    switch (home) {
    case FieldHome::version: {
        JSONValue attributes = JSONValue::object();
        for (const auto& [field, value] : values)
            attributes.set(attributeOf(field), value.empty() ? JSONValue() : JSONValue(value));
        (void)client.updateAppStoreVersion(id, attributes);
        return;
    }
    case FieldHome::appInfo:
        return client.updateAppInfoCategories(id, withPageValues<AppInfoCategories>(values));
    case FieldHome::ageRating:
        (void)client.updateAgeRatingDeclaration(id, decodeJSON<JSONValue>(values.front().second));
        return;
    case FieldHome::reviewDetail:
        (void)client.updateReviewDetail(id, reviewDetailOf(values));
        return;
    case FieldHome::appInfoLocalization:
    case FieldHome::versionLocalization:
        return; // of a locale
    }
}

std::string createReviewDetail(const ASCClientProtocol& client, std::string_view versionID,
                               const PageValues& values) {
    return client.createReviewDetail(versionID, reviewDetailOf(values)).id;
}

FieldType leaderOf(FieldType field) {
    switch (field) {
    case FieldType::earliestReleaseDate:
        return FieldType::releaseType;
    case FieldType::primarySubcategoryOne:
    case FieldType::primarySubcategoryTwo:
        return FieldType::primaryCategory;
    case FieldType::secondarySubcategoryOne:
    case FieldType::secondarySubcategoryTwo:
        return FieldType::secondaryCategory;
    default:
        return field;
    }
}

std::vector<PageValues> groupsThatBelongTogether(const PageValues& values) {
    std::vector<PageValues> groups;
    for (const auto& value : values) {
        const auto group = std::ranges::find_if(groups, [&](const PageValues& known) {
            return leaderOf(known.front().first) == leaderOf(value.first);
        });
        if (group == groups.end())
            groups.push_back({value});
        else
            group->push_back(value);
    }
    return groups;
}

} // namespace quorvel
