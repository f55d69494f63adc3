#include "Core/asc/services/VersionService.h"

namespace quorvel {

std::optional<ASCResource<AppStoreVersionAttributes>> VersionService::find(std::string_view appID,
                                                                           ASCPlatform platform) const {
    auto versions = client_.listAppStoreVersions(appID, platform, {}, {1});
    if (versions.empty()) return std::nullopt;
    return std::move(versions.front());
}

ASCResource<AppStoreVersionAttributes> VersionService::findOrCreate(std::string_view appID,
                                                                    ASCPlatform platform,
                                                                    std::string_view versionString) const {
    if (auto version = find(appID, platform)) return std::move(*version);
    return client_.createAppStoreVersion(appID,
                                         {std::string(rawValue(platform)), std::string(versionString), {}});
}

} // namespace quorvel
