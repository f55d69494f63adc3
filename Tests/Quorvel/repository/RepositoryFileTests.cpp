#include "Quorvel/repository/RepositoryFile.h"

#include "Platform/files/Files.h"
#include "Quorvel/repository/RepositoryParts.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using quorvel::test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::string problemOf(std::string_view text) {
    try {
        (void)parseRepositoryFile(text, "/home/ann/quorvel.toml");
    } catch (const RepositoryFileError& error) {
        return std::string(error.what()) + " | " + error.advice();
    }
    return "none";
}

void put(const std::filesystem::path& file, std::string_view text = "x") {
    createFolders(file.parent_path());
    writeFileAtomically(file, text);
}

} // namespace

TEST(RepositoryFile, takesPathsFromItsOwnFolder) {
    const auto read = parseRepositoryFile("# ours\napp = \"com.example.app\"\ntree = 'texts/store/'\n"
                                          "platform = \"macos\"\nscreenshots = \"../pictures\"\n"
                                          "project = \"/src/App.xcodeproj\"\n",
                                          "/home/ann/repository/quorvel.toml");
    EXPECT_EQ(read, (RepositoryFile{.file = "/home/ann/repository/quorvel.toml",
                                    .app = "com.example.app",
                                    .tree = "/home/ann/repository/texts/store",
                                    .context = "macos/next",
                                    .screenshots = "/home/ann/pictures",
                                    .project = "/src/App.xcodeproj"}));
}

TEST(RepositoryFile, saysWhereItCannotBeUsedAndWhatHelps) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"app = \"a.b\"\ntre = \"x\"",
         "/home/ann/quorvel.toml:2:1: \"tre\" is no key of this file | Did you mean tree?"},
        {"app = \"a.b\"\n[tree]\nx = 1", "quorvel.toml:2:1: tree is no text"},
        {"app = \"a.b\"\nplatform = \"iso\"",
         "quorvel.toml:2:12: \"iso\" is no platform | A platform is ios"},
        {"app = \"a.b\"\ncontext = \"ios\"", "quorvel.toml:2:11: \"ios\" is no context"},
        {"app = \"a.b\"\nplatform = \"ios\"\ncontext = \"ios/next\"",
         "platform and context exclude each other"},
        {"app = \"a.b\"\ntree = \"  \"", "quorvel.toml:2:8: tree is empty"},
        {"app = \"a.b\"\ntree = \"a\\u0000b\"", "tree is no path"},
        {"app = \"a.b\"\nprivate_key = \"x\"", "Keys and passwords never belong into this file"},
        {"app = \"a.b\"\napp = \"c.d\"", "quorvel.toml:2:"},
        {"app = \"a.b\ntree = \"x\"", "quorvel.toml:1:"},
        {"tree = \"x\"", "names no app"},
        {"\xff\xfe", "quorvel.toml:1:"},
        {"app = \"a.b\"\né = 1", "quorvel.toml:2:"},
        {"app = \"a.b\"\nü", "quorvel.toml:2:"},
        {"app = \"a.b\"\n[^x]", "quorvel.toml:2:"},
        {"app = \"a.b\"\n[[@x]]", "quorvel.toml:2:"},
    };
    for (const auto& [text, problem] : cases)
        EXPECT_THAT(problemOf(text), HasSubstr(std::string(problem))) << text;
    EXPECT_THAT(problemOf("app = \"a.b\"\nprivate_key = \"MIGT\""), testing::Not(HasSubstr("MIGT")));
}

TEST(RepositoryFile, isFoundUpwardsButNotAboveTheRepositoryOrTheHome) {
    const TemporaryFolder folder;
    const auto at = [&](std::string_view path) { return folder.path() / path; };
    put(at("quorvel.toml"), "app = \"above.home\"");
    put(at("home/project/quorvel.toml"), "app = \"a.b\"");
    createFolders(at("home/project/.git"));
    createFolders(at("home/project/deep/er"));
    createFolders(at("home/project/modules/other/src"));
    put(at("home/project/modules/other/.git"), "gitdir: elsewhere"); // another repository inside
    createFolders(at("home/elsewhere"));
    const auto found = [&](std::string_view start) { return findRepositoryFile(at(start), at("home")); };
    EXPECT_EQ(found("home/project"), at("home/project/quorvel.toml"));
    EXPECT_EQ(found("home/project/deep/er"), at("home/project/quorvel.toml"));
    EXPECT_EQ(found("home/project/modules/other/src"), std::nullopt);
    EXPECT_EQ(found("home/elsewhere"), std::nullopt);
    std::filesystem::create_symlink("nowhere", at("home/elsewhere/quorvel.toml"));
    EXPECT_THROW((void)loadRepositoryFile(at("home/elsewhere"), at("home")), RepositoryFileError);
}

TEST(RepositoryFile, isWrittenSoThatItReadsTheSame) {
    const RepositoryFile bare{.file = "/home/ann/quorvel.toml", .app = "a.b"};
    const RepositoryFile whole{.file = "/home/ann/quorvel.toml",
                               .app = "a.b",
                               .tree = "/home/ann/te\"xts\\ü\t",
                               .context = "tvos/live",
                               .screenshots = "/elsewhere/screenshots",
                               .project = "/home/ann/App.xcworkspace"};
    const RepositoryFile next{.file = "/home/ann/quorvel.toml", .app = "a.b", .context = "macos/next"};
    for (const RepositoryFile& content : {bare, whole, next})
        EXPECT_EQ(parseRepositoryFile(repositoryFileText(content), content.file), content)
            << repositoryFileText(content);
    EXPECT_THAT(repositoryFileText(whole), HasSubstr("project = \"App.xcworkspace\""));
}

TEST(RepositoryParts, areTreesPicturesAndProjectsOfTheRepositoryItself) {
    const TemporaryFolder folder;
    for (const auto* file : {"release/metadata/de-DE/description.txt", "release/screenshots/de-DE/1.png",
                             "own/ios/next/ja/name.txt", "own/macos/next/ja/name.txt", "notes/fr/letter.txt",
                             "Pods/metadata/de-DE/description.txt", ".hidden/metadata/de-DE/description.txt",
                             "App.xcodeproj/project.pbxproj", "App.xcworkspace/contents.xcworkspacedata",
                             "tools/Tool.xcodeproj/project.pbxproj"})
        put(folder / file);
    const RepositoryParts parts = findRepositoryParts(folder.path());
    const auto at = [&](std::string_view path) { return (folder.path() / path).string(); };
    EXPECT_THAT(parts.trees, testing::UnorderedElementsAre(at("release/metadata"), at("own")));
    EXPECT_THAT(parts.screenshots, ElementsAre(at("release/screenshots")));
    EXPECT_THAT(parts.projects, ElementsAre(at("App.xcworkspace"), at("tools/Tool.xcodeproj")));
}
