// Uploads against libcurl alone, the checksum against md5sum, a pull against its critical path, and the
// memory that two gigabytes take. Uploads go to a sandbox in a process of its own.
#include "Benchmarks/Ratio.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/screenshots/PartSender.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Core/screenshots/ScreenshotsStore.h"
#include "Platform/task/Task.h"
#include "Tests/support/SandboxFixture.h"
#include "Tests/support/ScreenshotTree.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <fstream>
#include <stdexcept>

using namespace quorvel;

namespace {

constexpr std::string_view gardenApp = "6700000101";
constexpr double latency = 0.08;

std::uint64_t peakKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
    return 0;
}

// A file of `size` bytes, most of them a hole, with the header of a picture in front and its end behind.
void writeSparsePicture(const std::filesystem::path& file, std::uint64_t size) {
    const auto number = [](std::uint32_t value) {
        return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    const std::string picture = test::pictureFor("APP_IPHONE_65", 3);
    test::put(file, picture.substr(0, picture.size() - 12));
    std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
    out.seekp(0, std::ios::end);
    const auto begin = static_cast<std::uint64_t>(out.tellp());
    out << number(static_cast<std::uint32_t>(size - begin - 24)) << "teXt";
    out.seekp(static_cast<std::streamoff>(size - 16));
    out << number(0) << picture.substr(picture.size() - 12);
}

/// A sandbox in a child, so that neither its memory nor its threads count as ours.
class SandboxProcess {
  public:
    SandboxProcess() {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) serve(ends[1]);
        close(ends[1]);
        std::string line(4096, '\0');
        line.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(ends[0], line.data(), line.size()))));
        close(ends[0]);
        access = decodeJSON<JSONValue>(line);
    }
    ~SandboxProcess() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    SandboxProcess(const SandboxProcess&) = delete;
    SandboxProcess& operator=(const SandboxProcess&) = delete;

    [[nodiscard]] std::string text(std::string_view name) const { return *access.find(name)->text(); }
    void post(URLSession& session, std::string_view route, std::string body) const {
        (void)session.send({.method = "POST",
                            .url = text("url") + "/__sandbox/" + std::string(route),
                            .headers = {{"Content-Type", "application/json"}},
                            .body = std::move(body)});
    }

    test::TemporaryFolder folder;
    JSONValue access;

  private:
    [[noreturn]] void serve(int ready) const {
        const sandbox::SandboxServer server(
            {.stateFolder = folder / "sandbox", .latencyMilliseconds = 0, .hourlyQuota = 100'000'000});
        const std::string line = server.readyLine();
        if (write(ready, line.data(), line.size()) < 0) _exit(1);
        close(ready);
        for (;;)
            pause();
    }

    pid_t child_ = -1;
};

struct Account {
    Account()
        : session(std::make_shared<URLSession>()),
          http(session),
          client({.baseURL = process.text("url"),
                  .http = std::make_shared<URLSessionHTTPClient>(session),
                  .tokens = std::make_shared<ASCTokenProvider>(
                      makeAuth({process.text("keyID"), process.text("issuerID"),
                                readFile(process.text("privateKey")).value()}))}),
          app{process.folder / "app"},
          context(MetadataPuller(client, systemClock()).discover(gardenApp).contexts.at(0)),
          store(app, context, systemClock()) {}

    void push(const std::filesystem::path& pictures) {
        const auto plan = prepareScreenshots(scanScreenshots(pictures), {}, {}).plan;
        ScreenshotPushOptions options;
        options.processingDeadline = 0;
        const auto summary =
            ScreenshotPusher(client, http, context, std::string(gardenApp), options).push(plan.edits);
        if (!summary.failures.empty()) throw std::runtime_error(summary.failures.front());
    }
    // Makes room for the next push.
    void clear(const std::vector<std::string>& locales) {
        for (const auto& [locale, types] : store.readRemote(client, locales).sets)
            for (const auto& [type, set] : types)
                for (const auto& entry : set)
                    client.deleteScreenshot(entry.id);
    }

    SandboxProcess process;
    std::shared_ptr<URLSession> session;
    URLSessionHTTPClient http;
    ASCClient client;
    MetadataFolder app;
    PlatformContext context;
    ScreenshotsStore store;
};

constexpr const char* uploadLocales[] = {"de-DE", "sv", "ja"};

void writeUploads(const std::filesystem::path& folder, int filesPerLocale, std::uint64_t size) {
    for (const char* locale : uploadLocales)
        for (int i = 0; i < filesPerLocale; ++i)
            writeSparsePicture(folder / locale / "APP_IPHONE_65" / fmt::format("{}.png", i),
                               size + static_cast<std::uint64_t>(i));
}

struct PartOfFile {
    std::FILE* file = nullptr;
    curl_off_t left = 0;
};

std::size_t readPart(char* buffer, std::size_t size, std::size_t count, void* user) {
    auto& part = *static_cast<PartOfFile*>(user);
    const auto wanted = std::min<curl_off_t>(static_cast<curl_off_t>(size * count), part.left);
    const std::size_t got = std::fread(buffer, 1, static_cast<std::size_t>(wanted), part.file);
    part.left -= static_cast<curl_off_t>(got);
    return got;
}

// Sends one reserved file with libcurl, a handle for each.
void putWithCurl(const std::filesystem::path& file, const std::vector<ASCUploadOperation>& operations) {
    CURL* handle = curl_easy_init();
    std::FILE* stream = std::fopen(file.c_str(), "rb");
    curl_slist* headers = curl_slist_append(curl_slist_append(nullptr, "Content-Type: image/png"), "Expect:");
    for (const ASCUploadOperation& operation : operations) {
        PartOfFile part{stream, operation.length};
        std::fseek(stream, static_cast<long>(operation.offset), SEEK_SET);
        curl_easy_setopt(handle, CURLOPT_URL, operation.url.c_str());
        curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(handle, CURLOPT_UPLOAD_BUFFERSIZE, 256L << 10);
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_READFUNCTION, &readPart);
        curl_easy_setopt(handle, CURLOPT_READDATA, &part);
        curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(operation.length));
        if (curl_easy_perform(handle) != CURLE_OK) throw std::runtime_error("libcurl failed");
    }
    curl_slist_free_all(headers);
    std::fclose(stream);
    curl_easy_cleanup(handle);
}

struct ReservedFile {
    std::filesystem::path file;
    std::vector<ASCUploadOperation> operations;
};

std::vector<ReservedFile> reserve(Account& account, const std::filesystem::path& pictures) {
    std::map<std::string, std::string> sets;
    for (const auto& localization : account.client.listVersionLocalizations(account.context.versionId))
        for (const auto& set : account.client.listScreenshotSets(localization.id))
            if (set.attributes.screenshotDisplayType == "APP_IPHONE_65")
                sets[localization.attributes.locale] = set.id;
    std::vector<ReservedFile> files;
    for (const auto& item : scanScreenshots(pictures).items)
        files.push_back(
            {item.fileURL,
             account.client
                 .reserveScreenshot(
                     sets.at(item.locale),
                     {static_cast<std::int64_t>(std::filesystem::file_size(item.fileURL)), item.fileName()})
                 .attributes.uploadOperations.value()});
    return files;
}

void uploadThroughput(benchmark::State& state) {
    Account account;
    const auto pictures = account.process.folder / "pictures";
    writeUploads(pictures, 8, 20 << 20);
    const std::vector<std::string> locales(std::begin(uploadLocales), std::end(uploadLocales));
    account.push(pictures); // makes the sets
    const ScreenshotPushOptions options;
    // The same files over the same number of connections, the reservations made before.
    const auto secondsOfSix = [&](auto&& send) {
        account.clear(locales);
        const auto files = reserve(account, pictures);
        return benchmarks::secondsOf([&] { parallelForEach(files, options.width, send); });
    };
    std::vector<double> bare, bareWithChecksums, sending, pushing, sendingRatios, pushingRatios;
    for (auto _ : state) {
        bare.push_back(secondsOfSix([](const ReservedFile& one) { putWithCurl(one.file, one.operations); }));
        bareWithChecksums.push_back(secondsOfSix([](const ReservedFile& one) {
            benchmark::DoNotOptimize(fileChecksum(one.file));
            putWithCurl(one.file, one.operations);
        }));
        sending.push_back(secondsOfSix([&](const ReservedFile& one) {
            PartSender(account.http, options)
                .send(ScreenshotFile(one.file), one.operations, [](std::uint64_t) {});
        }));
        account.clear(locales);
        pushing.push_back(benchmarks::secondsOf([&] { account.push(pictures); }));
        sendingRatios.push_back(bare.back() / sending.back());
        pushingRatios.push_back(bareWithChecksums.back() / pushing.back());
        state.SetIterationTime(pushing.back());
    }
    const auto rate = [](const std::vector<double>& seconds) {
        return 24 * 20 * 1.048576 / benchmarks::median(seconds);
    };
    state.counters["sending_MB/s"] = rate(sending);
    state.counters["sending_libcurl_MB/s"] = rate(bare);
    state.counters["sending_ratio"] = benchmarks::median(sendingRatios);
    state.counters["pushing_MB/s"] = rate(pushing);
    state.counters["pushing_libcurl_MB/s"] = rate(bareWithChecksums);
    state.counters["pushing_ratio"] = benchmarks::median(pushingRatios);
    state.counters["aim"] = 0.85;
}

void memoryOf2GB(benchmark::State& state) {
    Account account;
    const auto pictures = account.process.folder / "pictures";
    writeUploads(pictures, 10, (std::uint64_t{2'000'000'000} / 30) + 1);
    const std::uint64_t before = peakKilobytes();
    for (auto _ : state)
        state.SetIterationTime(benchmarks::secondsOf([&] { account.push(pictures); }));
    state.counters["peak_MB_before"] = static_cast<double>(before) / 1024;
    state.counters["peak_MB"] = static_cast<double>(peakKilobytes()) / 1024;
    state.counters["limit_MB"] = 64;
}

void checksumAgainstMd5sum(benchmark::State& state) {
    const test::TemporaryFolder folder;
    const auto file = folder / "file";
    test::put(file, std::string(200 << 20, 'q'));
    const std::string command = "md5sum " + file.string() + " > /dev/null";
    benchmarks::reportRatio(
        state, 1.1, [&] { benchmark::DoNotOptimize(fileChecksum(file)); },
        [&] {
            if (std::system(command.c_str()) != 0) throw std::runtime_error("no md5sum");
        });
}

// 40 locales × 5 types: one list of localizations, 40 of sets, 200 of screenshots, 200 thumbnails, six at
// once.
void pullOf200Sets(benchmark::State& state) {
    Account account;
    constexpr const char* types[] = {"APP_IPHONE_67", "APP_IPHONE_65", "APP_IPHONE_55",
                                     "APP_IPAD_PRO_3GEN_129", "APP_IPAD_PRO_3GEN_11"};
    std::vector<std::string> all;
    for (const auto& localization : account.client.listVersionLocalizations(account.context.versionId))
        all.push_back(localization.attributes.locale);
    account.clear(all);
    const auto pictures = account.process.folder / "pictures";
    for (const std::string& locale : all)
        for (const char* type : types)
            test::put(pictures / locale / type / "1.png", test::pictureFor(type, 1));
    account.push(pictures);
    account.process.post(*account.session, "advance", R"({"seconds": 60})");
    account.process.post(*account.session, "latency", R"({"milliseconds": 80})");
    const auto rounds = [](double requests) { return std::ceil(requests / 6); };
    const double criticalPath = latency * (1 + rounds(static_cast<double>(all.size())) +
                                           2 * rounds(5 * static_cast<double>(all.size())));
    std::vector<double> times;
    for (auto _ : state) {
        std::filesystem::remove_all(account.store.paths().thumbnails);
        ScreenshotsPullSummary summary;
        times.push_back(
            benchmarks::secondsOf([&] { summary = account.store.pull(account.client, account.http); }));
        if (summary.thumbnailsDownloaded != static_cast<std::int64_t>(5 * all.size()))
            throw std::runtime_error("thumbnails are missing");
        state.SetIterationTime(times.back());
    }
    state.counters["ours_ms"] = benchmarks::median(times) * 1e3;
    state.counters["critical_path_ms"] = criticalPath * 1e3;
    state.counters["ratio"] = benchmarks::median(times) / criticalPath;
    state.counters["limit"] = 1.15;
}

} // namespace

// Memory first: the peak is of the whole process.
BENCHMARK(memoryOf2GB)->UseManualTime()->Iterations(1);
BENCHMARK(uploadThroughput)->UseManualTime()->Iterations(5);
BENCHMARK(checksumAgainstMd5sum)->UseManualTime()->Iterations(5);
BENCHMARK(pullOf200Sets)->UseManualTime()->Iterations(3);
BENCHMARK_MAIN();
