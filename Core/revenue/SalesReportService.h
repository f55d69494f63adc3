// Fetches daily sales reports and keeps them.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/revenue/SalesDay.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/log/Log.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quorvel {

/// Reports of one vendor, a file per day, readable by their owner only. A kept day is not asked for again,
/// except the last three and those that were fetched within three days, which Apple still changes.
/// Thread-safe.
class SalesReportService {
  public:
    static constexpr std::size_t daysThatChange = 3;
    static constexpr std::size_t width = 6; // requests at once

    struct Parts {
        std::shared_ptr<const ASCClientProtocol> client; // none: only what is kept
        std::string vendorNumber;
        std::filesystem::path folder; // of all vendors' reports
        std::shared_ptr<UserDefaults> defaults;
    };
    using Progress = std::function<void(std::size_t done, std::size_t total)>;

    explicit SalesReportService(Parts parts);

    /// The results of the days in their order; the last of `days` are those that Apple still changes. A day
    /// that fails does not stop the others. Throws `ASCError` when the key is refused, `CancellationError`.
    [[nodiscard]] std::vector<DayResult> fetch(const std::vector<std::string>& days,
                                               const Progress& onProgress = {});

  private:
    struct Kept {
        DayResult day;
        bool isEarly = false; // Apple may have changed it since
    };
    [[nodiscard]] std::optional<Kept> kept(const std::string& day) const;
    [[nodiscard]] DayResult ask(const std::string& day);
    [[nodiscard]] DayResult read(const std::string& day, std::string_view report) const;
    [[nodiscard]] std::string download(const std::string& day);
    [[nodiscard]] DayResult failed(const std::string& day, std::string reason) const;
    void keep(const std::string& day, std::string_view report) const;
    [[nodiscard]] std::filesystem::path fileOf(const std::string& day) const;
    [[nodiscard]] std::string version() const;

    const Parts parts_;
    const Logger logger_{"SalesReportService"};
};

/// The report version that an error of App Store Connect asks for ("1_1"); nothing for any other error.
[[nodiscard]] std::optional<std::string> salesReportVersionIn(std::string_view errorText);

} // namespace quorvel
