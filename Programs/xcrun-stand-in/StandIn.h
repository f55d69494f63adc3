// Stands in for Apple's developer tools where they are missing: tests and the demonstration run it as xcrun.
#pragma once

#include "Platform/json/JSONValue.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::standin {

/// How the tools behave: the file "tools.json" beside the program. Each tool ("list", "archive", "export",
/// "upload", "agvtool") may have an object with `lines` and `errors` to print first, `seconds` to take,
/// `exitCode` to end with instead of working, and `leaveOut` to end with 0 and no work; an upload may
/// `linger` for seconds after its work. `sandbox` is the base address that uploads go to, `bundleID` the app
/// they are for, `schemes` what a listing names.
class Script {
  public:
    explicit Script(const std::filesystem::path& folder);

    /// Prints and waits as the tool's script says; the exit code when it says how the tool ends.
    [[nodiscard]] std::optional<int> play(std::string_view tool) const;
    /// Waits as long as the tool's script wants after its work.
    void linger(std::string_view tool) const;
    [[nodiscard]] std::vector<std::string> texts(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
    [[nodiscard]] const JSONValue* value(std::string_view key) const { return script_.find(key); }

  private:
    JSONValue script_;
};

/// The last value of `key` in a project's project.pbxproj; nothing when it has none.
[[nodiscard]] std::optional<std::string> projectSetting(const std::filesystem::path& project,
                                                        std::string_view key);

int runXcodebuild(const std::vector<std::string>& arguments, const Script& script);
int runAltool(const std::vector<std::string>& arguments, const Script& script);
int runAgvtool(const std::vector<std::string>& arguments, const Script& script);

/// The argument after `name`; empty when there is none.
[[nodiscard]] std::string argumentAfter(const std::vector<std::string>& arguments, std::string_view name);

} // namespace quorvel::standin
