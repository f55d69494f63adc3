// What the states of a version mean, and how a version goes from one to another.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// Whether a version (or an app info) in this App Store state takes edits.
[[nodiscard]] bool isEditable(std::string_view state);
/// Whether a version in this state is, or once was, on the store.
[[nodiscard]] bool wasReleased(std::string_view state);
/// Whether versions can be in this state at all.
[[nodiscard]] bool isVersionState(std::string_view state);
/// The newer spelling of an App Store state.
[[nodiscard]] std::string appVersionState(std::string_view state);

/// Moves a version to a state; its submission, the app's information, the version that it replaces and its
/// phased release follow.
void moveVersion(World& world, Resource& version, std::string_view state);

/// The app's information that takes edits, or null.
[[nodiscard]] Resource* editableAppInfo(const World& world, std::string_view appID);
[[nodiscard]] Resource* liveAppInfo(const World& world, std::string_view appID);
/// The app's information that takes edits, made from the live one when there is none.
Resource& ensureEditableAppInfo(World& world, const Resource& app);

/// The version that is on the store for a platform, or null.
[[nodiscard]] Resource* liveVersion(const World& world, std::string_view appID, std::string_view platform);
/// Whether no version of the app was on the store for the platform of `version` before it.
[[nodiscard]] bool isFirstVersion(const World& world, const Resource& version);

/// Throws `Refusal` when the version does not take edits.
void requireEditable(const Resource& version, std::string_view type, std::string_view id);

} // namespace quorvel::sandbox
