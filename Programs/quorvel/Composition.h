// The real adapters that commands work with, each made when it is first asked for.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/Endpoints.h"
#include "Core/asc/KeychainStore.h"
#include "Platform/defaults/UserDefaults.h"
#include "Platform/files/Home.h"
#include "Platform/http/URLSession.h"
#include "Platform/notify/NotificationCenter.h"
#include "Programs/quorvel/CommandClient.h"
#include "Programs/quorvel/Credentials.h"
#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/Surroundings.h"

#include <chrono>
#include <memory>
#include <optional>

namespace quorvel {

class Composition {
  public:
    Composition(const GlobalOptions& global, const Surroundings& surroundings);

    [[nodiscard]] const Home& home() const { return home_; }
    [[nodiscard]] Clock clock() const { return systemClock(); }
    [[nodiscard]] KeychainStore keychain() const { return KeychainStore::inHome(home_); }
    /// Throws `EndpointsError`.
    [[nodiscard]] const Endpoints& endpoints();
    [[nodiscard]] std::shared_ptr<UserDefaults> userDefaults();
    [[nodiscard]] std::shared_ptr<NotificationCenter> notifications();
    [[nodiscard]] std::shared_ptr<URLSession> session();
    /// Throws what `resolveCredentials` throws.
    [[nodiscard]] const Credentials& credentials();
    /// App Store Connect with the key of `credentials()`; throws as that, and `EndpointsError`.
    [[nodiscard]] const CommandClient& client();

    /// What is known of this machine's clock from earlier runs.
    [[nodiscard]] std::chrono::milliseconds clockCorrection();
    void rememberClockCorrection(std::chrono::milliseconds correction);
    /// Keeps what this run's requests taught of the clock; whether that is news.
    bool rememberWhatWasLearnt();
    /// What the last answer said of the key's quota.
    [[nodiscard]] std::optional<ASCRateLimit> rateLimit() const;

  private:
    const GlobalOptions& global_;
    const Surroundings& surroundings_;
    Home home_;
    std::optional<Endpoints> endpoints_;
    std::shared_ptr<UserDefaults> userDefaults_;
    std::shared_ptr<NotificationCenter> notifications_;
    std::shared_ptr<URLSession> session_;
    std::optional<Credentials> credentials_;
    std::optional<ASCClient> client_;
    std::optional<CommandClient> commandClient_;
};

} // namespace quorvel
