// Finding or creating the version that is edited.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <optional>
#include <string_view>

namespace quorvel {

/// The version that is edited for a platform.
class VersionService {
  public:
    explicit VersionService(const ASCClientProtocol& client) : client_(client) {}

    /// The newest version of the platform; none when the app has no version of it yet.
    [[nodiscard]] std::optional<ASCResource<AppStoreVersionAttributes>> find(std::string_view appID,
                                                                             ASCPlatform platform) const;
    /// Makes a version. When the answer is lost, or a repetition was refused as the first request had been
    /// carried out, the version made is returned; one that was there before is none of those.
    [[nodiscard]] ASCResource<AppStoreVersionAttributes>
    create(std::string_view appID, const AppStoreVersionCreateAttributes& attributes) const;
    /// The newest version of the platform, made with `versionString` when there is none.
    [[nodiscard]] ASCResource<AppStoreVersionAttributes>
    findOrCreate(std::string_view appID, ASCPlatform platform, std::string_view versionString) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
