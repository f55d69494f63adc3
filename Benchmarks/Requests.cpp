// Requests per second through the client against libcurl's multi interface alone, on the same server and with
// as many requests at once.
#include "Benchmarks/Ratio.h"
#include "Platform/task/Task.h"
#include "Tests/support/SandboxFixture.h"

#include <curl/curl.h>

using namespace quorvel;

namespace {

constexpr int requests = 2000;

std::size_t appendTo(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

// The same GET over and over on `width` easy handles of one multi handle.
void bareTransfers(const std::string& url, const std::string& token, int width) {
    CURLM* multi = curl_multi_init();
    curl_slist* headers = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
    headers = curl_slist_append(headers, "Accept: application/json");
    std::vector<std::string> bodies(static_cast<std::size_t>(width));
    for (std::string& body : bodies) {
        CURL* easy = curl_easy_init();
        curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, appendTo);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
        curl_easy_setopt(easy, CURLOPT_PRIVATE, &body);
        curl_multi_add_handle(multi, easy);
    }
    int started = width, running = width, left = 0;
    while (running > 0) {
        curl_multi_perform(multi, &running);
        while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
            CURL* easy = message->easy_handle;
            std::string* body = nullptr;
            curl_easy_getinfo(easy, CURLINFO_PRIVATE, &body);
            benchmark::DoNotOptimize(body->size());
            body->clear();
            curl_multi_remove_handle(multi, easy);
            if (started < requests) {
                ++started;
                ++running;
                curl_multi_add_handle(multi, easy);
            } else {
                curl_easy_cleanup(easy);
            }
        }
        if (running > 0) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    curl_slist_free_all(headers);
    curl_multi_cleanup(multi);
}

void requestsPerSecond(benchmark::State& state) {
    const test::SandboxFixture fixture({.hourlyQuota = 100'000'000});
    const int width = static_cast<int>(state.range(0));
    const std::vector<int> calls(requests);
    const std::string url = fixture.server.access().url + "/v1/apps?limit=1";
    benchmarks::reportRatio(
        state, 1 / 0.9,
        [&] {
            parallelForEach(calls, static_cast<std::size_t>(width),
                            [&](int) { (void)fixture.client.listApps({}, {1}); });
        },
        [&] { bareTransfers(url, fixture.client.tokens()->token(), width); });
    state.counters["our_requests_per_s"] = 1e3 * requests / state.counters["ours_ms"];
    state.counters["bare_requests_per_s"] = 1e3 * requests / state.counters["bare_ms"];
}

} // namespace

BENCHMARK(requestsPerSecond)->ArgName("width")->Arg(1)->Arg(6)->UseManualTime()->Iterations(9);
BENCHMARK_MAIN();
