// Reads and sets versions as agvtool does, in projects that use its versioning.
#include "Platform/files/Files.h"
#include "Programs/xcrun-stand-in/StandIn.h"

#include <cstdio>
#include <filesystem>

namespace quorvel::standin {

namespace {

std::filesystem::path projectHere() {
    for (const FolderEntry& entry : listFolder(".").value_or(std::vector<FolderEntry>{}))
        if (entry.name.ends_with(".xcodeproj")) return entry.name;
    return {};
}

void setEverywhere(const std::filesystem::path& project, const std::string& key, const std::string& value) {
    std::string text = readFile(project / "project.pbxproj").value_or("");
    const std::string start = key + " = ";
    for (auto at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
        const auto from = at + start.size();
        text.replace(from, text.find(';', from) - from, value);
    }
    writeFileAtomically(project / "project.pbxproj", text);
}

} // namespace

int runAgvtool(const std::vector<std::string>& arguments, const Script& script) {
    if (const auto exitCode = script.play("agvtool")) return *exitCode;
    const std::filesystem::path project = projectHere();
    if (project.empty()) {
        std::puts("There are no Xcode project files in this directory.  agvtool needs a project to operate.");
        return 3;
    }
    const bool isVersioned = projectSetting(project, "VERSIONING_SYSTEM") == "apple-generic";
    const auto number = projectSetting(project, "CURRENT_PROJECT_VERSION");
    if (!isVersioned || !number) {
        std::puts(
            "There does not seem to be a CURRENT_PROJECT_VERSION key set for this project.  Add this key to "
            "your target's expert build settings.\n");
        return 6;
    }
    const std::string name = project.stem().string();
    const std::string operation = arguments.empty() ? "" : arguments.front();
    if (operation == "what-version") {
        std::printf("Current version of project %s is: \n    %s\n\n", name.c_str(), number->c_str());
    } else if (operation == "next-version") {
        const std::string next = std::to_string(std::atoi(number->c_str()) + 1);
        setEverywhere(project, "CURRENT_PROJECT_VERSION", next);
        std::printf("Setting version of project %s to: \n    %s.\n\n", name.c_str(), next.c_str());
    } else if (operation == "what-marketing-version") {
        std::printf(
            "Found CFBundleShortVersionString of \"$(MARKETING_VERSION)\" in \"%s.xcodeproj/../Info.plist\" \n",
            name.c_str());
    } else {
        std::printf("Unknown operation %s\n", operation.c_str());
        return 2;
    }
    return 0;
}

} // namespace quorvel::standin
