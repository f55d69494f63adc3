#include "Platform/http/TransferLoop.h"

#include <csignal>
#include <new>
#include <utility>

namespace quorvel {

namespace {

constexpr int longestWaitMilliseconds = 60'000; // orders wake the thread, libcurl's own timers too
constexpr long idleConnections = 32;

MultiHandle makeMulti(long maximumHostConnections) {
    static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
    MultiHandle multi(initialized == CURLE_OK ? curl_multi_init() : nullptr);
    if (!multi) throw std::bad_alloc();
    curl_multi_setopt(multi.get(), CURLMOPT_PIPELINING, long(CURLPIPE_MULTIPLEX));
    curl_multi_setopt(multi.get(), CURLMOPT_MAX_HOST_CONNECTIONS, maximumHostConnections);
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, idleConnections);
    return multi;
}

// A thread inherits the mask: signals are for the program's other threads, and a connection that breaks while
// TLS writes to it must not end the program.
class AllSignalsBlocked {
  public:
    AllSignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

  private:
    sigset_t previous_{};
};

} // namespace

TransferLoop::TransferLoop(long maximumHostConnections) : multi_(makeMulti(maximumHostConnections)) {
    const AllSignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
}

TransferLoop::~TransferLoop() {
    close();
    thread_.join();
}

void TransferLoop::start(std::shared_ptr<Transfer> transfer) {
    post({std::move(transfer), std::nullopt});
}

void TransferLoop::stop(std::shared_ptr<Transfer> transfer, Transfer::Ending ending) {
    post({std::move(transfer), ending});
}

void TransferLoop::post(Order order) {
    bool closed = false;
    {
        const std::scoped_lock lock(mutex_);
        closed = closing_;
        if (!closed) orders_.push_back(std::move(order));
    }
    if (!closed)
        curl_multi_wakeup(multi_.get());
    else if (!order.ending)
        order.transfer->end(Transfer::Ending::cancelled, CURLE_OK);
}

void TransferLoop::close() {
    {
        const std::scoped_lock lock(mutex_);
        closing_ = true;
    }
    curl_multi_wakeup(multi_.get());
}

void TransferLoop::run() {
    while (takeOrders()) {
        int running = 0;
        curl_multi_perform(multi_.get(), &running);
        collectFinished();
        curl_multi_poll(multi_.get(), nullptr, 0, longestWaitMilliseconds, nullptr);
    }
    while (!active_.empty())
        end(active_.begin()->first, Transfer::Ending::cancelled, CURLE_OK);
}

bool TransferLoop::takeOrders() {
    std::vector<Order> orders;
    bool goesOn = true;
    {
        const std::scoped_lock lock(mutex_);
        orders.swap(orders_);
        goesOn = !closing_;
    }
    for (Order& order : orders)
        carryOut(order);
    return goesOn;
}

void TransferLoop::carryOut(Order& order) {
    const Transfer* key = order.transfer.get();
    if (order.ending) {
        if (active_.contains(key)) end(key, *order.ending, CURLE_OK);
    } else if (curl_multi_add_handle(multi_.get(), order.transfer->handle()) == CURLM_OK) {
        active_.emplace(key, std::move(order.transfer));
    } else {
        order.transfer->end(Transfer::Ending::finished, CURLE_FAILED_INIT);
    }
}

void TransferLoop::collectFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        const CURLcode code = message->data.result; // the message dies with the handle's removal
        const Transfer* key = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &key);
        end(key, Transfer::Ending::finished, code);
    }
}

void TransferLoop::end(const Transfer* key, Transfer::Ending ending, CURLcode code) {
    const auto entry = active_.find(key);
    const std::shared_ptr<Transfer> transfer = std::move(entry->second);
    active_.erase(entry);
    curl_multi_remove_handle(multi_.get(), transfer->handle());
    transfer->end(ending, code);
}

} // namespace quorvel
