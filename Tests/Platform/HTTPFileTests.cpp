#include "Platform/http/URLSession.h"
#include "Platform/task/Task.h"
#include "Tests/support/ScriptedServer.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <iterator>
#include <utility>

namespace quorvel::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = TransportError::Kind;
using Steps = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

void write(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> namesIn(const TemporaryFolder& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        names.push_back(entry.path().filename().string());
    return names;
}

template <typename Function>
std::string localFileError(Function&& function) {
    try {
        static_cast<void>(function());
        return "nothing was thrown";
    } catch (const TransportError& error) {
        EXPECT_EQ(error.kind(), Kind::localFile) << error.what();
        return error.what();
    }
}

void expectRising(const Steps& steps, std::uint64_t total) {
    ASSERT_FALSE(steps.empty());
    EXPECT_TRUE(std::ranges::is_sorted(steps));
    for (const auto& step : steps)
        EXPECT_EQ(step.second, total);
    EXPECT_EQ(steps.back().first, total);
}

TEST(URLSessionUpload, sendsOnlyTheSliceAndReportsProgress) {
    const TemporaryFolder folder;
    std::string bytes(3 << 20, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index)
        bytes[index] = static_cast<char>(index * 2654435761U >> 13);
    write(folder / "shot.png", bytes);
    // The first connection breaks after the whole body was sent, so that the slice has to be read twice.
    ScriptedServer server({{Receive{}}, {Receive{}, Send{answer("200 OK", "")}}});
    URLSession session;
    Steps steps;
    const auto response = session.send({.method = "PUT",
                                        .url = server.url(),
                                        .body = FileSlice{folder / "shot.png", 1001, 2'000'003},
                                        .uploadProgress = [&](std::uint64_t moved, std::uint64_t total) {
                                            steps.emplace_back(moved, total);
                                        }});
    EXPECT_EQ(response.status, 200);
    for (const std::string& request : server.requests())
        EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), bytes.substr(1001, 2'000'003));
    // Progress starts again with the second sending.
    const auto restart = std::ranges::is_sorted_until(steps);
    expectRising({restart == steps.end() ? steps.begin() : restart, steps.end()}, 2'000'003);
}

TEST(URLSessionUpload, namesAFileThatCannotBeSent) {
    const TemporaryFolder folder;
    write(folder / "short.bin", "1234567");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    URLSession session;
    ScriptedServer server({{Receive{}}});
    const auto errorFor = [&](const FileSlice& slice) {
        return localFileError(
            [&] { return session.send({.method = "PUT", .url = server.url(), .body = slice}); });
    };
    EXPECT_THAT(errorFor({folder / "absent.bin", 0, 1}), HasSubstr("absent.bin"));
    EXPECT_THAT(errorFor({folder / "short.bin", 4, 4}), HasSubstr("short.bin"));
    EXPECT_THAT(errorFor({folder / "short.bin", 8, 0}), HasSubstr("short.bin"));
    EXPECT_THAT(errorFor({folder / "short.bin", 1, ~0ULL}), HasSubstr("short.bin"));
    EXPECT_THAT(errorFor({folder / "pipe", 0, 1}), HasSubstr("no regular file"));
    EXPECT_THAT(errorFor({folder.path(), 0, 1}), HasSubstr("no regular file"));
    EXPECT_EQ(server.connections(), 0U);
}

TEST(URLSessionUpload, noticesAFileThatShrinksWhileItIsSent) {
    const TemporaryFolder folder;
    const auto file = folder / "build.ipa";
    write(file, "");
    constexpr std::uint64_t size = 64 << 20; // more than the sockets buffer
    std::filesystem::resize_file(file, size);
    ScriptedServer server({{ReceiveHeader{}, AwaitRelease{}, AwaitClose{}}});
    URLSession session;
    auto outcome = std::async(std::launch::async, [&] {
        return localFileError([&] {
            return session.send({.method = "PUT", .url = server.url(), .body = FileSlice{file, 0, size}});
        });
    });
    server.awaitRequests(1);
    std::filesystem::resize_file(file, 1);
    server.release();
    EXPECT_THAT(outcome.get(), HasSubstr("build.ipa"));
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST(URLSessionDownload, replacesTheFileWhenTheBodyIsWhole) {
    const TemporaryFolder folder;
    const std::string bytes(5 << 20, 'd');
    write(folder / "real.bin", "old");
    std::filesystem::permissions(folder / "real.bin", std::filesystem::perms(0640));
    std::filesystem::create_symlink("real.bin", folder / "link.bin");
    ScriptedServer server(
        {{Receive{}, Send{answer("200 OK", bytes)}, Receive{}, Send{answer("200 OK", "")}}});
    URLSession session({.maximumBodyBytes = 10}); // holds in memory only
    Steps steps;
    const auto response =
        session.download({.url = server.url()}, folder / "link.bin",
                         [&](std::uint64_t moved, std::uint64_t total) { steps.emplace_back(moved, total); });
    EXPECT_EQ(response.status, 200);
    EXPECT_THAT(response.body, IsEmpty());
    EXPECT_EQ(read(folder / "real.bin"), bytes);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.bin"));
    EXPECT_EQ(std::filesystem::status(folder / "real.bin").permissions(), std::filesystem::perms(0640));
    expectRising(steps, bytes.size());

    const auto longest = folder / std::string(255, 'n');
    static_cast<void>(session.download({.url = server.url()}, longest));
    EXPECT_TRUE(std::filesystem::is_empty(longest));
    EXPECT_EQ(namesIn(folder).size(), 3U);
}

TEST(URLSessionDownload, leavesTheFileAloneWithoutAWholeGoodAnswer) {
    const TemporaryFolder folder;
    write(folder / "report.gz", "old");
    // The next request would else begin on a connection that is about to be closed.
    std::vector<Connection> script = {
        {Receive{}, Send{answer("404 Not Found", "no report", "Connection: close\r\n")}}};
    script.insert(script.end(), 5, {Receive{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"}});
    script.insert(script.end(), 5, {Receive{}, Send{"HTTP/1.1 200 OK\r\nX-Cut"}});
    ScriptedServer server(script);
    URLSession session;
    const auto response = session.download({.url = server.url()}, folder / "report.gz");
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, "no report");
    for (int broken = 0; broken < 2; ++broken)
        EXPECT_THROW(static_cast<void>(session.download({.url = server.url()}, folder / "report.gz")),
                     TransportError);
    EXPECT_EQ(server.requests().size(), script.size());
    EXPECT_EQ(read(folder / "report.gz"), "old");
    EXPECT_THAT(namesIn(folder), ElementsAre("report.gz"));
}

TEST(URLSessionDownload, beginsAnewAfterHalfAnAnswer) {
    const TemporaryFolder folder;
    ScriptedServer server({{Receive{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"}},
                           {Receive{}, Send{answer("200 OK", "the whole")}}});
    URLSession session;
    EXPECT_EQ(session.download({.url = server.url()}, folder / "a.bin").status, 200);
    EXPECT_EQ(read(folder / "a.bin"), "the whole");
    EXPECT_THAT(namesIn(folder), ElementsAre("a.bin"));
}

TEST(URLSessionDownload, leavesNothingWhenItIsCancelled) {
    const TemporaryFolder folder;
    ScriptedServer server(
        {{Receive{}, Send{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"}, AwaitClose{}}});
    URLSession session;
    std::stop_source task;
    const TaskScope scope(task.get_token());
    const auto caller = std::this_thread::get_id();
    const auto cancel = [&](std::uint64_t moved, std::uint64_t total) {
        EXPECT_EQ(moved, 4U);
        EXPECT_EQ(total, 10U);
        EXPECT_EQ(namesIn(folder).size(), 1U);
        task.request_stop();
        EXPECT_EQ(std::this_thread::get_id(), caller); // and so part of its task
        EXPECT_TRUE(currentStopToken().stop_requested());
    };
    EXPECT_THROW(static_cast<void>(session.download({.url = server.url()}, folder / "a.bin", cancel)),
                 CancellationError);
    EXPECT_THAT(namesIn(folder), IsEmpty());
}

TEST(URLSessionDownload, endsWithWhatItsProgressThrows) {
    const TemporaryFolder folder;
    ScriptedServer server({{Receive{}, Send{answer("200 OK", "body")}}});
    URLSession session;
    const auto fail = [](std::uint64_t, std::uint64_t) { throw std::domain_error("the reader's own"); };
    EXPECT_THROW(static_cast<void>(session.download({.url = server.url()}, folder / "a.bin", fail)),
                 std::domain_error);
    EXPECT_THAT(namesIn(folder), IsEmpty());
}

TEST(URLSessionDownload, namesAFileThatCannotBeWritten) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder");
    write(folder / "folder" / "inside", "");
    ScriptedServer server(
        {{Receive{}, Send{answer("200 OK", "body")}}, {Receive{}, Send{answer("200 OK", "body")}}});
    URLSession session;
    const auto errorFor = [&](const std::filesystem::path& file) {
        return localFileError([&] { return session.download({.url = server.url()}, file); });
    };
    EXPECT_THAT(errorFor(folder / "absent" / "a.bin"), HasSubstr("absent/a.bin: No such file"));
    EXPECT_THAT(errorFor(folder / "folder"), HasSubstr("Cannot write"));
    EXPECT_THAT(namesIn(folder), ElementsAre("folder"));
}

} // namespace
} // namespace quorvel::test
