// A sandbox of its own with everything that reaches it.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCCredentialsLoader.h"
#include "Platform/files/Files.h"
#include "Sandbox/SandboxServer.h"
#include "Tests/support/TemporaryFolder.h"

#include <memory>

namespace quorvel::test {

/// A running sandbox and a client that never really sleeps: retries follow at once.
struct Rehearsal {
    explicit Rehearsal(sandbox::Options options = {}, int maxRetries = 3)
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
