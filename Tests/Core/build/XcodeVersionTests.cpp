#include "Core/build/ProjectSettings.h"
#include "Core/build/XcodeVersionBumper.h"
#include "Tests/support/DeveloperTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {

namespace {

using test::DeveloperTools;
using testing::ElementsAre;
using testing::HasSubstr;

template <typename Work>
std::string errorOf(Work&& work) {
    try {
        work();
    } catch (const XcodeVersionError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(ProjectSettings, areFoundAndChangedInEveryFormAndNothingElseIs) {
    struct Case {
        const char* what;
        std::string before;
        std::optional<std::string> read;
        std::string after; // with VERSION = 2.0
    };
    const Case cases[] = {
        {"plain", "a\n\tVERSION = 1.0;\nb", "1.0", "a\n\tVERSION = 2.0;\nb"},
        {"quoted", "VERSION = \"1.0 beta\";", "1.0 beta", "VERSION = 2.0;"},
        {"line ends of other systems", "VERSION = 1.0;\r\nx\r\n", "1.0", "VERSION = 2.0;\r\nx\r\n"},
        {"odd blanks", "VERSION=1.0 ;", "1.0", "VERSION = 2.0;"},
        {"several", "VERSION = 1;VERSION = 3;", "1", "VERSION = 2.0;VERSION = 2.0;"},
        {"a longer key", "MY_VERSION = 1; VERSION_INFO = 2;", {}, "MY_VERSION = 1; VERSION_INFO = 2;"},
        {"a condition", "\"VERSION[sdk=iphoneos*]\" = 1;", {}, "\"VERSION[sdk=iphoneos*]\" = 1;"},
        {"a reference, and one that is none", "VERSION = \"$(OTHER)\";\nVERSION = 4;", "4",
         "VERSION = 2.0;\nVERSION = 2.0;"},
        {"no end", "VERSION = 1", {}, "VERSION = 1"},
        {"tests first", "{ TEST_HOST = x; VERSION = 9; };\n{ VERSION = 4; };", "4",
         "{ TEST_HOST = x; VERSION = 2.0; };\n{ VERSION = 2.0; };"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(settingIn(one.before, "VERSION"), one.read) << one.what;
        EXPECT_EQ(withSetting(one.before, "VERSION", "2.0"), one.after) << one.what;
    }
    EXPECT_EQ(withSetting("K = 1;", "K", "1.0-beta"), "K = \"1.0-beta\";");
    const std::string large = std::string(10 << 20, 'x') + "\nVERSION = 1;\n";
    EXPECT_EQ(withSetting(large, "VERSION", "22").size(), large.size() + 1);
}

TEST(XcodeVersionBumper, editsTheProjectWhereAgvtoolDoesNotApply) {
    const DeveloperTools tools(QUORVEL_XCRUN);
    const XcodeVersionBumper bumper(tools.project(), tools.xcrun());
    EXPECT_EQ(bumper.marketingVersion(), "1.2");
    EXPECT_EQ(bumper.buildNumber(), "7");
    EXPECT_EQ(bumper.bumpBuildNumber(), "8");
    bumper.setBuildNumber("2026.1");
    bumper.setMarketingVersion("1.3");
    const std::string text = *readFile(tools.projectFile());
    EXPECT_EQ(settingsIn(text, "CURRENT_PROJECT_VERSION").size(), 2U);
    for (const ProjectSetting& setting : settingsIn(text, "CURRENT_PROJECT_VERSION"))
        EXPECT_EQ(setting.value, "2026.1");
    EXPECT_EQ(bumper.marketingVersion(), "1.3");
}

TEST(XcodeVersionBumper, usesAgvtoolWhereItAppliesAndKeepsReferencesInPropertyLists) {
    const DeveloperTools tools(QUORVEL_XCRUN);
    tools.setProject("1.2", "41", "apple-generic");
    const XcodeVersionBumper bumper(tools.project(), tools.xcrun());
    EXPECT_EQ(bumper.bumpBuildNumber(), "42");
    EXPECT_THAT(tools.calls(), HasSubstr("agvtool\tnext-version\t-all\n"));
    bumper.setMarketingVersion("2.0");
    EXPECT_EQ(bumper.marketingVersion(), "2.0");
    EXPECT_THAT(tools.calls(), testing::Not(HasSubstr("new-marketing-version")));
}

TEST(XcodeVersionBumper, saysWhenItReplacesAReference) {
    const DeveloperTools tools(QUORVEL_XCRUN);
    tools.setProject("\"$(FLUTTER_BUILD_NAME)\"", "7");
    std::vector<std::string> told;
    const XcodeVersionBumper bumper(tools.project(), tools.xcrun(),
                                    [&](const std::string& line) { told.push_back(line); });
    bumper.setMarketingVersion("3.0");
    EXPECT_THAT(told,
                ElementsAre("MARKETING_VERSION was the reference $(FLUTTER_BUILD_NAME) and is now 3.0."));
}

TEST(XcodeVersionBumper, restoresTheProjectWhenTheToolReadsAnotherNumber) {
    const DeveloperTools tools(QUORVEL_XCRUN);
    tools.behave(JSONValue::object(
        {{"agvtool",
          JSONValue::object({{"lines", JSONValue::array({"Current version of project App is: ", "    99"})},
                             {"exitCode", 0}})}}));
    const std::string before = *readFile(tools.projectFile());
    const XcodeVersionBumper bumper(tools.project(), tools.xcrun());
    EXPECT_THAT(errorOf([&] { bumper.setBuildNumber("12"); }),
                HasSubstr("After update, project still reports 99 instead of 12"));
    EXPECT_EQ(*readFile(tools.projectFile()), before);
}

TEST(XcodeVersionBumper, saysWhatIsMissing) {
    const DeveloperTools tools(QUORVEL_XCRUN);
    const auto bumperOf = [&](const std::string& name) {
        return XcodeVersionBumper(tools.folder() / name, tools.xcrun());
    };
    EXPECT_EQ(errorOf([&] { static_cast<void>(bumperOf("None.xcodeproj").buildNumber()); }),
              "Xcode project not found at " + (tools.folder() / "None.xcodeproj").string());
    std::filesystem::create_directories(tools.folder() / "Empty.xcodeproj");
    EXPECT_THAT(errorOf([&] { bumperOf("Empty.xcodeproj").setBuildNumber("3"); }),
                HasSubstr("couldn't locate project.pbxproj for fallback build-number set"));
    writeFileAtomically(tools.folder() / "Empty.xcodeproj" / "project.pbxproj", "{ NAME = x; }");
    EXPECT_THAT(errorOf([&] { bumperOf("Empty.xcodeproj").setMarketingVersion("3"); }),
                HasSubstr("MARKETING_VERSION not found in project.pbxproj — the version may be hardcoded"));
    tools.behave(JSONValue::object(
        {{"agvtool", JSONValue::object({{"errors", JSONValue::array({"disk trouble"})}, {"exitCode", 4}})}}));
    EXPECT_EQ(errorOf([&] { static_cast<void>(bumperOf("Garden App.xcodeproj").buildNumber()); }),
              "agvtool failed: disk trouble");
    std::filesystem::create_directories(tools.folder() / "Garden App.xcworkspace");
    tools.behave(JSONValue::object());
    EXPECT_EQ(bumperOf("Garden App.xcworkspace").buildNumber(), "7")
        << "of the project with the workspace's name";
}

} // namespace quorvel
