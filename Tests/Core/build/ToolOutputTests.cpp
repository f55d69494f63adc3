#include "Core/build/AltoolVerdict.h"
#include "Core/build/BuildError.h"
#include "Core/build/SchemeList.h"
#include "Core/build/ToolOutput.h"
#include "Core/build/XcodeVersionBumper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvel {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(AltoolVerdict, readsEveryFormOfTheToolsAnswer) {
    struct Case {
        const char* what;
        std::string output;
        std::string errors;
        std::optional<std::string> failure;
    };
    const Case cases[] = {
        {"a success",
         R"({"tool-version":"8.3","success-message":"No errors uploading archive at '/a/B.ipa'."})",
         "",
         {}},
        {"a success with warnings",
         R"({"success-message":"No errors, 2 warnings","warnings":[{"code":-19237}]})",
         "",
         {}},
        {"nothing", "", "", {}},
        {"the older spelling",
         R"({"productErrors":[{"code":-1,"userInfo":{"detail":"The version is taken."}}]})", "",
         "The version is taken."},
        {"the newer spelling, several lines, text after it",
         "{\n\t\"product-errors\" : [\n{\"code\":409,\"message\":\"Validation failed\",\n"
         "\"user-info\":{\"NSLocalizedFailureReason\":\"Upload limit reached.\"}}]\n}\n\t\tdone {",
         "", "Upload limit reached."},
        {"a title", R"({"productErrors":[{"message":"m","userInfo":{"title":"Invalid Bundle"}}]})", "",
         "Invalid Bundle"},
        {"a message", R"({"productErrors":[{"message":"Unable to authenticate."}]})", "",
         "Unable to authenticate."},
        {"the first of several", R"({"productErrors":[{"message":"one"},{"message":"two"}]})", "", "one"},
        {"a code only", R"({"productErrors":[{"code":90186}]})", "", "altool reported an error (code 90186)"},
        {"nothing but an error", R"({"productErrors":[{}]})", "", "altool reported an error (code -1)"},
        {"no error in the list", R"({"productErrors":[]})", "", {}},
        {"braces in a log before it", "DEBUG: UserInfo={status=409, source={ pointer }}",
         R"({"product-errors":[{"message":"On the other pipe: \"}\" \\"}]})", "On the other pipe: \"}\" \\"},
        {"an answer cut short", R"({"productErrors":[{"message":"half)", "", {}},
        {"a banner before the JSON",
         "Running altool at path '/a/altool'...\nERROR: option '-' is unknown: ignored\n====\n"
         "UPLOAD FAILED with 1 error\n====\n{\"product-errors\":[{\"code\":409,\"message\":\"Validation "
         "failed\",\"underlying-errors\":[{\"code\":-19241}],\"user-info\":{\"NSLocalizedDescription\":\"Validation "
         "failed\"}}]}\n\t",
         "", "Validation failed"},
        {"a verbose success",
         "DEBUG: request { body = { a = 1; } }\nERROR: option '-' is unknown: ignored\n==\nUPLOAD SUCCEEDED with 0 "
         "warnings\n==\n{\"details\":{\"transferred\":\"1 bytes\"},\"success-message\":\"No errors\"}",
         "",
         {}},
        {"words in any case", "step 1\nUpload Failed\nfor a reason", "",
         "altool reported UPLOAD FAILED.\nstep 1\nUpload Failed\nfor a reason"},
    };
    for (const Case& one : cases)
        EXPECT_EQ(uploadFailureIn(one.output, one.errors), one.failure) << one.what;
    std::string many = "UPLOAD FAILED\n";
    for (int line = 1; line <= 60; ++line)
        many += "line " + std::to_string(line) + "\n";
    const std::string failure = *uploadFailureIn(many, "");
    EXPECT_TRUE(failure.starts_with("altool reported UPLOAD FAILED.\nline 21\n")) << failure.substr(0, 80);
    EXPECT_TRUE(failure.ends_with("\nline 60"));
}

TEST(SchemeList, readsListingsWithAndWithoutAHeading) {
    EXPECT_THAT(
        schemesIn(
            "Information about project \"Runner\":\n    Targets:\n        Runner\n\n"
            "    If no build configuration is specified and -scheme is not passed then \"Release\" is used.\n\n"
            "    Schemes:\n        Free\n        Paid App\n\n        not one\n"),
        ElementsAre("Free", "Paid App"));
    EXPECT_THAT(schemesIn("Targets:\n    A\n\nBuild Configurations:\n    Debug\n\nSchemes:\n    Player"),
                ElementsAre("Player"));
    EXPECT_THAT(schemesIn("Schemes:\r\n    One\r\n    Other:\n    Two"), ElementsAre("One"));
    EXPECT_THAT(schemesIn("There are no schemes in workspace \"Empty\".\n"), IsEmpty());
}

TEST(BuildError, putsTheCausesFirstEachOnce) {
    const std::string output =
        "CompileSwift normal arm64\n/a/Main.swift:3:7: error: cannot find 'x' in scope\n"
        "note: something\n/a/Main.swift:3:7: error: cannot find 'x' in scope\n"
        "error: exportArchive: No profiles for 'org.example.app' were found\n"
        "Error Domain=IDEProfileLocatorErrorDomain Code=1 \"No profiles for 'org.example.app' were found\"\n"
        "** EXPORT FAILED **\n";
    EXPECT_THAT(causesIn(output),
                ElementsAre("/a/Main.swift:3:7: error: cannot find 'x' in scope",
                            "error: exportArchive: No profiles for 'org.example.app' were found"));
    EXPECT_THAT(
        causesIn("Undefined symbols for architecture arm64:\nld: symbol(s) not found\nclang: error: linker "
                 "command failed with exit code 1\n/a/Pods.xcodeproj: error: Signing for \"X\" requires a "
                 "development team. Select one.\n** ARCHIVE FAILED **\n"),
        ElementsAre(HasSubstr("Undefined symbols"), HasSubstr("linker command failed"),
                    HasSubstr("requires a development team")));
    const std::string text = BuildError::commandFailed(BuildStage::exporting, 70, output).what();
    EXPECT_TRUE(
        text.starts_with("The build failed while exporting (exit code 70).\n/a/Main.swift:3:7: error:"))
        << text;
    EXPECT_THAT(text, HasSubstr("** EXPORT FAILED **"));
    EXPECT_EQ(BuildError::commandFailed(BuildStage::archiving, 1, "only\nthis\n").what(),
              std::string("The build failed while archiving (exit code 1).\nonly\nthis"));
}

TEST(VersionAnswers, areReadInTheFormsThatAgvtoolPrints) {
    EXPECT_EQ(buildNumberIn("Current version of project App is: \n    54\n\n"), "54");
    EXPECT_EQ(buildNumberIn("54\n"), "54");
    EXPECT_EQ(buildNumberIn(""), std::nullopt);
    EXPECT_EQ(marketingVersionIn(
                  "No marketing version number (CFBundleShortVersionString) found for App targets.\n\n"
                  "Looking for marketing version in native targets...\n\n"
                  "Found CFBundleShortVersionString of \"1.0\" in \"App.xcodeproj/../AppTests/Info.plist\" \n"
                  "Found CFBundleShortVersionString of \"$(MARKETING_VERSION)\" in "
                  "\"App.xcodeproj/../App/Info.plist\" \n"),
              "$(MARKETING_VERSION)");
    EXPECT_EQ(marketingVersionIn("No marketing version number found\n"), std::nullopt);
    EXPECT_EQ(nextBuildNumber("9"), "10");
    EXPECT_EQ(nextBuildNumber("1.2.9"), "1.2.10");
    EXPECT_EQ(nextBuildNumber("2026.11.099"), "2026.11.100");
    EXPECT_EQ(nextBuildNumber("$(NUMBER)"), std::nullopt);
}

} // namespace quorvel
