// A stand-in xcrun with its script, and a small Xcode project, for one test.
#pragma once

#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Tests/support/TemporaryFolder.h"

#include <filesystem>
#include <string>

namespace quorvel::test {

/// Programs and a project in a folder of their own.
class DeveloperTools {
  public:
    explicit DeveloperTools(const std::filesystem::path& standIn) {
        std::filesystem::create_symlink(standIn, xcrun());
        std::filesystem::create_directories(project());
        setProject("1.2", "7");
    }

    [[nodiscard]] std::filesystem::path xcrun() const { return folder_ / "xcrun"; }
    [[nodiscard]] std::filesystem::path project() const { return folder_ / "Garden App.xcodeproj"; }
    [[nodiscard]] std::filesystem::path projectFile() const { return project() / "project.pbxproj"; }
    [[nodiscard]] std::filesystem::path workdir() const { return folder_ / "work"; }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path(); }

    void behave(const JSONValue& script) const {
        writeFileAtomically(folder_ / "tools.json", encodeJSON(script));
    }
    /// The command lines of the tools so far, a line each, their words separated by tabs.
    [[nodiscard]] std::string calls() const { return readFile(folder_ / "calls.log").value_or(""); }

    /// A project of an app and its tests; `versioning` "apple-generic" makes agvtool apply.
    void setProject(const std::string& version, const std::string& number,
                    const std::string& versioning = "") const {
        writeFileAtomically(
            projectFile(),
            "// !$*UTF8*$!\n{\n\t\tA1 /* Debug */ = {\n\t\t\tbuildSettings = {\n"
            "\t\t\t\tTEST_HOST = \"$(BUILT_PRODUCTS_DIR)/App\";\n"
            "\t\t\t\tCURRENT_PROJECT_VERSION = 1;\n\t\t\t\tMARKETING_VERSION = 9.9;\n"
            "\t\t\t};\n\t\t};\n\t\tB1 /* Release */ = {\n\t\t\tbuildSettings = {\n"
            "\t\t\t\tCURRENT_PROJECT_VERSION = " +
                number + ";\n\t\t\t\tMARKETING_VERSION = " + version +
                ";\n\t\t\t\tPRODUCT_BUNDLE_IDENTIFIER = org.example.garden;\n" +
                (versioning.empty() ? "" : "\t\t\t\tVERSIONING_SYSTEM = \"" + versioning + "\";\n") +
                "\t\t\t};\n\t\t};\n}\n");
    }

  private:
    TemporaryFolder folder_;
};

} // namespace quorvel::test
