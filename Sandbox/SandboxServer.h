// A local stand-in for App Store Connect, over real HTTP on 127.0.0.1, to try a release on.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Platform/task/StopToken.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

enum class Seed {
    demo,  // a small believable account: three apps, one in 40 locales on two platforms
    empty, // one app without a version
};

/// Something that goes wrong on purpose. `route` is a method and a path pattern such as
/// "PATCH /v1/appStoreVersionLocalizations/*" ("*" is one segment of a path, "**" all that follow); "*" alone
/// stands for every route of the service.
struct Fault {
    std::string route = "*";
    std::optional<int> status = {}; // answer this status with Apple's error document instead of working
    std::optional<std::string> action = {}; // or: "reset", "resetDuring" (in the middle of an upload part),
                                            // "resetAfter" (work done, no answer), "statusAfter" (work done,
                                            // `status` answered), "truncate" (half a body), "slow" (byte by
                                            // byte), "expireToken" (401)
    double probability = 1;
    std::optional<std::int64_t> count = {}; // how often at the most; no bound when empty
    std::optional<double> retryAfter = {};  // seconds, for 429 and 503
};

/// Reads a fault from the form of the command line: "ROUTE:STATUS_OR_ACTION[:PROBABILITY[:COUNT]]", such as
/// "GET /v1/apps:503:0.2"; "503After" is the action "statusAfter" with the status 503. Throws
/// `std::invalid_argument` that names what is wrong.
[[nodiscard]] Fault parseFault(std::string_view text);

struct Options {
    std::filesystem::path stateFolder; // resources, key and endpoints.json are kept here; made when missing
    Seed seed = Seed::demo;            // used when the state folder holds no state yet
    std::uint16_t port = 0;            // 0: any free one
    int latencyMilliseconds = 0;       // before each answer
    std::vector<Fault> faults;
    std::uint64_t faultSeed = 1;
    int hourlyQuota = 3600;
    std::optional<std::filesystem::path> salesFolder = {}; // of daily reports, YYYY-MM-DD.tsv each; they are
                                                           // read when they are asked for
    std::string vendorNumber = "80457216";                 // of a new account
    int storeSearchesPerMinute = 0;                        // that the public store answers; 0: all
};

/// How the model behind the relay answers.
struct ModelManner {
    std::string wrapping = "none"; // around each answer: "fence", "prose", "proseAndFence" or "quotes"
    int tooLongAnswers = 0;        // to each prompt at first, over the limit that it names
    // What the first, second, … answer to each prompt is, and the usual one from then on: "usual",
    // "brokenOff" (half of it, finish reason "length"), "filtered" (its first words, "content_filter"),
    // "badJSON", "rightToLeft" (behind a mark, with Arabic digits), "remark" (with a note behind it),
    // "refusal", "echo" (the source text, or the review's) or "careless" (without addresses, placeholders and
    // numbers).
    std::vector<std::string> script = {};
    std::string only = {}; // the script is for prompts that hold this text
};

/// What the relay counted. Answers that a fault kept from the client are counted apart.
struct RelayAccount {
    std::int64_t calls = 0;
    std::int64_t promptTokens = 0;
    std::int64_t completionTokens = 0;
    std::int64_t repeatedCalls = 0; // with the very body of an earlier call that was answered
    std::int64_t lostCalls = 0;
    bool operator==(const RelayAccount&) const = default;
};

/// How to reach a running sandbox.
struct Access {
    std::string url; // such as "http://127.0.0.1:8460"
    std::filesystem::path endpointsFile;
    std::string keyID;
    std::string issuerID;
    std::filesystem::path privateKeyFile;
    std::string vendorNumber;
    std::string relayURL;
    std::string relaySecret; // what requests to the relay are signed with
};

/// What a customer writes.
struct CustomerOpinion {
    int rating = 5;
    std::string title;
    std::string body;
    std::string nickname = "somebody";
    std::string territory = "USA";
};
/// What an author does to a review.
struct ReviewEdit {
    std::optional<int> rating = {};
    std::optional<std::string> title = {};
    std::optional<std::string> body = {};
    bool isDeleted = false; // with the response to it
};

/// A request that the sandbox was sent.
struct RecordedRequest {
    std::string method;
    std::string path;   // without the query
    std::string target; // path and query as sent
    std::string body;
    int status = 0;            // 0: the connection was cut
    std::string authorization; // only its scheme and the token's key id, never the token
};

/// Serves until it is destroyed. Its control routes do the same as the operations here: GET /__sandbox/state,
/// GET and DELETE /__sandbox/requests, and with a JSON object each POST /__sandbox/faults, advance, states,
/// keys (also `role`), builds, generate, latency, quota, store (`searchesPerMinute`), clock (`skew`), pace
/// (`screenshots`: seconds that they are processed, `screenshotsFail`, `visibility`: seconds until lists show
/// what was created, `cancellation`: seconds until a canceled submission has left review), nulls (`sent`:
/// whether attributes without a value are sent as null instead of left out), review (`app`, `rating`,
/// `title`, `body`, `nickname`, `territory`: adds one), reviews (`review`: its id, with what its author
/// changes, or `deleted`) and relay (`wrapping`, `tooLongAnswers`, `script`, `only`); GET /__sandbox/relay is
/// the relay's account.
class SandboxServer {
  public:
    /// Starts to serve. Throws `std::runtime_error` when the port is taken, the state folder cannot be used
    /// or the sales folder holds no reports.
    explicit SandboxServer(Options options);
    ~SandboxServer();
    SandboxServer(const SandboxServer&) = delete;
    SandboxServer& operator=(const SandboxServer&) = delete;

    [[nodiscard]] const Access& access() const;
    /// One line of JSON that tells how to reach it: ready, url, endpoints, keyID, issuerID, privateKey,
    /// vendorNumber.
    [[nodiscard]] std::string readyLine() const;

    void setFaults(std::vector<Fault> faults);
    void setLatency(int milliseconds);
    void setHourlyQuota(int requests);
    /// How many searches the public store answers in a minute; 0 is no bound.
    void setStoreSearches(int perMinute);
    [[nodiscard]] std::vector<RecordedRequest> requests() const;
    /// Blocks until it was sent that many requests since it began or forgot them; whether it was, or `token`
    /// was stopped first.
    bool awaitRequests(std::size_t count, const std::stop_token& token) const;
    void forgetRequests();
    /// Moves the virtual clock on.
    void advance(double seconds);
    /// Makes the service's clocks differ from this machine's, for tokens and the Date header alike.
    void skewClock(double seconds);
    /// Delivers a build as the upload tool would; it is processed for five minutes of the virtual clock.
    /// Returns its id. Throws `std::invalid_argument` when there is no such app or platform.
    std::string addBuild(std::string_view appOrBundleID, std::string_view platform, std::string_view version,
                         std::string_view number);
    /// Adds reviews to an app, the newest an hour old. Throws `std::invalid_argument` when there is no such
    /// app.
    void addReviews(std::string_view appOrBundleID, int count);
    /// Adds one review, the newest; its id. Throws `std::invalid_argument` when there is no such app.
    std::string addReview(std::string_view appOrBundleID, const CustomerOpinion& opinion);
    /// Changes or deletes a review as its author would. Throws `std::invalid_argument` when there is none.
    void changeReview(std::string_view reviewID, const ReviewEdit& edit);
    /// Revokes or reinstates the account's key.
    void revokeKey(bool revoked);
    /// Moves a version (by id) to an App Store state as App Review would.
    void setVersionState(std::string_view versionID, std::string_view state);
    /// Throws `std::invalid_argument` for an unknown wrapping or scripted answer.
    void setModelManner(ModelManner manner);
    [[nodiscard]] RelayAccount relayAccount() const;
    /// All resources: an object of resource types, each an object of ids.
    [[nodiscard]] JSONValue state() const;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace quorvel::sandbox
