// One sending of a request and the answer to it: what libcurl is told and what it calls back.
#pragma once

#include "Platform/http/BodySource.h"
#include "Platform/http/CurlHandles.h"
#include "Platform/http/DownloadFile.h"
#include "Platform/http/HTTPMessage.h"
#include "Platform/http/HandlePool.h"
#include "Platform/task/StopToken.h"

#include <array>
#include <exception>
#include <optional>

namespace quorvel {

/// Where the body of a 2xx answer goes instead of into memory.
struct DownloadTarget {
    const std::filesystem::path& file;
    const TransferProgress& progress;
};

/// Used by one thread. The request and the target must outlive it.
class Transfer {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Sends at most `sendsLeft` times, libcurl's own repetitions included. Throws `TransportError` when the
    /// request must not be sent or its file cannot be.
    Transfer(const HTTPRequest& request, HandlePool& pool, const std::optional<DownloadTarget>& target,
             int sendsLeft);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    [[nodiscard]] int sendsLeft() const { return sendsLeft_; }

    /// Runs the transfer until it ends by itself, at `deadline`, or as cancelled when one of the tokens
    /// stops.
    void run(Deadline deadline, const std::stop_token& task, const std::stop_token& session);

    /// Of an ended transfer: whether it broke without a whole answer and may be sent again.
    [[nodiscard]] bool mayBeSentAgain() const;

    /// Of an ended transfer: the whole answer, its file in place. Throws what ended it otherwise; the
    /// temporary file is gone then.
    [[nodiscard]] HTTPResponse takeResponse();

  private:
    enum class Ending { finished, cancelled, timedOut };

    [[nodiscard]] CURL* handle() const { return handles_.easy.get(); }
    void end(Ending ending, CURLcode code);
    void setUpConnection();
    void setUpRequest();
    void setUpCallbacks();
    void addHeaders();

    // Each of these runs in one of libcurl's callbacks, where no exception may pass.
    void receiveHeaderLine(std::string_view line);
    void receiveBody(std::string_view bytes);
    void beginBody();
    void reportUpload(std::uint64_t moved);
    [[nodiscard]] bool beginSending();
    void finishReceiving();
    template <typename Function>
    [[nodiscard]] bool guarded(Function&& function) noexcept;

    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* self);
    static int onSeek(void* self, curl_off_t offset, int origin);
    static int onSend(void* self, char*, char*, int, int);
    static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t uploaded);

    const HTTPRequest& request_;
    const std::uint64_t maximumBodyBytes_;
    const std::optional<DownloadTarget>& target_;
    HandlePool& pool_;
    HandlePair handles_;
    HeaderList headers_;
    BodySource source_;
    std::array<char, CURL_ERROR_SIZE> curlText_{};
    int sendsLeft_;
    bool wasSent_ = false;
    std::exception_ptr failure_; // of a callback

    HTTPResponse response_;
    std::uint64_t headerBytes_ = 0;
    bool headerComplete_ = false;
    std::unique_ptr<DownloadFile> file_;
    bool bodyBegan_ = false;
    std::uint64_t bodyBytes_ = 0;
    std::uint64_t bodyTotal_ = 0; // 0 when unknown
    std::optional<std::uint64_t> uploaded_;

    std::optional<Ending> ending_;
    CURLcode code_ = CURLE_OK;
};

} // namespace quorvel
