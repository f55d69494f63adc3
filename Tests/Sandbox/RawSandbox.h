// A running sandbox and a plain client of it: real HTTP, tokens signed with the account's key, no helpers of
// the real client.
#pragma once

#include "Platform/crypto/P256PrivateKey.h"
#include "Platform/http/URLSession.h"
#include "Platform/json/JSONValue.h"
#include "Sandbox/SandboxServer.h"
#include "Tests/support/TemporaryFolder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox::test {

struct Reply {
    int status = 0;
    JSONValue body;
    HTTPResponse response;

    /// The codes of the error document, joined by a blank.
    [[nodiscard]] std::string codes() const;
    /// The source of the first error.
    [[nodiscard]] std::string source() const;
    [[nodiscard]] std::string detail() const;
    [[nodiscard]] std::string id() const;
    /// An attribute of the answered resource; empty when it is no text.
    [[nodiscard]] std::string text(std::string_view attribute) const;
    [[nodiscard]] const JSONValue::Array& list() const&;
    [[nodiscard]] JSONValue::Array list() && { return std::as_const(*this).list(); } // loops over temporaries
};

/// The claims and header of a token; changed by tests to make it wrong.
struct TokenParts {
    std::string algorithm = "ES256";
    std::string keyID;
    std::string issuerID;
    std::string audience = "appstoreconnect-v1";
    std::int64_t issuedAt = 0; // seconds from now
    std::int64_t expiry = 600; // seconds from now
};

class RawSandbox {
  public:
    explicit RawSandbox(Seed seed = Seed::demo, Options options = {});

    [[nodiscard]] SandboxServer& server() { return *server_; }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_.path(); }
    /// Ends the sandbox and begins another over the same state folder.
    void restart();

    [[nodiscard]] TokenParts tokenParts() const;
    [[nodiscard]] std::string sign(const TokenParts& parts) const;
    void useToken(std::string token) { token_ = std::move(token); }

    /// Sends one request; a target that begins with "/" is one of the sandbox. A PUT carries no token. Throws
    /// `TransportError`.
    Reply send(std::string_view method, std::string_view target, std::string body = {},
               std::vector<HTTPHeader> headers = {});
    Reply get(std::string_view target) { return send("GET", target); }
    Reply post(std::string_view path, const JSONValue& body);
    Reply patch(std::string_view path, const JSONValue& body);
    /// Creates a resource of `type` at its own path.
    Reply create(std::string_view type, JSONValue::Object attributes,
                 const std::vector<std::pair<std::string, std::string>>& relations);
    Reply update(std::string_view type, std::string_view id, JSONValue::Object attributes);

    // Ids of the seeds' resources, looked up over HTTP.
    [[nodiscard]] std::string app(std::string_view bundleID);
    [[nodiscard]] std::string version(std::string_view app, std::string_view platform,
                                      std::string_view versionString);
    [[nodiscard]] std::string localization(std::string_view version, std::string_view locale);
    [[nodiscard]] std::string build(std::string_view app, std::string_view number);

    /// Uploads `bytes` as a screenshot of `set`, part by part, and commits it.
    Reply upload(std::string_view set, std::string_view fileName, const std::string& bytes);

  private:
    quorvel::test::TemporaryFolder folder_;
    Options options_;
    std::unique_ptr<SandboxServer> server_;
    URLSession session_;
    std::string token_;
};

[[nodiscard]] JSONValue reference(std::string_view type, std::string_view id);

/// The relationship's resource type of the name, such as "apps" for "app".
[[nodiscard]] std::string typeOf(std::string_view relation);

} // namespace quorvel::sandbox::test
