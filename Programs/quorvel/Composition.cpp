#include "Programs/quorvel/Composition.h"

#include "Core/asc/HTTPClient.h"
#include "Platform/log/Log.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

constexpr std::string_view clockCorrectionKey = "ASCTokenProvider.clockCorrectionMilliseconds";
constexpr std::chrono::milliseconds smallestCorrection{2000};
// A Date header has whole seconds, so two measurements of the same clock differ by up to one.
constexpr std::chrono::milliseconds measuringError{1500};

Home homeFor(const GlobalOptions& global, const Surroundings& surroundings) {
    const auto given = global.home ? global.home : surroundings.variable("QUORVEL_HOME");
    return given ? Home{surroundings.workingFolder / *given} : Home::ofUser();
}

} // namespace

Composition::Composition(const GlobalOptions& global, const Surroundings& surroundings)
    : global_(global), surroundings_(surroundings), home_(homeFor(global, surroundings)) {}

const Endpoints& Composition::endpoints() {
    if (!endpoints_) {
        const auto file = global_.endpoints ? global_.endpoints : surroundings_.variable("QUORVEL_ENDPOINTS");
        endpoints_ = file ? loadEndpoints(surroundings_.workingFolder / *file) : Endpoints{};
    }
    return *endpoints_;
}

std::shared_ptr<UserDefaults> Composition::userDefaults() {
    if (!userDefaults_)
        userDefaults_ = std::make_shared<UserDefaults>(home_.preferences() / "com.halvorne.brevant.json");
    return userDefaults_;
}

std::shared_ptr<NotificationCenter> Composition::notifications() {
    if (!notifications_) notifications_ = std::make_shared<NotificationCenter>();
    return notifications_;
}

std::shared_ptr<URLSession> Composition::session() {
    if (!session_) session_ = std::make_shared<URLSession>();
    return session_;
}

const Credentials& Composition::credentials() {
    if (!credentials_) credentials_ = resolveCredentials(global_, surroundings_, home_, keychain());
    return *credentials_;
}

const CommandClient& Composition::client() {
    if (!client_) {
        const auto tokens = std::make_shared<ASCTokenProvider>(makeAuth(credentials().texts), clock());
        tokens->setClockCorrection(clockCorrection());
        client_.emplace(ASCClient::Parts{.baseURL = endpoints().appStoreConnectOrDefault(),
                                         .http = std::make_shared<URLSessionHTTPClient>(session()),
                                         .tokens = tokens});
        commandClient_.emplace(*client_, global_.dryRun ? CommandClient::Changes::rehearse
                                                        : CommandClient::Changes::send);
    }
    return *commandClient_;
}

std::chrono::milliseconds Composition::clockCorrection() {
    return std::chrono::milliseconds(userDefaults()->integer(clockCorrectionKey).value_or(0));
}

void Composition::rememberClockCorrection(std::chrono::milliseconds correction) {
    try {
        if (std::chrono::abs(correction) >= smallestCorrection)
            userDefaults()->set(clockCorrectionKey, std::int64_t{correction.count()});
        else if (userDefaults()->integer(clockCorrectionKey))
            userDefaults()->remove(clockCorrectionKey);
    } catch (const std::exception& error) {
        // Only a convenience: the next run learns it again.
        Logger("Composition").warning(fmt::format("The clock's correction was not kept: {}", error.what()));
    }
}

bool Composition::rememberWhatWasLearnt() {
    if (!client_) return false;
    const auto learnt = client_->tokens()->clockCorrection();
    if (std::chrono::abs(learnt - clockCorrection()) < measuringError) return false;
    rememberClockCorrection(learnt);
    return true;
}

std::optional<ASCRateLimit> Composition::rateLimit() const {
    return client_ ? client_->rateLimit() : std::nullopt;
}

} // namespace quorvel
