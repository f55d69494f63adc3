#include "Core/metadata/PlatformContext.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace quorvel {

namespace {

using VersionResource = ASCResource<AppStoreVersionAttributes>;

constexpr std::array<std::string_view, 3> onSale = {"READY_FOR_SALE", "READY_FOR_DISTRIBUTION",
                                                    "PROCESSING_FOR_DISTRIBUTION"};
constexpr std::array<std::string_view, 5> wasOnSale = {"PREORDER_READY_FOR_SALE", "REMOVED_FROM_SALE",
                                                       "DEVELOPER_REMOVED_FROM_SALE",
                                                       "REPLACED_WITH_NEW_VERSION", "NOT_APPLICABLE"};
constexpr std::array<std::string_view, 5> takesChanges = {"PREPARE_FOR_SUBMISSION", "DEVELOPER_REJECTED",
                                                          "REJECTED", "METADATA_REJECTED", "INVALID_BINARY"};

bool contains(const auto& states, std::string_view state) {
    return std::ranges::find(states, state) != states.end();
}

// How well a live version stands for what customers see; a higher rank goes first.
int saleRank(std::string_view state) {
    if (contains(onSale, state)) return 3;
    if (state == "PREORDER_READY_FOR_SALE") return 2;
    return state == "REPLACED_WITH_NEW_VERSION" || state == "NOT_APPLICABLE" ? 0 : 1;
}

std::string_view stateOf(const VersionResource& version) {
    return version.attributes.appStoreState ? std::string_view(*version.attributes.appStoreState)
                                            : std::string_view();
}

// Whether `left` stands for its slot rather than `right`.
bool goesBefore(const VersionResource& left, const VersionResource& right) {
    if (stateClassOf(stateOf(left)) == AppStoreVersionStateClass::live)
        if (const int difference = saleRank(stateOf(left)) - saleRank(stateOf(right))) return difference > 0;
    const auto created = [](const VersionResource& version) {
        return parseISO8601(version.attributes.createdDate.value_or(""));
    };
    if (created(left) != created(right)) return created(left) > created(right); // an unknown date is oldest
    return naturalLess(right.attributes.versionString.value_or(""),
                       left.attributes.versionString.value_or(""));
}

} // namespace

AppStoreVersionStateClass stateClassOf(std::string_view appStoreState) {
    return contains(onSale, appStoreState) || contains(wasOnSale, appStoreState)
               ? AppStoreVersionStateClass::live
               : AppStoreVersionStateClass::editable;
}

bool isEditableState(std::string_view appStoreState) {
    return contains(takesChanges, appStoreState);
}

std::string_view platformFolderName(ASCPlatform platform) {
    switch (platform) {
    case ASCPlatform::iOS:
        return "ios";
    case ASCPlatform::macOS:
        return "macos";
    case ASCPlatform::tvOS:
        return "tvos";
    case ASCPlatform::visionOS:
        return "visionos";
    }
    return {};
}

std::string_view platformLabel(ASCPlatform platform) {
    switch (platform) {
    case ASCPlatform::iOS:
        return "iOS";
    case ASCPlatform::macOS:
        return "macOS";
    case ASCPlatform::tvOS:
        return "tvOS";
    case ASCPlatform::visionOS:
        return "visionOS";
    }
    return "";
}

std::string_view slotName(AppStoreVersionStateClass stateClass) {
    return stateClass == AppStoreVersionStateClass::live ? "live" : "next";
}

std::string ContextID::text() const {
    return std::string(platformFolderName(platform)) + "/" + std::string(slotName(stateClass));
}

std::optional<ContextID> parseContextID(std::string_view text) {
    for (const ASCPlatform platform : allPlatforms)
        for (const auto stateClass : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
            if (const ContextID id{platform, stateClass}; id.text() == text) return id;
    return std::nullopt;
}

std::vector<PlatformContext> contextsOf(const std::vector<VersionResource>& versions) {
    std::vector<PlatformContext> contexts;
    for (const ASCPlatform platform : allPlatforms)
        for (const auto stateClass : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live}) {
            const VersionResource* chosen = nullptr;
            for (const VersionResource& version : versions)
                if (version.attributes.platform == rawValue(platform) &&
                    stateClassOf(stateOf(version)) == stateClass && (!chosen || goesBefore(version, *chosen)))
                    chosen = &version;
            if (chosen)
                contexts.push_back({platform, stateClass, chosen->attributes.versionString.value_or(""),
                                    std::string(stateOf(*chosen)), chosen->id});
        }
    return contexts;
}

Release releaseOf(const ContextID& context, const std::vector<PlatformContext>& contexts) {
    const bool isKnown = std::ranges::find(contexts, context, &PlatformContext::contextID) != contexts.end();
    const bool isOrWasOnSale = std::ranges::any_of(contexts, [&](const PlatformContext& other) {
        return other.platform == context.platform && other.stateClass == AppStoreVersionStateClass::live;
    });
    return isKnown && !isOrWasOnSale ? Release::first : Release::update;
}

std::optional<PlatformContext> chooseContext(const std::vector<PlatformContext>& contexts,
                                             const std::optional<std::string>& wanted) {
    const auto firstWhere = [&](auto condition) { return std::ranges::find_if(contexts, condition); };
    auto found = firstWhere([&](const PlatformContext& context) { return context.id() == wanted; });
    if (found == contexts.end()) found = firstWhere(&PlatformContext::takesPushes);
    if (found == contexts.end())
        found = firstWhere([](const PlatformContext& context) {
            return context.stateClass == AppStoreVersionStateClass::editable;
        });
    if (found == contexts.end()) found = contexts.begin();
    return found == contexts.end() ? std::nullopt : std::optional(*found);
}

} // namespace quorvel
