#include "Quorvel/actions/BuildChoice.h"

#include "Core/metadata/PlatformContext.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr int newestBuilds = 200; // among which the newest processed one is looked for
constexpr std::size_t mostNamed = 5;

// Why a build cannot be used; nothing for one that can.
std::optional<std::string> hindranceOf(const ASCBuildSummary& build) {
    const auto& attributes = build.build.attributes;
    const auto state = fromRawValue<BuildProcessingState>(attributes.processingState.value_or(""));
    if (attributes.expired.value_or(false)) return "has expired";
    if (state == BuildProcessingState::valid) return std::nullopt;
    if (state == BuildProcessingState::processing) return "is still being processed";
    return fmt::format("was not accepted ({})", attributes.processingState.value_or("no state"));
}

std::vector<ASCBuildSummary> candidatesOf(const ASCClientProtocol& client, const std::string& appStoreID,
                                          const BuildChoice& choice) {
    const auto platform = choice.platform ? std::optional(requirePlatform(*choice.platform)) : std::nullopt;
    auto builds = client.listBuilds(appStoreID, choice.version,
                                    choice.build ? ASCListBound{} : ASCListBound{newestBuilds});
    if (platform)
        std::erase_if(builds, [&](const auto& each) { return each.platform != rawValue(*platform); });
    return builds;
}

std::string namesOf(const std::vector<ASCBuildSummary>& builds) {
    std::vector<std::string> names;
    for (const ASCBuildSummary& build : builds)
        if (names.size() < mostNamed) names.push_back(nameOf(build));
    return fmt::format("{}", fmt::join(names, ", "));
}

ChosenBuild namedBuild(std::vector<ASCBuildSummary> builds, const std::string& wanted) {
    const std::string known = builds.empty() ? "There are none." : "There are " + namesOf(builds) + ".";
    std::erase_if(builds, [&](const auto& each) {
        return each.build.id != wanted && each.build.attributes.version != wanted;
    });
    if (builds.empty())
        throw ApplicationError(FailureKind::unknownBuild,
                               fmt::format("there is no build {}", quotedWord(wanted)), known);
    if (builds.size() > 1)
        throw ApplicationError(FailureKind::severalBuilds,
                               fmt::format("{} may be {}", quotedWord(wanted), namesOf(builds)),
                               "Name the version or the platform, too.");
    if (const auto hindrance = hindranceOf(builds.front()))
        throw ApplicationError(FailureKind::buildNotUsable,
                               fmt::format("{} {}", nameOf(builds.front()), *hindrance));
    return {std::move(builds.front()), {}};
}

} // namespace

std::string nameOf(const ASCBuildSummary& build) {
    const auto platform = fromRawValue<ASCPlatform>(build.platform.value_or(""));
    return escapeControls(fmt::format("{} ({}){}", build.marketingVersion.value_or("?"),
                                      build.build.attributes.version.value_or("?"),
                                      platform ? fmt::format(" for {}", platformFolderName(*platform)) : ""));
}

ChosenBuild chooseBuild(const ASCClientProtocol& client, const std::string& appStoreID,
                        const BuildChoice& choice) {
    std::vector<ASCBuildSummary> builds = candidatesOf(client, appStoreID, choice);
    if (choice.build) return namedBuild(std::move(builds), *choice.build);
    ChosenBuild chosen;
    for (ASCBuildSummary& build : builds) {
        const auto hindrance = hindranceOf(build);
        if (!hindrance) {
            chosen.build = std::move(build);
            return chosen;
        }
        chosen.remarks.push_back(fmt::format("{} {}", nameOf(build), *hindrance));
    }
    throw ApplicationError(FailureKind::unknownBuild, "there is no processed build",
                           builds.empty() ? "" : fmt::format("{}.", fmt::join(chosen.remarks, "; ")));
}

} // namespace quorvel
