#include "Core/asc/services/VersionService.h"

#include "Core/asc/services/CreateOrAdopt.h"

#include <algorithm>

namespace quorvel {

std::optional<ASCResource<AppStoreVersionAttributes>> VersionService::find(std::string_view appID,
                                                                           ASCPlatform platform) const {
    auto versions = client_.listAppStoreVersions(appID, platform, {}, {1});
    if (versions.empty()) return std::nullopt;
    return std::move(versions.front());
}

ASCResource<AppStoreVersionAttributes>
VersionService::create(std::string_view appID, const AppStoreVersionCreateAttributes& attributes) const {
    const auto platform = fromRawValue<ASCPlatform>(attributes.platform);
    const auto found = [&]() -> std::optional<ASCResource<AppStoreVersionAttributes>> {
        auto versions = client_.listAppStoreVersions(appID, platform);
        const auto same = std::ranges::find_if(versions, [&](const auto& version) {
            return version.attributes.versionString == attributes.versionString;
        });
        return same == versions.end() ? std::nullopt : std::optional(std::move(*same));
    };
    const bool wasThere = found().has_value();
    try {
        return client_.createAppStoreVersion(appID, attributes);
    } catch (const ASCError& error) {
        // A request that was carried out, answered with server trouble and repeated is refused.
        if (wasThere || (!mayHaveBeenDone(error) && error.httpStatus() != 409)) throw;
        std::optional<ASCResource<AppStoreVersionAttributes>> made;
        try {
            made = found();
        } catch (const ASCError&) { // the error of the create says more
        }
        if (!made) throw;
        return std::move(*made);
    }
}

ASCResource<AppStoreVersionAttributes> VersionService::findOrCreate(std::string_view appID,
                                                                    ASCPlatform platform,
                                                                    std::string_view versionString) const {
    if (auto version = find(appID, platform)) return std::move(*version);
    return create(appID, {std::string(rawValue(platform)), std::string(versionString), {}});
}

} // namespace quorvel
