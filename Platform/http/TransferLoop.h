// The thread that moves the bytes of all transfers of a session.
#pragma once

#include "Platform/http/CurlHandles.h"
#include "Platform/http/Transfer.h"

#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace quorvel {

class TransferLoop {
  public:
    explicit TransferLoop(long maximumHostConnections);
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    /// Runs `transfer` until it ends; after `close` it ends as cancelled.
    void start(std::shared_ptr<Transfer> transfer);

    /// Ends `transfer` soon with `ending`; nothing happens when it has ended meanwhile.
    void stop(std::shared_ptr<Transfer> transfer, Transfer::Ending ending);

    /// Ends all transfers as cancelled, now and from now on.
    void close();

  private:
    struct Order {
        std::shared_ptr<Transfer> transfer;
        std::optional<Transfer::Ending> ending; // nothing: start it
    };

    void post(Order order);
    void run();
    [[nodiscard]] bool takeOrders();
    void carryOut(Order& order);
    void collectFinished();
    void end(const Transfer* key, Transfer::Ending ending, CURLcode code);

    MultiHandle multi_;
    std::unordered_map<const Transfer*, std::shared_ptr<Transfer>> active_; // of the thread alone
    std::mutex mutex_;
    std::vector<Order> orders_;
    bool closing_ = false;
    std::thread thread_;
};

} // namespace quorvel
