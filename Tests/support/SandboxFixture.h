// A sandbox of its own with everything that reaches it.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCCredentialsLoader.h"
#include "Platform/files/Files.h"
#include "Sandbox/SandboxServer.h"
#include "Tests/support/TemporaryFolder.h"

#include <memory>
#include <string_view>

namespace quorvel::test {

inline constexpr std::string_view gardenApp = "6700000101"; // forty locales; iOS and macOS, live and next
inline constexpr std::string_view tidesApp = "6700000102";  // iOS, a next version that is locked
inline constexpr std::string_view sketchApp = "6700000103"; // iOS, before its first release

/// A running sandbox and a client that never really sleeps: retries follow at once.
struct SandboxFixture {
    explicit SandboxFixture(sandbox::Options options = {}, int maxRetries = 3)
        : server(inFolder(std::move(options), folder)),
          session(std::make_shared<URLSession>()),
          http(std::make_shared<URLSessionHTTPClient>(session)),
          client({.baseURL = server.access().url,
                  .http = http,
                  .tokens = std::make_shared<ASCTokenProvider>(
                      makeAuth({server.access().keyID, server.access().issuerID,
                                readFile(server.access().privateKeyFile).value()})),
                  .maxRetries = maxRetries,
                  .sleepFor = [](double) {}}) {}

    static sandbox::Options inFolder(sandbox::Options options, const TemporaryFolder& folder) {
        options.stateFolder = folder / "sandbox";
        return options;
    }

    TemporaryFolder folder;
    sandbox::SandboxServer server;
    std::shared_ptr<URLSession> session;
    std::shared_ptr<URLSessionHTTPClient> http;
    ASCClient client;
};

} // namespace quorvel::test
