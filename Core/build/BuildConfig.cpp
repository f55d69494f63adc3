#include "Core/build/BuildConfig.h"

namespace quorvel {

const TargetPlatformNames& namesOf(TargetPlatform platform) {
    static constexpr TargetPlatformNames iOS{"ios", "generic/platform=iOS", "ipa", ASCPlatform::iOS};
    static constexpr TargetPlatformNames macOS{"macos", "generic/platform=macOS", "pkg", ASCPlatform::macOS};
    return platform == TargetPlatform::iOS ? iOS : macOS;
}

std::optional<TargetPlatform> targetPlatformOf(ASCPlatform platform) {
    for (const TargetPlatform candidate : allTargetPlatforms)
        if (namesOf(candidate).ascPlatform == platform) return candidate;
    return std::nullopt;
}

} // namespace quorvel
