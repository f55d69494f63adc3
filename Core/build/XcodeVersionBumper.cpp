#include "Core/build/XcodeVersionBumper.h"

#include "Core/asc/KeyVariables.h"
#include "Core/build/ProjectSettings.h"
#include "Core/build/ToolOutput.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

namespace {

constexpr std::string_view marketingKey = "MARKETING_VERSION";
constexpr std::string_view buildKey = "CURRENT_PROJECT_VERSION";
constexpr std::uint64_t maxProjectFileBytes = 256ULL << 20;

// Why agvtool does not apply to the project; nothing for any other failure.
std::optional<std::string> whyNotApplicable(std::string_view text) {
    const std::string lower = asciiLowercase(text);
    const auto holds = [&](std::string_view part) { return lower.find(part) != std::string::npos; };
    if (holds("does not use a versioning system") || holds("not configured to use a versioning system") ||
        holds("there does not seem to be a current_project_version key set"))
        return "the project's Versioning System build setting isn't \"Apple Generic\"";
    if (holds("could not find") && holds("info.plist"))
        return "Info.plist isn't using $(MARKETING_VERSION) / $(CURRENT_PROJECT_VERSION) substitutions";
    return std::nullopt;
}

// The project.pbxproj of a project, or of the project that lies beside a workspace.
std::optional<std::filesystem::path> projectFileOf(const std::filesystem::path& project) {
    std::vector<std::filesystem::path> bundles;
    if (project.extension() != ".xcworkspace") {
        bundles.push_back(project);
    } else {
        const std::filesystem::path folder = project.parent_path();
        bundles.push_back(folder / (project.stem().string() + ".xcodeproj"));
        std::vector<std::filesystem::path> others;
        for (const FolderEntry& entry : listFolder(folder).value_or(std::vector<FolderEntry>{}))
            if (entry.name.ends_with(".xcodeproj")) others.push_back(folder / entry.name);
        if (others.size() == 1) bundles.push_back(others.front()); // with several, nobody says which is meant
    }
    std::error_code unreachable;
    for (const std::filesystem::path& bundle : bundles)
        if (std::filesystem::is_regular_file(bundle / "project.pbxproj", unreachable))
            return bundle / "project.pbxproj";
    return std::nullopt;
}

std::string notFoundText(std::string_view key) {
    const std::string name(key);
    return name +
           " not found in project.pbxproj — the version may be hardcoded in Info.plist instead. Edit Info.plist "
           "directly or add " +
           name + " to the target's build settings.";
}

} // namespace

XcodeVersionError XcodeVersionError::projectNotFound(const std::string& path) {
    return {Kind::projectNotFound, "Xcode project not found at " + path};
}

XcodeVersionError XcodeVersionError::agvtoolNotApplicable(const std::string& reason) {
    return {
        Kind::agvtoolNotApplicable,
        "Apple Generic Versioning isn't configured for this project: " + reason +
            ". In Xcode → Targets → Build Settings, set the Versioning System to \"Apple Generic\" so Quorvel can "
            "manage version + build number for you."};
}

XcodeVersionError XcodeVersionError::agvtoolFailed(const std::string& text) {
    return {Kind::agvtoolFailed, "agvtool failed: " + text};
}

XcodeVersionError XcodeVersionError::readVerificationFailed(const std::string& expected,
                                                            const std::optional<std::string>& got) {
    return {Kind::readVerificationFailed,
            "After update, project still reports " + got.value_or("nothing") + " instead of " + expected +
                ". The project file may have multiple targets with mismatched settings."};
}

XcodeVersionBumper::XcodeVersionBumper(std::filesystem::path project, std::filesystem::path xcrun,
                                       LogHandler onLog)
    : project_(std::move(project)),
      xcrun_(std::move(xcrun)),
      onLog_(onLog ? std::move(onLog) : [](const std::string&) {}),
      logger_("XcodeVersionBumper") {}

std::string XcodeVersionBumper::marketingVersion() const {
    requireProject();
    if (const auto answer = ask({"what-marketing-version"}))
        if (const auto version = marketingVersionIn(*answer); version && !isSettingReference(*version))
            return *version;
    return readSetting(marketingKey, "alongside " + project_.string() + " for the fallback edit");
}

std::string XcodeVersionBumper::buildNumber() const {
    requireProject();
    if (const auto answer = ask({"what-version"}))
        if (const auto number = buildNumberIn(*answer)) return *number;
    return readSetting(buildKey, "for fallback build-number bump");
}

void XcodeVersionBumper::setMarketingVersion(const std::string& version) const {
    requireProject();
    const auto answer = ask({"what-marketing-version"});
    const auto present = answer ? marketingVersionIn(*answer) : std::nullopt;
    // agvtool would put the number in place of the reference in every property list.
    if (present && !isSettingReference(*present) && ask({"new-marketing-version", version})) {
        if (const std::string got = marketingVersion(); got != version)
            throw XcodeVersionError::readVerificationFailed(version, got);
        return;
    }
    editSetting(marketingKey, version, "alongside " + project_.string() + " for the fallback edit");
}

std::string XcodeVersionBumper::bumpBuildNumber() const {
    const std::string before = buildNumber();
    const auto expected = nextBuildNumber(before);
    if (isSettingReference(before) || !expected)
        throw XcodeVersionError::agvtoolFailed("the build number is \"" + before +
                                               "\", which cannot be counted up. Set a build number instead.");
    if (ask({"what-version"}) && ask({"next-version", "-all"})) {
        const std::string got = buildNumber();
        if (got == before) throw XcodeVersionError::readVerificationFailed(*expected, got);
        return got;
    }
    editSetting(buildKey, *expected, "for fallback build-number bump");
    return *expected;
}

void XcodeVersionBumper::setBuildNumber(const std::string& number) const {
    requireProject();
    editSetting(buildKey, number, "for fallback build-number set");
}

// What agvtool answers; nothing when it does not apply to this project.
std::optional<std::string> XcodeVersionBumper::ask(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all{"agvtool"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const auto folder = std::filesystem::absolute(project_).parent_path();
    const auto result = ProcessRunner::run(
        {.executable = xcrun_, .arguments = all, .environment = withoutKeyTexts(), .workingFolder = folder});
    const std::string said = result.stderrTail + "\n" + result.stdoutTail;
    // Some of these come with an exit code of 0.
    if (const auto reason = whyNotApplicable(said)) {
        logger_.info("agvtool does not apply: " + *reason);
        return std::nullopt;
    }
    if (!result.succeeded()) throw XcodeVersionError::agvtoolFailed(std::string(trim(said)));
    return result.stdoutTail;
}

std::filesystem::path XcodeVersionBumper::requireProjectFile(const std::string& purpose) const {
    const auto file = projectFileOf(project_);
    if (!file) throw XcodeVersionError::agvtoolFailed("couldn't locate project.pbxproj " + purpose);
    return *file;
}

std::string XcodeVersionBumper::readSetting(std::string_view key, const std::string& purpose) const {
    const auto text = readFile(requireProjectFile(purpose), maxProjectFileBytes).value_or("");
    const auto value = settingIn(text, key);
    if (!value) throw XcodeVersionError::agvtoolFailed(notFoundText(key));
    return *value;
}

void XcodeVersionBumper::editSetting(std::string_view key, const std::string& value,
                                     const std::string& purpose) const {
    const std::filesystem::path file = requireProjectFile(purpose);
    const std::string before = readFile(file, maxProjectFileBytes).value_or("");
    const auto present = settingsIn(before, key);
    if (present.empty()) throw XcodeVersionError::agvtoolFailed(notFoundText(key));
    for (const ProjectSetting& setting : present)
        if (isSettingReference(setting.value)) {
            onLog_(std::string(key) + " was the reference " + setting.value + " and is now " + value + ".");
            break;
        }
    writeFileAtomically(file, withSetting(before, key, value));
    // The build number is read as Xcode's own tool sees it, where that applies.
    std::optional<std::string> got = settingIn(readFile(file, maxProjectFileBytes).value_or(""), key);
    try {
        if (key == buildKey)
            if (const auto answer = ask({"what-version"})) got = buildNumberIn(*answer);
    } catch (...) {
        writeFileAtomically(file, before);
        throw;
    }
    if (got == value) return;
    writeFileAtomically(file, before);
    throw XcodeVersionError::readVerificationFailed(value, got);
}

void XcodeVersionBumper::requireProject() const {
    std::error_code unreachable;
    if (!std::filesystem::exists(project_, unreachable))
        throw XcodeVersionError::projectNotFound(project_.string());
}

std::optional<std::string> buildNumberIn(std::string_view answer) {
    const auto lines = linesOf(answer);
    const auto heading = std::ranges::find_if(
        lines, [](std::string_view line) { return line.starts_with("Current version of project"); });
    const auto value = std::find_if(heading == lines.end() ? lines.begin() : heading + 1, lines.end(),
                                    [](std::string_view line) { return !line.empty(); });
    if (value == lines.end()) return std::nullopt;
    return std::string(*value);
}

std::optional<std::string> marketingVersionIn(std::string_view answer) {
    struct Found {
        std::string value;
        bool isOfTests = false;
    };
    constexpr std::string_view start = "Found CFBundleShortVersionString of \"";
    std::vector<Found> found;
    for (const std::string_view line : linesOf(answer)) {
        if (!line.starts_with(start)) continue;
        const auto end = line.find('"', start.size());
        if (end == std::string_view::npos) continue;
        const std::string_view place = line.substr(end + 1);
        found.push_back({std::string(line.substr(start.size(), end - start.size())),
                         asciiLowercase(place).find("tests/") != std::string::npos});
    }
    if (found.empty()) return std::nullopt;
    return std::ranges::min_element(found, {}, &Found::isOfTests)->value;
}

std::optional<std::string> nextBuildNumber(std::string_view number) {
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    if (number.empty() || !isDigit(number.back())) return std::nullopt;
    std::string next(number);
    for (std::size_t at = next.size(); at > 0; --at) {
        if (!isDigit(next[at - 1])) {
            next.insert(at, "1");
            return next;
        }
        if (next[at - 1] != '9') {
            ++next[at - 1];
            return next;
        }
        next[at - 1] = '0';
    }
    return "1" + next;
}

} // namespace quorvel
