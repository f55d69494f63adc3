// Peak memory of paging through 10,000 customer reviews against the size of the records themselves. The
// server runs in a process of its own, so that its memory does not count.
#include "Tests/support/SandboxFixture.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

using namespace quorvel;

namespace {

constexpr int reviews = 10'000;

std::uint64_t peakKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
    return 0;
}

std::size_t sizeOf(const std::optional<std::string>& text) {
    return sizeof text + (text && text->capacity() > 15 ? text->capacity() + 1 : 0);
}

std::size_t sizeOf(const ASCCustomerReview& review) {
    const auto& attributes = review.review.attributes;
    return sizeof review + sizeOf(attributes.title) - sizeof attributes.title + sizeOf(attributes.body) +
           sizeOf(attributes.reviewerNickname) + sizeOf(attributes.createdDate) - 3 * sizeof attributes.title;
}

// Serves in a child of its own until its input ends, and says how to reach it.
pid_t serve(const std::filesystem::path& folder, int ready) {
    const pid_t child = fork();
    if (child != 0) return child;
    const sandbox::SandboxServer server({.stateFolder = folder, .hourlyQuota = 100'000'000});
    const std::string line = server.readyLine();
    if (write(ready, line.data(), line.size()) < 0) _exit(1);
    close(ready);
    for (;;)
        pause();
}

} // namespace

int main() {
    const test::TemporaryFolder folder;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return 1;
    const pid_t child = serve(folder.path(), pipeEnds[1]);
    close(pipeEnds[1]);
    std::string line(4096, '\0');
    line.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(pipeEnds[0], line.data(), line.size()))));
    const auto access = decodeJSON<JSONValue>(line);

    const auto session = std::make_shared<URLSession>();
    const auto http = std::make_shared<URLSessionHTTPClient>(session);
    const std::string url = *access.find("url")->text();
    const ASCClient client({.baseURL = url,
                            .http = http,
                            .tokens = std::make_shared<ASCTokenProvider>(
                                makeAuth({*access.find("keyID")->text(), *access.find("issuerID")->text(),
                                          readFile(*access.find("privateKey")->text()).value()}))});
    const std::string app = client.listApps().front().id;
    const auto generated =
        session->send({.method = "POST",
                       .url = url + "/__sandbox/generate",
                       .headers = {{"Content-Type", "application/json"}},
                       .body = encodeJSON(JSONValue::object({{"customerReviews", reviews}, {"app", app}}))});
    const std::uint64_t before = peakKilobytes();
    const auto all = client.listCustomerReviews(app, ASCClientProtocol::Responses::leaveOut);
    const std::uint64_t after = peakKilobytes();
    std::size_t bytes = 0;
    for (const auto& review : all)
        bytes += sizeOf(review);
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);
    fmt::print("reviews {}  records {} kB  peak before {} kB  peak after {} kB  growth/records {:.2f}\n",
               all.size(), bytes / 1024, before, after,
               static_cast<double>(after - before) * 1024 / static_cast<double>(bytes));
    return generated.status < 300 && all.size() >= reviews ? 0 : 1;
}
