// What a build is made from, how far a run is, and how it ended.
#pragma once

#include "Core/asc/records/States.h"
#include "Platform/json/JSON.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// The platforms that a project is archived for.
enum class TargetPlatform { iOS, macOS };

template <>
struct RawValues<TargetPlatform> {
    static constexpr std::pair<TargetPlatform, std::string_view> values[] = {
        {TargetPlatform::iOS, "iOS"},
        {TargetPlatform::macOS, "macOS"},
    };
};

inline constexpr std::array allTargetPlatforms = {TargetPlatform::iOS, TargetPlatform::macOS};

/// How the tools and the file names call a platform.
struct TargetPlatformNames {
    std::string_view altoolType;            // also the tag in file names
    std::string_view xcodebuildDestination; // "generic/platform=iOS"
    std::string_view artefactExtension;     // "ipa" or "pkg"
    ASCPlatform ascPlatform = ASCPlatform::iOS;
};
[[nodiscard]] const TargetPlatformNames& namesOf(TargetPlatform platform);
/// The target platform of a platform of App Store Connect; nothing for one that is not built.
[[nodiscard]] std::optional<TargetPlatform> targetPlatformOf(ASCPlatform platform);

/// How an app is built for one platform; kept in the user's settings.
struct BuildConfig {
    std::string projectPath; // of the .xcodeproj or .xcworkspace
    std::string scheme;
    std::string configuration = "Release";
    std::string exportMethod = "app-store";
    bool autoDeclareEncryptionExempt = false;
    bool autoAttachBuildToVersion = true;
    TargetPlatform platform = TargetPlatform::iOS;
    bool autoIncrementBuildNumber = true;
    QUORVEL_RECORD(BuildConfig, projectPath, scheme, configuration, exportMethod, autoDeclareEncryptionExempt,
                   autoAttachBuildToVersion, platform, autoIncrementBuildNumber)
    bool operator==(const BuildConfig&) const = default;
};

/// The inputs of one run.
struct BuildPlan {
    std::filesystem::path projectURL;
    std::string scheme;
    std::string configuration;
    std::string exportMethod;
    std::filesystem::path workdir;
    bool cleanWorkdir = true;
    TargetPlatform platform = TargetPlatform::iOS;
};

enum class BuildStage { preflight, archiving, exporting, uploading, attaching };

template <>
struct RawValues<BuildStage> {
    static constexpr std::pair<BuildStage, std::string_view> values[] = {
        {BuildStage::preflight, "preflight"}, {BuildStage::archiving, "archiving"},
        {BuildStage::exporting, "exporting"}, {BuildStage::uploading, "uploading"},
        {BuildStage::attaching, "attaching"},
    };
};

struct BuildOutcome {
    std::optional<std::string> archiveURL;
    std::optional<std::string> ipaURL; // the exported artefact, an .ipa or a .pkg
    bool success = false;
    std::optional<std::string> errorMessage;
    double durationSeconds = 0;
    QUORVEL_RECORD(BuildOutcome, archiveURL, ipaURL, success, errorMessage, durationSeconds)
    bool operator==(const BuildOutcome&) const = default;
};

} // namespace quorvel
