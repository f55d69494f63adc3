// The version of one platform that metadata, screenshots and builds attach to.
#pragma once

#include "Core/asc/records/Documents.h"
#include "Core/asc/records/States.h"
#include "Core/asc/records/VersionRecords.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Which of a platform's two slots a version takes: `live` is or was on sale, `editable` is every other, also
/// while it waits for or is in review, so that a version in review never takes the place of the one on sale.
/// Whether a version takes changes at the moment is the question of `isEditableState`.
enum class AppStoreVersionStateClass { editable, live };

template <>
struct RawValues<AppStoreVersionStateClass> {
    static constexpr std::pair<AppStoreVersionStateClass, std::string_view> values[] = {
        {AppStoreVersionStateClass::editable, "editable"},
        {AppStoreVersionStateClass::live, "live"},
    };
};

/// The slot of a version in this state; an unknown state is `editable`.
[[nodiscard]] AppStoreVersionStateClass stateClassOf(std::string_view appStoreState);

/// Whether App Store Connect takes changes to a version in this state; an unknown state does not.
[[nodiscard]] bool isEditableState(std::string_view appStoreState);

/// A platform and one of its slots, such as "ios/next".
struct ContextID {
    ASCPlatform platform = ASCPlatform::iOS;
    AppStoreVersionStateClass stateClass = AppStoreVersionStateClass::editable;

    /// "ios/next": the platform's folder name, a slash, "live" or "next".
    [[nodiscard]] std::string text() const;
    bool operator==(const ContextID&) const = default;
};

/// Reads "ios/next"; nothing for any other text.
[[nodiscard]] std::optional<ContextID> parseContextID(std::string_view text);

/// In the order in which they are shown.
inline constexpr std::array allPlatforms = {ASCPlatform::iOS, ASCPlatform::macOS, ASCPlatform::tvOS,
                                            ASCPlatform::visionOS};

/// "ios", "macos", "tvos" or "visionos".
[[nodiscard]] std::string_view platformFolderName(ASCPlatform platform);
/// "iOS", "macOS", "tvOS" or "visionOS".
[[nodiscard]] std::string_view platformLabel(ASCPlatform platform);
/// "next" or "live".
[[nodiscard]] std::string_view slotName(AppStoreVersionStateClass stateClass);

struct PlatformContext {
    ASCPlatform platform = ASCPlatform::iOS;
    AppStoreVersionStateClass stateClass = AppStoreVersionStateClass::editable;
    std::string versionString; // such as "2.4.3"
    std::string appStoreState; // raw, as App Store Connect sent it
    std::string versionId;     // of the version on App Store Connect
    QUORVEL_RECORD(PlatformContext, platform, stateClass, versionString, appStoreState, versionId)

    [[nodiscard]] ContextID contextID() const { return {platform, stateClass}; }
    /// The identity, such as "ios/next".
    [[nodiscard]] std::string id() const { return contextID().text(); }
    /// Whether a push may change this version.
    [[nodiscard]] bool takesPushes() const {
        return stateClass == AppStoreVersionStateClass::editable && isEditableState(appStoreState);
    }
    bool operator==(const PlatformContext&) const = default;
};

/// The contexts of an app's versions: at most one live and one next per platform, in platform order, next
/// before live. Among several live versions one on sale goes before one that was removed, and that before one
/// that was replaced; then the newest wins. Versions of an unknown platform are left out.
[[nodiscard]] std::vector<PlatformContext>
contextsOf(const std::vector<ASCResource<AppStoreVersionAttributes>>& versions);

/// Whether a version of the platform is or was on sale before this one.
enum class Release { first, update };

/// What the version of `context` is, by all contexts of its app; `update` for one that is not among them.
[[nodiscard]] Release releaseOf(const ContextID& context, const std::vector<PlatformContext>& contexts);

/// The context to show: `wanted` when it is among `contexts`, else the first that takes pushes, else the
/// first next one, else the first; nothing only when there are none.
[[nodiscard]] std::optional<PlatformContext> chooseContext(const std::vector<PlatformContext>& contexts,
                                                           const std::optional<std::string>& wanted);

} // namespace quorvel
