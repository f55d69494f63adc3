#include "Platform/files/Files.h"
#include "Platform/files/Home.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace quorvel {
namespace {

namespace fs = std::filesystem;
using test::modeOf;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    const auto entries = listFolder(folder);
    for (const FolderEntry& entry : entries.value())
        names.push_back(entry.name);
    return names;
}

void put(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// The error number of what `operation` throws; 0 when it throws nothing.
template <typename Operation>
int errorOf(Operation operation, const std::string& part = "") {
    try {
        operation();
        return 0;
    } catch (const FileError& error) {
        EXPECT_THAT(error.what(), HasSubstr(part));
        EXPECT_FALSE(error.path().empty());
        return error.errorNumber() == 0 ? -1 : error.errorNumber();
    }
}

// Runs `body` in a child process; its exit status.
template <typename Body>
int inChild(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            body();
            ::_exit(0);
        } catch (...) {
            ::_exit(99);
        }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

TEST(Files, readWholeFilesOfAnyBytes) {
    const TemporaryFolder folder;
    std::string bytes;
    for (int count = 0; count < 300000; ++count)
        bytes.push_back(static_cast<char>(count * 7 + count / 256));
    for (const std::string& content : {std::string(), std::string("\0\r\n\xFF", 4), bytes}) {
        put(folder / "file", content);
        EXPECT_EQ(readFile(folder / "file"), content);
        EXPECT_EQ(readFile(folder / "file", content.size()), content);
        if (content.empty()) continue;
        EXPECT_EQ(errorOf([&] { static_cast<void>(readFile(folder / "file", content.size() - 1)); }), EFBIG);
    }
    EXPECT_EQ(readFile(folder / "missing"), std::nullopt);
    EXPECT_EQ(readFile(folder / "missing" / "file"), std::nullopt);
    fs::create_symlink("nowhere", folder / "dangling");
    EXPECT_EQ(readFile(folder / "dangling"), std::nullopt);
#ifdef __linux__
    EXPECT_FALSE(readFile("/proc/self/status").value().empty()); // says that it holds 0 bytes
    EXPECT_EQ(errorOf([] { static_cast<void>(readFile("/proc/self/status", 10)); }), EFBIG);
#endif
}

TEST(Files, refuseToReadWhatIsNoFileOrTooLarge) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    put(folder / "huge", "");
    fs::resize_file(folder / "huge", 100 << 20); // sparse: reading it would cost memory, not disk
    fs::create_symlink("loop", folder / "loop");
    put(folder / "new\nline", "");

    const auto read = [](const fs::path& path) { return [path] { static_cast<void>(readFile(path)); }; };
    EXPECT_EQ(errorOf(read(folder / "folder"), "folder: cannot be read: Is a directory"), EISDIR);
    EXPECT_EQ(errorOf(read(folder / "fifo"), "fifo: cannot be read, as it is no regular file"), -1);
    EXPECT_EQ(errorOf(read("/dev/null")), -1);
    EXPECT_EQ(errorOf(read(folder / "huge"), "more than 67108864 bytes"), EFBIG);
    EXPECT_EQ(errorOf(read(folder / "loop")), ELOOP);
    EXPECT_EQ(errorOf(read(folder / "new\nline" / "below"), "new\\nline/below: cannot be read: Not a dir"),
              ENOTDIR);
    EXPECT_EQ(errorOf(read(folder / std::string("huge\0.txt", 9)), "huge\\x00.txt"), EINVAL);
    // The limit holds before any byte is read: a process with little memory can ask.
    EXPECT_EQ(inChild([&] {
                  const rlimit little{32 << 20, 32 << 20};
                  ::setrlimit(RLIMIT_DATA, &little);
                  ::_exit(errorOf(read(folder / "huge")) == EFBIG ? 0 : 1);
              }),
              0);
}

TEST(AtomicWrite, makesAndReplacesFilesWithTheirModes) {
    const TemporaryFolder folder;
    const mode_t mask = ::umask(022);
    const fs::path file = folder / "file";
    writeFileAtomically(file, "one");
    EXPECT_EQ(readFile(file), "one");
    EXPECT_EQ(modeOf(file), 0644U);
    ::chmod(file.c_str(), 0750);
    writeFileAtomically(file, std::string("two\0", 4));
    EXPECT_EQ(readFile(file), std::string("two\0", 4));
    EXPECT_EQ(modeOf(file), 0750U);
    writeFileAtomically(file, "three", FileMode::secret);
    EXPECT_EQ(modeOf(file), 0600U);
    writeFileAtomically(file, "");
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(modeOf(file), 0600U); // what was secret stays so
    ::umask(077);
    writeFileAtomically(folder / "private", "x");
    EXPECT_EQ(modeOf(folder / "private"), 0600U);
    ::umask(0);
    writeFileAtomically(folder / "secret", "x", FileMode::secret);
    EXPECT_EQ(modeOf(folder / "secret"), 0600U);
    ::umask(mask);
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("file", "private", "secret"));

    const std::string longName(255, 'n');
    writeFileAtomically(folder / longName, "long");
    writeFileAtomically(folder / longName, "longer");
    EXPECT_EQ(readFile(folder / longName), "longer");
    EXPECT_EQ(namesIn(folder.path()).size(), 4U);

    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    writeFileAtomically("relative", "x");
    fs::current_path(before);
    EXPECT_EQ(readFile(folder / "relative"), "x");
}

TEST(AtomicWrite, followsLinksToTheirTarget) {
    const TemporaryFolder folder;
    fs::create_directories(folder / "real" / "deep");
    put(folder / "real" / "deep" / "file", "old");
    fs::create_symlink("deep/file", folder / "real" / "second");
    fs::create_symlink("real/second", folder / "first");
    writeFileAtomically(folder / "first", "new");
    EXPECT_EQ(readFile(folder / "real" / "deep" / "file"), "new");
    EXPECT_TRUE(fs::is_symlink(folder / "first") && fs::is_symlink(folder / "real" / "second"));

    fs::create_symlink(folder / "real" / "absent", folder / "dangling");
    writeFileAtomically(folder / "dangling", "made");
    EXPECT_EQ(readFile(folder / "real" / "absent"), "made");
    EXPECT_TRUE(fs::is_symlink(folder / "dangling"));

    fs::create_symlink("loop", folder / "loop");
    EXPECT_EQ(errorOf([&] { writeFileAtomically(folder / "loop", "x"); }), ELOOP);
    fs::create_symlink("gone/file", folder / "nowhere");
    EXPECT_EQ(errorOf([&] { writeFileAtomically(folder / "nowhere", "x"); }), ENOENT);
    EXPECT_THAT(namesIn(folder / "real"), ElementsAre("absent", "deep", "second"));
}

TEST(AtomicWrite, replacesAFileOnlyWhileItHoldsWhatIsExpected) {
    const TemporaryFolder folder;
    EXPECT_TRUE(replaceFile(folder / "a", std::nullopt, "one"));
    EXPECT_FALSE(replaceFile(folder / "a", std::nullopt, "two"));
    EXPECT_FALSE(replaceFile(folder / "a", "other", "two"));
    EXPECT_EQ(readFile(folder / "a"), "one");
    EXPECT_TRUE(replaceFile(folder / "a", "one", "two"));
    EXPECT_EQ(readFile(folder / "a"), "two");
    EXPECT_FALSE(replaceFile(folder / "gone", "one", "two"));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("a"));
}

TEST(AtomicWrite, leavesEverythingAsItWasWhenItFails) {
    const TemporaryFolder folder;
    put(folder / "file", "old");
    fs::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    const auto write = [&](const fs::path& name) {
        return [path = folder / name] { writeFileAtomically(path, std::string(100000, 'x')); };
    };
    EXPECT_EQ(errorOf(write("missing/file"), "missing/file: cannot be written: No such file"), ENOENT);
    EXPECT_EQ(errorOf(write("file/below")), ENOTDIR);
    EXPECT_EQ(errorOf(write("folder")), EISDIR);
    EXPECT_EQ(errorOf(write("folder/")), EISDIR);
    EXPECT_EQ(errorOf(write("fifo"), "no regular file"), -1);
    EXPECT_EQ(errorOf(write(std::string(256, 'n'))), ENAMETOOLONG);
    EXPECT_EQ(errorOf(write(std::string("a\0b", 3))), EINVAL);
    // A full disk: the process may write so many bytes only.
    EXPECT_EQ(inChild([&] {
                  ::signal(SIGXFSZ, SIG_IGN);
                  const rlimit small{50000, 50000};
                  ::setrlimit(RLIMIT_FSIZE, &small);
                  ::_exit(errorOf(write("file")) == EFBIG && errorOf(write("fresh")) == EFBIG ? 0 : 1);
              }),
              0);
    // A folder that cannot be written to, as an ordinary user sees it.
    EXPECT_EQ(inChild([&] {
                  ::chmod(folder.path().c_str(), 0555);
                  if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(2);
                  ::_exit(errorOf(write("file")) == EACCES && errorOf(write("fresh")) == EACCES ? 0 : 1);
              }),
              0);
    ::chmod(folder.path().c_str(), 0755);
    EXPECT_EQ(readFile(folder / "file"), "old");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("fifo", "file", "folder"));
}

TEST(AtomicWrite, survivesBeingKilledAtAnyMoment) {
    const TemporaryFolder folder;
    const fs::path file = folder / "file";
    const auto version = [](int number) {
        return std::string(1 << 20, static_cast<char>('a' + number % 26));
    };
    put(file, version(0));
    const auto isWhole = [&] {
        const std::string bytes = readFile(file).value();
        return bytes.size() == 1 << 20 && bytes == version(bytes.front() - 'a');
    };
    int leftovers = 0;
    for (int round = 0; round < 100; ++round) {
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        ::chmod(file.c_str(), 0644);
        const pid_t child = ::fork();
        if (child == 0) {
            for (int number = 1;; ++number) {
                if (::write(pipe[1], "x", 1) != 1) ::_exit(1);
                writeFileAtomically(file, version(number), FileMode::secret);
            }
        }
        ::close(pipe[1]);
        // The reads see whole versions, and spread the kills over the time that a write takes.
        char byte = 0;
        for (int begun = 0; begun <= round % 3; ++begun)
            ASSERT_EQ(::read(pipe[0], &byte, 1), 1);
        for (int reads = 0; reads < round % 5; ++reads)
            ASSERT_TRUE(isWhole());
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        ::close(pipe[0]);
        ASSERT_TRUE(isWhole());
        const auto names = namesIn(folder.path());
        ASSERT_LE(names.size(), 2U); // leftovers do not pile up
        if (names.size() == 1) continue;
        ++leftovers;
        ASSERT_EQ(names.front().front(), '.');
        ASSERT_EQ(modeOf(folder / names.front()), 0600U); // nor were they ever for everybody
    }
    EXPECT_GT(leftovers, 0) << "no write was interrupted";
    writeFileAtomically(file, "last");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
}

TEST(AtomicWrite, removesWhatAKilledWriterLeftButNothingOfALiveOne) {
    const TemporaryFolder folder;
    const fs::path left = folder / ".tmp-quorvel-key";
    put(left, "half a secret");
    ::chmod(left.c_str(), 0666);
    const int reader = ::open(left.c_str(), O_RDONLY); // whoever opened it while it was readable
    writeFileAtomically(folder / "key", "the secret", FileMode::secret);
    char seen[32] = {};
    EXPECT_EQ(::read(reader, seen, sizeof seen), 13) << "a leftover was written to";
    ::close(reader);
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("key"));

    put(left, "being written");
    const int writer = ::open(left.c_str(), O_RDWR);
    ASSERT_EQ(::flock(writer, LOCK_EX), 0);
    writeFileAtomically(folder / "key", "second");
    EXPECT_EQ(readFile(left), "being written");
    ::close(writer);
    fs::remove(left);
    fs::create_symlink("victim", left);
    put(folder / "victim", "untouched");
    writeFileAtomically(folder / "key", "third");
    EXPECT_EQ(readFile(folder / "victim"), "untouched");
    EXPECT_EQ(readFile(folder / "key"), "third");
}

TEST(AtomicWrite, takesManyWritersOfOneFile) {
    const TemporaryFolder folder;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 6; ++thread)
        threads.emplace_back([&, text = std::string(50000, static_cast<char>('a' + thread))] {
            for (int round = 0; round < 40; ++round)
                writeFileAtomically(folder / "file", text);
        });
    for (std::thread& thread : threads)
        thread.join();
    const std::string last = readFile(folder / "file").value();
    EXPECT_EQ(last, std::string(50000, last.at(0)));
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
}

TEST(Folders, areMadeWithParentsAndListedInOrder) {
    const TemporaryFolder folder;
    const mode_t mask = ::umask(022);
    fs::create_directory(folder / "open");
    createFolders(folder / "open" / "a" / "b", FolderMode::secret);
    createFolders(folder / "open" / "c/");
    createFolders(folder / "open" / "c" / "." / "d");
    createFolders(folder / "open", FolderMode::secret);
    createFolders("");
    ::umask(mask);
    EXPECT_EQ(modeOf(folder / "open"), 0755U);
    EXPECT_EQ(modeOf(folder / "open" / "a"), 0700U);
    EXPECT_EQ(modeOf(folder / "open" / "a" / "b"), 0700U);
    EXPECT_EQ(modeOf(folder / "open" / "c" / "d"), 0755U);

    put(folder / "Z", "");
    put(folder / ".hidden", "");
    fs::create_symlink("open", folder / "link");
    ASSERT_EQ(::mkfifo((folder / "é").c_str(), 0600), 0);
    using Kind = FolderEntry::Kind;
    EXPECT_THAT(listFolder(folder.path()).value(),
                ElementsAre(FolderEntry{".hidden", Kind::file}, FolderEntry{"Z", Kind::file},
                            FolderEntry{"link", Kind::link}, FolderEntry{"open", Kind::folder},
                            FolderEntry{"é", Kind::other}));
    EXPECT_EQ(listFolder(folder / "missing"), std::nullopt);
    EXPECT_EQ(errorOf([&] { static_cast<void>(listFolder(folder / "Z")); }, "Z: cannot be listed"), ENOTDIR);
    EXPECT_EQ(errorOf([&] { createFolders(folder / "Z"); }), ENOTDIR);
    EXPECT_EQ(errorOf([&] { createFolders(folder / "Z" / "below"); }), ENOTDIR);

    EXPECT_TRUE(removeFile(folder / "link")); // the link, not the folder
    EXPECT_FALSE(removeFile(folder / "link"));
    EXPECT_NE(errorOf([&] { removeFile(folder / "open"); }, "open: cannot be removed"), 0);
    EXPECT_TRUE(fs::is_directory(folder / "open"));
}

TEST(Folders, areNoticedWhenMovedOrReplaced) {
    const TemporaryFolder folder;
    createFolders(folder / "a");
    const auto identity = fileIdentity(folder / "a");
    ASSERT_TRUE(identity);
    fs::create_symlink("a", folder / "link");
    EXPECT_EQ(fileIdentity(folder / "link"), identity);
    fs::rename(folder / "a", folder / "b");
    EXPECT_EQ(fileIdentity(folder / "a"), std::nullopt);
    EXPECT_EQ(fileIdentity(folder / "b"), identity);
    createFolders(folder / "a");
    EXPECT_NE(fileIdentity(folder / "a"), identity);
}

TEST(Names, fromOutsideAreChecked) {
    for (const std::string& good :
         {std::string("de-DE"), std::string("AuthKey_1.p8"), std::string("日本語.png"), std::string("a b"),
          std::string("a..b"), std::string(255, 'x')})
        EXPECT_TRUE(isSafeName(good)) << good;
    for (const std::string& bad :
         {std::string(), std::string("."), std::string(".."), std::string(".hidden"), std::string("a/b"),
          std::string("/"), std::string("..\\x"), std::string("a\0b", 3), std::string("a\nb"),
          std::string("\x7F"), std::string("\u0085"), std::string("a\xFF"), std::string("\xC3"),
          std::string(256, 'x')})
        EXPECT_FALSE(isSafeName(bad)) << testing::PrintToString(bad);
}

TEST(Home, isTheEnvironmentsOrTheSystems) {
    const char* before = std::getenv("HOME");
    const std::string kept = before ? before : "";
    ::setenv("HOME", "/somewhere", 1);
    EXPECT_EQ(Home::ofUser().preferences(), "/somewhere/Library/Preferences");
    for (const char* unusable : {"", "relative"}) {
        ::setenv("HOME", unusable, 1);
        EXPECT_TRUE(Home::ofUser().root.is_absolute());
    }
    if (before)
        ::setenv("HOME", kept.c_str(), 1);
    else
        ::unsetenv("HOME");
}

} // namespace
} // namespace quorvel
