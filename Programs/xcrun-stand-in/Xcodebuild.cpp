// Archives and exports as xcodebuild does: what a later step reads lies where it would lie.
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Programs/xcrun-stand-in/StandIn.h"

#include <algorithm>
#include <cstdio>

namespace quorvel::standin {

namespace {

using Arguments = std::vector<std::string>;

bool holds(const Arguments& arguments, std::string_view name) {
    return std::ranges::find(arguments, name) != arguments.end();
}

int fail(const char* text) {
    std::fprintf(stderr, "error: %s\n\n** ARCHIVE FAILED **\n", text);
    return 65;
}

int list(const std::filesystem::path& project, const Script& script) {
    Arguments schemes = script.texts("schemes");
    if (schemes.empty()) schemes = {project.stem().string()};
    std::printf("Information about project \"%s\":\n    Targets:\n        %s\n\n    Schemes:\n",
                project.stem().c_str(), project.stem().c_str());
    for (const std::string& scheme : schemes)
        std::printf("        %s\n", scheme.c_str());
    return 0;
}

int archive(const Arguments& arguments, const Script& script) {
    std::filesystem::path project = argumentAfter(arguments, "-project");
    if (project.empty()) {
        project = argumentAfter(arguments, "-workspace");
        project.replace_extension(".xcodeproj");
    }
    if (!std::filesystem::exists(project)) return fail("the project does not exist.");
    const std::string destination = argumentAfter(arguments, "-destination");
    const std::string version = projectSetting(project, "MARKETING_VERSION").value_or("1.0");
    const std::string number = projectSetting(project, "CURRENT_PROJECT_VERSION").value_or("1");
    const JSONValue contents = JSONValue::object(
        {{"bundleID",
          script.text("bundleID")
              .value_or(projectSetting(project, "PRODUCT_BUNDLE_IDENTIFIER").value_or("org.example.app"))},
         {"version", version},
         {"number", number},
         {"platform", destination.ends_with("macOS") ? "MAC_OS" : "IOS"}});
    const std::filesystem::path archive = argumentAfter(arguments, "-archivePath");
    createFolders(archive);
    writeFileAtomically(archive / "Contents.json", encodeJSON(contents));
    writeFileAtomically(archive / "Info.plist",
                        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
                        "\t<key>ApplicationProperties</key>\n\t<dict>\n"
                        "\t\t<key>CFBundleShortVersionString</key>\n\t\t<string>" +
                            version + "</string>\n\t\t<key>CFBundleVersion</key>\n\t\t<string>" + number +
                            "</string>\n\t</dict>\n</dict>\n</plist>\n");
    std::printf("note: archived %s\n", argumentAfter(arguments, "-scheme").c_str());
    return 0;
}

int exportArchive(const Arguments& arguments) {
    const std::filesystem::path archive = argumentAfter(arguments, "-archivePath");
    const auto contents = readFile(archive / "Contents.json");
    const auto options = readFile(argumentAfter(arguments, "-exportOptionsPlist"));
    if (!contents || !options || options->find("<key>method</key>") == std::string::npos) {
        std::fprintf(stderr, "error: archive not found at path '%s'\n** EXPORT FAILED **\n", archive.c_str());
        return 70;
    }
    const std::filesystem::path folder = argumentAfter(arguments, "-exportPath");
    createFolders(folder);
    std::string name = archive.stem().string(); // the scheme and a tag of the platform
    name = name.substr(0, name.rfind('-'));
    const bool isMac = contents->find("MAC_OS") != std::string::npos;
    writeFileAtomically(folder / (name + (isMac ? ".pkg" : ".ipa")), *contents);
    return 0;
}

} // namespace

int runXcodebuild(const Arguments& arguments, const Script& script) {
    if (holds(arguments, "-list")) {
        if (const auto exitCode = script.play("list")) return *exitCode;
        const std::string project = argumentAfter(arguments, "-project");
        return list(project.empty() ? argumentAfter(arguments, "-workspace") : project, script);
    }
    if (holds(arguments, "-exportArchive")) {
        if (const auto exitCode = script.play("export")) return *exitCode;
        return exportArchive(arguments);
    }
    if (const auto exitCode = script.play("archive")) return *exitCode;
    return archive(arguments, script);
}

} // namespace quorvel::standin
