// Which build of an app a request means.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Quorvel/actions/Target.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

inline constexpr JSONMember buildMember{
    "build", "The build's number or id; the newest that is processed when left out."};
inline constexpr JSONMember buildVersionMember{"version", "Only builds of this version."};
inline constexpr JSONMember buildOfPlatformMember{"platform",
                                                  "Only builds for ios, macos, tvos or visionos."};

/// A request about a build and nothing more.
struct BuildRequest {
    std::optional<std::string> build;
    std::optional<std::string> version;
    std::optional<std::string> platform;
    std::optional<std::string> app;
    std::optional<std::string> workspace;
    QUORVEL_RECORD(BuildRequest, build, version, platform, app, workspace)
    static constexpr JSONMember members[] = {buildMember, buildVersionMember, buildOfPlatformMember,
                                             appMember, workspaceMember};
};

struct BuildChoice {
    std::optional<std::string> build;
    std::optional<std::string> version;
    std::optional<std::string> platform;
};

template <typename Request>
[[nodiscard]] BuildChoice buildChoiceOf(const Request& request) {
    return {request.build, request.version, request.platform};
}

struct ChosenBuild {
    ASCBuildSummary build;
    std::vector<std::string> remarks; // newer builds that were passed over, and why
};

/// "3.5 (352) for ios", as messages name a build.
[[nodiscard]] std::string nameOf(const ASCBuildSummary& build);

/// The build that is meant. Throws `ApplicationError` for one that does not exist, that several may be, or
/// that cannot be used: being processed, failed or expired.
[[nodiscard]] ChosenBuild chooseBuild(const ASCClientProtocol& client, const std::string& appStoreID,
                                      const BuildChoice& choice);

} // namespace quorvel
