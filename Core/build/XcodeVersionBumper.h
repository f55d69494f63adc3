// Reading and setting the version and the build number of an Xcode project.
#pragma once

#include "Core/build/BuildPipeline.h"
#include "Platform/log/Log.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A version that cannot be read or set; the text says what to do.
class XcodeVersionError : public std::runtime_error {
  public:
    enum class Kind { projectNotFound, agvtoolNotApplicable, agvtoolFailed, readVerificationFailed };

    [[nodiscard]] static XcodeVersionError projectNotFound(const std::string& path);
    [[nodiscard]] static XcodeVersionError agvtoolNotApplicable(const std::string& reason);
    [[nodiscard]] static XcodeVersionError agvtoolFailed(const std::string& text);
    [[nodiscard]] static XcodeVersionError readVerificationFailed(const std::string& expected,
                                                                  const std::optional<std::string>& got);
    [[nodiscard]] Kind kind() const { return kind_; }

  private:
    XcodeVersionError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    Kind kind_;
};

/// Reads and sets the marketing version and the build number of one project: through agvtool where the
/// project uses Apple's versioning, else in its project.pbxproj. Every write is read back; a project file is
/// restored when it reads as something else. All operations throw `XcodeVersionError`, `FileError` and
/// `ProcessError`.
class XcodeVersionBumper {
  public:
    using LogHandler = std::function<void(const std::string& line)>;

    /// `onLog` is told of what a user should know, such as a reference that was replaced.
    XcodeVersionBumper(std::filesystem::path project, std::filesystem::path xcrun = defaultXcrun,
                       LogHandler onLog = {});

    [[nodiscard]] std::string marketingVersion() const;
    [[nodiscard]] std::string buildNumber() const;
    void setMarketingVersion(const std::string& version) const;
    /// The build number after it went up by one.
    std::string bumpBuildNumber() const;
    void setBuildNumber(const std::string& number) const;

  private:
    [[nodiscard]] std::optional<std::string> ask(const std::vector<std::string>& arguments) const;
    [[nodiscard]] std::filesystem::path requireProjectFile(const std::string& purpose) const;
    [[nodiscard]] std::string readSetting(std::string_view key, const std::string& purpose) const;
    void editSetting(std::string_view key, const std::string& value, const std::string& purpose) const;
    void requireProject() const;

    std::filesystem::path project_;
    std::filesystem::path xcrun_;
    LogHandler onLog_;
    Logger logger_;
};

/// What agvtool's answer to "what-version" names; nothing when it names none.
[[nodiscard]] std::optional<std::string> buildNumberIn(std::string_view answer);
/// What agvtool's answer to "what-marketing-version" names: of an app's property list rather than of its
/// tests', and a version rather than a reference.
[[nodiscard]] std::optional<std::string> marketingVersionIn(std::string_view answer);
/// `number` with its last numeric component one higher ("1.2.9" → "1.2.10"); nothing when it does not end in
/// a digit.
[[nodiscard]] std::optional<std::string> nextBuildNumber(std::string_view number);

} // namespace quorvel
