// Sales reports: the peak memory of reading one of 200 MB, reading against inflating alone, and the summary
// of 90 days of 20 apps against reading and inflating the same files.
#include "Benchmarks/Ratio.h"
#include "Core/revenue/SalesAttribution.h"
#include "Core/revenue/SalesReportService.h"
#include "Core/revenue/WorkspaceRevenueSummary.h"
#include "Platform/files/Files.h"
#include "Platform/gzip/Gzip.h"
#include "Tests/support/TemporaryFolder.h"

#include <fmt/format.h>
#include <zlib.h>

#include <array>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>

using namespace quorvel;

namespace {

constexpr std::size_t largeReportBytes = 200 << 20;
constexpr int apps = 20;
constexpr std::array currencies = {"USD", "EUR", "GBP", "JPY", "CAD", "AUD",
                                   "CHF", "BRL", "SEK", "MXN", "INR", "KRW"};
constexpr std::array kinds = {"1F", "7F", "IA1", "IAY", "3F", "1"};

/// Compresses piece by piece, as the report would not fit into the memory that is measured.
class Compressor {
  public:
    Compressor() {
        constexpr int gzipFormat = 15 + 16;
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, gzipFormat, 8, Z_DEFAULT_STRATEGY) !=
            Z_OK)
            throw std::runtime_error("no compressor");
    }
    ~Compressor() { deflateEnd(&stream_); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    void add(std::string_view text, int flush = Z_NO_FLUSH) {
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream_.avail_in = static_cast<uInt>(text.size());
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(piece_.data());
            stream_.avail_out = static_cast<uInt>(piece_.size());
            deflate(&stream_, flush);
            bytes_.append(piece_.data(), piece_.size() - stream_.avail_out);
        } while (stream_.avail_out == 0);
    }
    [[nodiscard]] std::string finish() {
        add({}, Z_FINISH);
        return std::move(bytes_);
    }

  private:
    z_stream stream_{};
    std::array<char, 65'536> piece_{};
    std::string bytes_;
};

constexpr std::string_view columns =
    "Provider\tProvider Country\tSKU\tDeveloper\tTitle\tVersion\tProduct Type Identifier\tUnits\tDeveloper Proceeds\t"
    "Begin Date\tEnd Date\tCustomer Currency\tCountry Code\tCurrency of Proceeds\tApple Identifier\tCustomer Price\t"
    "Promo Code\tParent Identifier\tSubscription\tPeriod\tCategory\tCMB\tDevice\tSupported Platforms\t"
    "Proceeds Reason\tPreserved Pricing\tClient\tOrder Type\n";

// A row as Apple writes them: an app's download or update, or one of its five purchases.
std::string row(std::mt19937& dice) {
    const auto roll = [&](std::size_t sides) { return dice() % sides; };
    const auto app = roll(apps);
    const auto* kind = kinds[roll(kinds.size())];
    const bool isPurchase = std::string_view(kind).starts_with("IA");
    const auto* currency = currencies[roll(currencies.size())];
    const auto product =
        isPurchase ? fmt::format("studio.app{}.pro{}", app, roll(5)) : fmt::format("APP{}", app);
    return fmt::format(
        "APPLE\tUS\t{}\tFernhollow Studio\tTitle of {}\t2.{}\t{}\t{}\t{:.2f}\t03/01/2026\t03/01/2026\t{}\t"
        "{}\t{}\t{}\t{:.2f}\t \t{}\t{}\t{}\tProductivity\t\tiPhone\tiOS\t \t \t \t \n",
        product, product, roll(9), kind, 1 + roll(40),
        isPurchase ? static_cast<double>(roll(2000)) / 100 : 0.0, currency, currency + 1,
        isPurchase ? currency : " ", 6'700'000'000 + app * 10 + (isPurchase ? 1 + roll(5) : 0),
        static_cast<double>(roll(3000)) / 100, isPurchase ? fmt::format("APP{}", app) : " ",
        isPurchase ? "Renewal" : " ", isPurchase ? "1 Month" : " ");
}

std::string report(std::size_t bytes, unsigned seed) {
    std::mt19937 dice(seed);
    Compressor compressor;
    compressor.add(columns);
    for (std::size_t made = columns.size(); made < bytes;) {
        const std::string text = row(dice);
        made += text.size();
        compressor.add(text);
    }
    return compressor.finish();
}

std::uint64_t peakOfProcess() { // kB
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
    return 0;
}

void measureMemory() {
    const std::string compressed = report(largeReportBytes, 1);
    const auto before = peakOfProcess();
    const DayResult day = salesDayOf("2026-03-01", compressed);
    fmt::print(
        "report of {} MB, compressed {} MB, {} sums; peak before reading {} kB, after {} kB (aim < 65536)\n",
        largeReportBytes >> 20, compressed.size() >> 20, day.lines.size(), before, peakOfProcess());
}

void readingAReport(benchmark::State& state) {
    const std::string compressed = report(20 << 20, 2);
    std::uint64_t bytes = 0;
    benchmarks::reportRatio(
        state, 2, [&] { benchmark::DoNotOptimize(salesDayOf("2026-03-01", compressed)); },
        [&] {
            bytes = 0;
            inflateGzip(compressed, 1 << 30, [&](std::string_view piece) { bytes += piece.size(); });
            benchmark::DoNotOptimize(bytes);
        });
    state.counters["rate"] = 1 / state.counters["ratio"].value; // of inflating; aim 0.5
    state.counters["MB_per_s"] = static_cast<double>(bytes) / 1e3 / state.counters["ours_ms"];
}

void summaryOfNinetyDays(benchmark::State& state) {
    const test::TemporaryFolder folder;
    std::vector<std::string> days;
    createFolders(folder / "80457216");
    for (int day = 0; day < 90; ++day) {
        days.push_back(fmt::format("2025-{:02}-{:02}", 1 + day / 28, 1 + day % 28));
        writeFileAtomically(folder / "80457216" / (days.back() + ".tsv.gz"),
                            report(400'000, static_cast<unsigned>(day)));
    }
    std::vector<WorkspaceRevenueSummary::AppRef> refs;
    for (int app = 0; app < apps; ++app)
        refs.push_back({fmt::format("app{}", app), std::to_string(6'700'000'000 + app * 10), "", {}});
    benchmarks::reportRatio(
        state, 1.5,
        [&] {
            SalesReportService service(
                {.client = nullptr,
                 .vendorNumber = "80457216",
                 .folder = folder.path(),
                 .defaults = std::make_shared<UserDefaults>(folder / "defaults.json")});
            const auto results = service.fetch(days);
            const SalesAttribution attribution(refs, {}, results);
            const auto summary = WorkspaceRevenueSummary::of({}, results, refs, attribution);
            if (summary.proceedsByAppByCurrency.size() != apps)
                throw std::runtime_error("another number of apps");
        },
        [&] {
            for (const std::string& day : days) {
                std::uint64_t bytes = 0;
                inflateGzip(*readFile(folder / "80457216" / (day + ".tsv.gz")), 1 << 30,
                            [&](std::string_view piece) { bytes += piece.size(); });
                benchmark::DoNotOptimize(bytes);
            }
        });
}

} // namespace

BENCHMARK(readingAReport)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);
BENCHMARK(summaryOfNinetyDays)->UseManualTime()->Iterations(9)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    measureMemory();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
