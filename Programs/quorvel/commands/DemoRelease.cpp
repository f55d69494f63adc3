#include "Programs/quorvel/commands/DemoRelease.h"

#include "Platform/files/Files.h"
#include "Programs/quorvel/FindProgram.h"
#include "Programs/quorvel/commands/DemoTree.h"

#include <string>
#include <string_view>
#include <system_error>

namespace quorvel {

namespace {

constexpr std::string_view releasedApp = "studio.fernhollow.tides";
constexpr std::string_view releasedSlug = "pocket-tides";
constexpr std::string_view lastVersion = "1.9";
constexpr std::string_view nextVersion = "2.0";
constexpr std::string_view standInName = "quorvel-xcrun-stand-in";

// The id of a version of the app; empty when there is none.
std::string versionID(const JSONValue& state, std::string_view version) {
    if (const JSONValue* versions = state.find("appStoreVersions"))
        for (const auto& [id, one] : *versions->members())
            if (const JSONValue* number = one.at("attributes", "versionString");
                number && number->text() && *number->text() == version)
                return id;
    return {};
}

std::string stateOfVersion(const JSONValue& state, std::string_view version) {
    const JSONValue* versions = state.find("appStoreVersions");
    const JSONValue* found = versions ? versions->find(versionID(state, version)) : nullptr;
    const JSONValue* text = found ? found->at("attributes", "appStoreState") : nullptr;
    return text && text->text() ? *text->text() : "";
}

void writeProject(const std::filesystem::path& project) {
    createFolders(project);
    writeFileAtomically(project / "project.pbxproj",
                        "// !$*UTF8*$!\n{\n\t\tB1 /* Release */ = {\n\t\t\tbuildSettings = {\n"
                        "\t\t\t\tCURRENT_PROJECT_VERSION = 90;\n\t\t\t\tMARKETING_VERSION = 1.9;\n"
                        "\t\t\t\tPRODUCT_BUNDLE_IDENTIFIER = studio.fernhollow.tides;\n"
                        "\t\t\t};\n\t\t};\n}\n");
}

void placeTools(DemoStage& stage, const std::filesystem::path& standIn) {
    createFolders(stage.tools().parent_path());
    std::filesystem::create_symlink(standIn, stage.tools());
    const JSONValue script = JSONValue::object({{"sandbox", stage.server().access().url},
                                                {"bundleID", std::string(releasedApp)},
                                                {"schemes", JSONValue::array({"Tides"})},
                                                {"processingSeconds", 0}});
    writeFileAtomically(stage.tools().parent_path() / "tools.json", encodeJSON(script));
}

} // namespace

std::optional<std::filesystem::path> standInBeside(const Surroundings& surroundings) {
    const auto program = findProgram(surroundings.program.native(), surroundings);
    const auto beside = program.parent_path() / standInName;
    std::error_code unreachable;
    const bool isThere = !program.empty() && std::filesystem::is_regular_file(beside, unreachable);
    return isThere ? std::optional(beside) : std::nullopt;
}

std::string playRelease(DemoStage& stage, const std::filesystem::path& standIn) {
    const std::string app(releasedSlug);
    const std::string version(nextVersion);
    stage.step("A whole release",
               "A second app, whose version 1.9 Apple has approved and brought to the store. "
               "What does the next one need? Six steps, and the first thing to do:");
    placeTools(stage, standIn);
    writeProject(stage.folder().path() / "Tides.xcodeproj");
    stage.command({"apps", "import", std::string(releasedApp)});
    stage.command({"pull", "--app", app});
    stage.server().setVersionState(versionID(stage.server().state(), lastVersion), "READY_FOR_SALE");
    stage.command({"checklist", "--app", app});
    const DemoTree texts(stage.folder().path() / "home/Documents/Brevant" / app / "ios/next");
    texts.write("en-US", FieldType::releaseNotes,
                "• Moon phases beside the tides\n• A widget for the lock screen");
    stage.tell(
        "The release notes of the next version are written into a file. How the app is built is told once; "
        "here a stand-in takes the place of Apple's developer tools:");
    stage.command({"build", "config", "--app", app, "--project", "Tides.xcodeproj", "--scheme", "Tides",
                   "--exempt-encryption"});
    stage.step("Ship", "One command for the rest. First what it would do, which changes nothing:");
    stage.command({"ship", "--app", app, "--version", version, "--testflight", "Harbour Crew", "--dry-run"});
    stage.tell(
        "And now it is done: the version is made, the notes are pushed, the app is archived, exported and "
        "uploaded, the build is attached, given to testers, and the version is submitted.");
    stage.command({"ship", "--app", app, "--version", version, "--testflight", "Harbour Crew", "--yes"});
    stage.tell("The same command again has nothing to do; cut off at any moment it would go on from there.");
    stage.command({"checklist", "--app", app});
    return stateOfVersion(stage.server().state(), nextVersion);
}

std::int64_t playReview(DemoStage& stage) {
    const std::string id = versionID(stage.server().state(), nextVersion);
    stage.step("The review",
               "Nobody has to look whether Apple has decided. The monitor asks for every app, and tells each "
               "change once; on a desktop also as a notification. First it learns how things stand:");
    std::int64_t told = 0;
    const auto check = [&] {
        stage.command({"monitor", "--once", "--no-notify"});
        for (const std::string_view news : {"approved — release it", "live on the App Store"})
            told += stage.lastOutput().find(news) != std::string::npos;
    };
    check();
    stage.tell("Some hours later Apple has approved the version:");
    stage.server().setVersionState(id, "PENDING_DEVELOPER_RELEASE");
    check();
    stage.command({"release", "--app", std::string(releasedSlug), "--yes"});
    stage.server().setVersionState(id, "READY_FOR_SALE");
    stage.tell("It is released, and in the store a little later:");
    check();
    stage.tell("What was told is not told again:");
    check();
    return told;
}

} // namespace quorvel
