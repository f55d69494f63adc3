// A proxy before a loopback service that spoils a part of what passes, as a bad network does.
#pragma once

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>

namespace quorvel::test {

/// Serves one exchange after the other on one thread. Addresses of the service inside its answers lead to the
/// proxy. Equal seeds draw equal faults; which exchange meets one depends on the order in which they come.
class FaultyProxy {
  public:
    /// `serviceURL` is "http://127.0.0.1:PORT".
    FaultyProxy(std::string serviceURL, double probability, std::uint64_t seed);
    ~FaultyProxy();
    FaultyProxy(const FaultyProxy&) = delete;
    FaultyProxy& operator=(const FaultyProxy&) = delete;

    [[nodiscard]] const std::string& url() const { return url_; }
    /// How many exchanges were spoilt so far.
    [[nodiscard]] std::size_t faults() const { return faults_; }

  private:
    enum class Fault { none, delay, resetBefore, resetAfter, truncate, garbageBefore, garbageAfter };

    void serve();
    /// Whether the client's connection stays.
    bool exchange(int client);
    [[nodiscard]] Fault draw();
    [[nodiscard]] std::string ask(const std::string& request);
    void spoil(int client, Fault fault, const std::string& answer);

    const std::string service_;
    const double probability_;
    std::mt19937_64 random_;
    int listener_ = -1;
    int upstream_ = -1;
    int wake_[2] = {-1, -1};
    std::string url_;
    std::atomic<std::size_t> faults_ = 0;
    std::thread thread_;
};

} // namespace quorvel::test
