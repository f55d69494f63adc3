#include "Core/asc/KeyVariables.h"
#include "Core/build/notes/CommitFilter.h"
#include "Core/build/notes/GitLogParser.h"
#include "Core/build/notes/VersionRangeResolver.h"
#include "Platform/files/Files.h"
#include "Tests/support/GitRepository.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace quorvel {

namespace {

using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Source = VersionRange::Source;

struct Repository : TemporaryFolder, test::GitRepository {
    Repository() : test::GitRepository(path()) {}
};

std::vector<std::string> subjectsOf(const std::vector<GitCommit>& commits) {
    std::vector<std::string> subjects;
    for (const GitCommit& commit : commits)
        subjects.push_back(commit.subject);
    return subjects;
}

std::string errorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const GitRepoError& error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(CommitFilter, classifiesByTheFirstRuleThatMatches) {
    const std::pair<const char*, CommitKind> cases[] = {
        {"Merge pull request #12 from x/y", CommitKind::merge},
        {"merge branch 'main'", CommitKind::merge},
        {"Merged by hand", CommitKind::other},
        {"feat(ui)!: new picker", CommitKind::feature},
        {"FEATURE: x", CommitKind::feature},
        {"bugfix : y", CommitKind::fix},
        {"perf!: z", CommitKind::performance},
        {"design(icons): softer", CommitKind::ux},
        {"doc: readme", CommitKind::docs},
        {"refactor: split", CommitKind::refactor},
        {"revert: that", CommitKind::chore},
        {"fixes typo", CommitKind::chore},
        {"Fixed a crash", CommitKind::fix},
        {"Add dependencies", CommitKind::chore},
        {"Prepare release 2.0", CommitKind::chore},
        {"WIP login", CommitKind::chore},
        {"Debugging aid", CommitKind::fix},
        {"Faster launch", CommitKind::performance},
        {"Add dark mode", CommitKind::feature},
        {"Introduce widgets", CommitKind::feature},
        {"unknown: add something", CommitKind::feature},
        {"Update readme", CommitKind::other},
        {"", CommitKind::other},
    };
    for (const auto& [subject, kind] : cases)
        EXPECT_EQ(CommitFilter::kindOf(subject), kind) << subject;
    EXPECT_FALSE(CommitFilter::classify({.subject = "chore: tidy"}).include);
    EXPECT_TRUE(CommitFilter::classify({.subject = "Something"}).include);
}

TEST(TagVersions, orderAsVersionsAndNotAsText) {
    const char* ascending[] = {"v0.9",      "1.2-beta.1", "1.2-beta.2", "release/1.2",   "1.2-3",
                               "v1.2.0+10", "1.10",       "7.157.0",    "ios/7.157.0-5", "2026.7.3"};
    for (std::size_t index = 1; index < std::size(ascending); ++index)
        EXPECT_LT(*versionOfTag(ascending[index - 1]), *versionOfTag(ascending[index])) << ascending[index];
    EXPECT_EQ(versionOfTag("V1.2.0"), versionOfTag("release/1.2"));
    for (const char* none : {"latest", "v", "2fast", "release/next", ""})
        EXPECT_EQ(versionOfTag(none), std::nullopt) << none;
}

TEST(VersionRangeResolver, startsAtThePriorVersionElseAtTheNewestTagElseAtTheStart) {
    Repository repository;
    const GitRepoReader reader;
    const VersionRangeResolver resolver(reader);
    const auto resolved = [&](const std::optional<std::string>& version) {
        return resolver.resolve(repository.root(), version);
    };
    EXPECT_EQ(resolved("1.0"), VersionRange{}) << "a repository without commits";
    EXPECT_THAT(reader.commits(repository.root(), resolved("1.0")), IsEmpty());
    repository.commit("one");
    EXPECT_EQ(resolved("1.0"), VersionRange{});
    repository.tag("v1.9");
    repository.tag("moving");
    repository.commit("two");
    repository.git({"tag", "--annotate", "release/1.10", "--message=ten"});
    repository.commit("three");
    repository.tag("1.10-7");
    repository.commit("four");
    repository.tag("2.0-rc.1");
    repository.tag("latest");
    repository.commit("five");
    EXPECT_EQ(resolved("2.0"), (VersionRange{"1.10-7", "HEAD", Source::priorVersionTag}));
    EXPECT_EQ(resolved("1.10"), (VersionRange{"v1.9", "HEAD", Source::priorVersionTag}));
    EXPECT_EQ(resolved("1.0").source, Source::mostRecentTag);
    EXPECT_EQ(resolved(std::nullopt).source, Source::mostRecentTag);
    EXPECT_THAT(subjectsOf(reader.commits(repository.root(), resolved("2.0"))), ElementsAre("five", "four"));
}

TEST(GitRepoReader, keepsWhatMessagesHold) {
    Repository repository;
    repository.commit("Subject only");
    repository.commit("Grüße 🌱\n\nA body\nof lines\x1f with\x1e separators\nand \"quotes\"\n");
    repository.git({"-c", "i18n.commitEncoding=ISO-8859-1", "commit", "--quiet", "--allow-empty", "--file=-"},
                   "Caf\xE9 latin");
    repository.commit("Broken \xFF byte");
    const auto commits = GitRepoReader().commits(repository.root(), {});
    ASSERT_EQ(commits.size(), 4U);
    EXPECT_EQ(commits[0].subject, "Broken ÿ byte") << "git reads it as Latin-1";
    EXPECT_EQ(commits[1].subject, "Café latin");
    EXPECT_EQ(commits[2].subject, "Grüße 🌱");
    EXPECT_THAT(commits[2].body, testing::StartsWith("A body\nof lines\x1f with"));
    EXPECT_THAT(commits[2].body, testing::EndsWith("separators\nand \"quotes\""));
    EXPECT_EQ(commits[3].body, "");
    EXPECT_EQ(commits[3].sha.size(), 40U);
    EXPECT_TRUE(commits[3].sha.starts_with(commits[3].shortSha));
    EXPECT_EQ(commits[3].authorDate, parseISO8601("2025-12-31T22:00:01Z"));
    EXPECT_THAT(GitRepoReader().commits(repository.root(), {}, 2), testing::SizeIs(2));
}

TEST(GitLogParser, readsRecordsInPiecesAndRepairsTheirTexts) {
    std::vector<GitCommit> commits;
    const std::function<void(GitCommit)> keep = [&](GitCommit commit) {
        commits.push_back(std::move(commit));
    };
    GitLogParser parser(keep);
    const std::string sha(40, 'a');
    for (const std::string& line : {sha + "\x1f"
                                          "aaa\x1fno date\x1fOne \xFF\x1f",
                                    std::string("body\x1e"),
                                    sha + "\x1f"
                                          "aaa\x1f\x1fTwo\x1f\x1e",
                                    std::string("trailing words")})
        parser.addLine(line);
    parser.finish();
    EXPECT_THAT(subjectsOf(commits), ElementsAre("One \xEF\xBF\xBD", "Two"));
    EXPECT_EQ(commits[0].body, "body");
    EXPECT_EQ(commits[0].authorDate, std::nullopt);
    EXPECT_EQ(commits[1].body, "trailing words") << "what begins no record belongs to the one before";
}

TEST(GitRepoReader, saysWhatItCannotRead) {
    Repository repository;
    repository.commit("one");
    const GitRepoReader reader;
    EXPECT_EQ(errorOf([&] {
                  static_cast<void>(reader.commits(repository.root(), {"v9", "HEAD", Source::given}));
              }),
              "git can't resolve the range 'v9..HEAD' — the tag or commit may not exist.");
    EXPECT_THAT(
        errorOf([&] {
            static_cast<void>(reader.commits(repository.root(), {"", "--output=/tmp/x", Source::given}));
        }),
        HasSubstr("can't resolve the range '--output=/tmp/x'"))
        << "a range is no option";
    const TemporaryFolder empty;
    EXPECT_EQ(errorOf([&] { static_cast<void>(reader.findRoot(empty.path())); }),
              "No git repository found at or above " + empty.path().string() +
                  ". Run `git init` to enable auto-notes.");
    EXPECT_EQ(
        errorOf([&] {
            static_cast<void>(GitRepoReader({{"/nowhere/git"}, "/nowhere/xcrun"}).findRoot(empty.path()));
        }),
        "git is not installed (or `xcrun git` failed). Install Xcode command-line tools.");
}

TEST(GitRepoReader, findsTheRootOfWorkTreesAndOfBareAndShallowClones) {
    Repository repository;
    repository.commit("one");
    repository.commit("two");
    const GitRepoReader reader;
    std::filesystem::create_directories(repository.root() / "ios" / "App");
    EXPECT_EQ(reader.findRoot(repository.root() / "ios" / "App"), repository.root());
    EXPECT_FALSE(reader.isShallow(repository.root()));
    const TemporaryFolder clones;
    const std::string source = "file://" + repository.root().string();
    repository.git({"clone", "--quiet", "--bare", source, (clones / "bare").string()});
    repository.git({"clone", "--quiet", "--depth=1", source, (clones / "shallow").string()});
    EXPECT_THAT(subjectsOf(reader.commits(reader.findRoot(clones / "bare"), {})), ElementsAre("two", "one"));
    EXPECT_TRUE(reader.isShallow(clones / "shallow"));
    EXPECT_THAT(subjectsOf(reader.commits(reader.findRoot(clones / "shallow"), {})), ElementsAre("two"));
}

TEST(GitRepoReader, runsNothingThatTheRepositoryNames) {
    Repository repository;
    repository.commit("one");
    const auto witness = repository.root() / "witness";
    const auto program = repository.root() / "program.sh";
    writeFileAtomically(program, "#!/bin/sh\ntouch '" + witness.string() + "'\nexit 1\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    for (const char* key : {"core.fsmonitor", "core.pager", "pager.log", "gpg.program", "diff.external",
                            "core.askPass", "core.sshCommand", "core.alternateRefsCommand",
                            "diff.notes.textconv", "diff.notes.command", "core.editor", "credential.helper"})
        repository.git({"config", key, program.string()});
    repository.git({"config", "log.showSignature", "true"});
    repository.git({"config", "alias.log", "!" + program.string()});
    repository.git({"config", "core.hooksPath", repository.root().string()});
    writeFileAtomically(repository.root() / ".gitattributes", "* diff=notes filter=notes\n");
    const GitRepoReader reader;
    EXPECT_THAT(subjectsOf(reader.commits(reader.findRoot(repository.root()), {})), ElementsAre("one"));
    EXPECT_THAT(reader.listTags(repository.root()), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(witness));
}

TEST(GitRepoReader, keepsTheTextOfAKeyFromItsChildren) {
    const TemporaryFolder folder;
    const auto program = folder / "git";
    writeFileAtomically(program, "#!/bin/sh\nenv > '" + (folder / "environment").string() + "'\npwd\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    for (const char* name : keyTextVariables)
        ::setenv(name, "KEY-TEXT", 1);
    (void)GitRepoReader({{program}, "/nowhere/xcrun"}).isShallow(folder.path());
    for (const char* name : keyTextVariables)
        ::unsetenv(name);
    const auto environment = readFile(folder / "environment");
    EXPECT_THAT(environment.value_or(""),
                testing::AllOf(HasSubstr("GIT_PAGER=cat"), testing::Not(HasSubstr("KEY-TEXT"))));
}

TEST(GitRepoReader, readsTheSameWhateverTheConfigurationSaysOfForms) {
    Repository repository;
    repository.commit("one");
    repository.tag("v1");
    repository.git({"tag", "--annotate", "release/1", "--message=several tags of one commit"});
    repository.tag("ios/1-2");
    const std::pair<const char*, const char*> settings[] = {
        {"column.ui", "always"},     {"tag.sort", "refname"},   {"format.pretty", "raw"},
        {"log.decorate", "full"},    {"log.date", "raw"},       {"log.diffMerges", "on"},
        {"log.showRoot", "true"},    {"color.ui", "always"},    {"i18n.logOutputEncoding", "UTF-16"},
        {"mailmap.file", "nowhere"}, {"log.mailmap", "true"},   {"core.quotePath", "false"},
        {"log.follow", "true"},      {"notes.displayRef", "*"}, {"diff.noprefix", "true"}};
    for (const auto& [key, value] : settings)
        repository.git({"config", key, value});
    repository.git({"notes", "add", "--message=a note", "HEAD"});
    const auto commits = GitRepoReader().commits(repository.root(), {});
    EXPECT_THAT(subjectsOf(commits), ElementsAre("one"));
    EXPECT_EQ(commits.at(0).body, "");
    EXPECT_THAT(GitRepoReader().listTags(repository.root()),
                testing::UnorderedElementsAre("v1", "release/1", "ios/1-2"));
}

TEST(GitRepoReader, leavesSomebodyElsesRepositoryAloneAndSaysSo) {
    Repository repository;
    repository.commit("one");
    const std::pair<const char*, const char*> variables[] = {{"GIT_TEST_ASSUME_DIFFERENT_OWNER", "1"},
                                                             {"GIT_CONFIG_GLOBAL", "/dev/null"},
                                                             {"GIT_CONFIG_SYSTEM", "/dev/null"}};
    for (const auto& [name, value] : variables)
        ::setenv(name, value, 1);
    EXPECT_THAT(errorOf([&] { static_cast<void>(GitRepoReader().findRoot(repository.root())); }),
                testing::AllOf(testing::StartsWith("git command failed: "), HasSubstr("safe.directory")));
    for (const auto& [name, value] : variables)
        ::unsetenv(name);
}

namespace {

// From here on, the most memory that this process takes is counted anew.
void forgetPeakMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

// In bytes.
std::size_t peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6)) << 10;
    return 0;
}

} // namespace

TEST(GitRepoReader, readsALongHistoryWithoutKeepingIt) {
    constexpr std::size_t count = 1000;
    constexpr std::size_t bodySize = 20 << 10;
    Repository repository;
    repository.commitMany(count, std::string(bodySize, 'x'));
    forgetPeakMemory();
    [[maybe_unused]] const std::size_t before = peakMemory();
    std::size_t kinds = 0;
    std::size_t bytes = 0;
    GitRepoReader().readCommits(
        repository.root(), {},
        [&](GitCommit commit) {
            bytes += commit.body.size();
            kinds += CommitFilter::classify(std::move(commit)).kind == CommitKind::other ? 1 : 0;
        },
        static_cast<std::int64_t>(count) + 1);
    EXPECT_EQ(kinds, count);
    EXPECT_EQ(bytes, count * bodySize);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(peakMemory() - before, bytes / 4); // sanitizers hold freed memory back
#endif
}

} // namespace quorvel
