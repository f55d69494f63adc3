// A sandbox of its own and a client to it.
#pragma once

#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCCredentialsLoader.h"
#include "Platform/files/Files.h"
#include "Sandbox/SandboxServer.h"
#include "Tests/support/TemporaryFolder.h"

namespace quorvel::benchmarks {

struct Rehearsal {
    explicit Rehearsal(sandbox::Seed seed, int latencyMilliseconds = 0)
        : server({.stateFolder = folder / "sandbox",
                  .seed = seed,
                  .latencyMilliseconds = latencyMilliseconds,
                  .hourlyQuota = 100'000'000}),
          client({.baseURL = server.access().url,
                  .http = std::make_shared<URLSessionHTTPClient>(std::make_shared<URLSession>()),
                  .tokens = std::make_shared<ASCTokenProvider>(
                      makeAuth({server.access().keyID, server.access().issuerID,
                                readFile(server.access().privateKeyFile).value()}))}) {}

    test::TemporaryFolder folder;
    sandbox::SandboxServer server;
    ASCClient client;
};

} // namespace quorvel::benchmarks
