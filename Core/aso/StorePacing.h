// Keeps to what the public store allows in a minute, over all programs of one home.
#pragma once

#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quorvel {

/// Sends at most so many searches and look-ups in any minute; those beyond wait for their turn, in the order
/// in which they came. A search that the store turns away all the same (403, 429), and any request that it
/// answers with 429, is sent again after the pause that it asks for; what it still turns away then is
/// answered as it is. Thread-safe; a wait obeys the current task.
class StorePacing : public HTTPClient {
  public:
    static constexpr int usualSearchesPerMinute = 20;

    struct Parts {
        std::shared_ptr<HTTPClient> http;
        std::string searchURL;                          // base address of the paced service
        int searchesPerMinute = usualSearchesPerMinute; // 0: no bound
        std::filesystem::path file;                     // where the programs of this home share their turns
        Clock clock = systemClock();
        std::function<void(double seconds)> sleep;
        std::function<bool(double seconds)> mayWait;  // whether to wait for a store that turned us away
        std::function<void(const std::string&)> tell; // called before each wait, from any thread
    };

    explicit StorePacing(Parts parts) : parts_(std::move(parts)) {}

    [[nodiscard]] HTTPResponse send(const HTTPRequest& request) override;

  private:
    using Turns = std::vector<double>; // seconds since 1970, in order; some lie ahead

    [[nodiscard]] bool isSearch(const HTTPRequest& request) const;
    void awaitTurn();
    [[nodiscard]] bool waitAfterRefusal(const HTTPResponse& refusal);
    void wait(double seconds, const std::string& reason);
    void change(const std::function<void(Turns&)>& work);

    Parts parts_;
    std::mutex mutex_;
    Turns turns_;          // where the file cannot be used
    double toldUntil_ = 0; // the end of the wait that was told last
    Logger logger_{"StorePacing"};
};

} // namespace quorvel
