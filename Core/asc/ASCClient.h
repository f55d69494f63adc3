// The one door to the App Store Connect API.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCRateLimit.h"
#include "Core/asc/ASCTokenProvider.h"
#include "Platform/http/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Platform/task/Backoff.h"

#include <functional>
#include <memory>
#include <string>

namespace quorvel {

/// Attaches the bearer token, retries rate-limited and server-failed answers with back-off, forgets the token
/// on 401 and turns error answers into `ASCError`. Holds no state of its own between calls; may be used from
/// any thread.
class ASCClient : public ASCClientProtocol {
  public:
    struct Parts {
        std::string baseURL;
        std::shared_ptr<HTTPClient> http;
        std::shared_ptr<ASCTokenProvider> tokens;
        std::shared_ptr<ASCQuota> quota = std::make_shared<ASCQuota>();
        int maxRetries = 3;
        std::function<double(int attempt)> backoff = defaultBackoff;
        std::function<void(double seconds)> sleepFor; // the task's own sleep when empty
        // Whether a wait for the quota may begin; any may when empty. One that may not ends the request as
        // rate-limited.
        std::function<bool(double seconds)> mayWait;
    };

    explicit ASCClient(Parts parts);

    [[nodiscard]] std::string exchange(const ASCRequest& request) const override;

    /// What the last answer said of the key's quota; nothing until one did.
    [[nodiscard]] std::optional<ASCRateLimit> rateLimit() const { return parts_.quota->last(); }
    [[nodiscard]] const std::shared_ptr<ASCTokenProvider>& tokens() const { return parts_.tokens; }

  private:
    [[nodiscard]] std::string urlOf(const ASCRequest& request) const;
    [[nodiscard]] HTTPResponse sendOnce(const ASCRequest& request, const std::string& url) const;
    void learnFrom(const HTTPResponse& response) const;
    void awaitQuota() const;
    [[nodiscard]] bool mayWait(std::optional<double> seconds) const;
    void waitBeforeRetry(int status, double delay, int attempt) const;

    Parts parts_;
    Logger logger_{"ASCClient"};
};

} // namespace quorvel
