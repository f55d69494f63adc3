// An application over a sandbox, as a face would make one.
#pragma once

#include "Platform/files/Files.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Tests/support/SandboxFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace quorvel::test {

inline const std::string gardenID(gardenApp);

/// What the error of `work` means; fails the test when it throws none.
inline FailureKind kindOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& error) {
        return failureOf(error).kind;
    }
    ADD_FAILURE() << "nothing was thrown";
    return FailureKind::failed;
}

struct ApplicationSandbox {
    explicit ApplicationSandbox(sandbox::Options options = {})
        : server(SandboxFixture::inFolder(std::move(options), folder)), application(made()) {}

    /// Another one of the same home, as another process has it.
    [[nodiscard]] std::unique_ptr<Application> made() const {
        return std::make_unique<Application>(options());
    }
    [[nodiscard]] ApplicationOptions options() const {
        const sandbox::Access& access = server.access();
        return {.home = {folder / "home"},
                .workingFolder = folder.path(),
                .endpointsFile = access.endpointsFile,
                .credentials = {{.name = "options",
                                 .keyID = access.keyID,
                                 .issuerID = access.issuerID,
                                 .privateKeyPEM = {},
                                 .privateKeyFile = access.privateKeyFile.string()}}};
    }
    /// The default folder of a context of an app.
    [[nodiscard]] MetadataFolder contextFolder(std::string_view slug, const ContextID& context = {}) const {
        return defaultAppFolder({folder / "home"}, slug).contextFolder(context);
    }

    TemporaryFolder folder;
    sandbox::SandboxServer server;
    std::unique_ptr<Application> application;
};

} // namespace quorvel::test
