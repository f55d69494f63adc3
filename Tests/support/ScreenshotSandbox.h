// An app with screenshots on disk and a sandbox to push them to.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Core/screenshots/ScreenshotsStore.h"
#include "Tests/support/SandboxFixture.h"
#include "Tests/support/ScreenshotTree.h"

#include <algorithm>

namespace quorvel::test {

/// An app, its folder, and pushes whose waits are the sandbox's virtual time.
struct ScreenshotSandbox : SandboxFixture {
    explicit ScreenshotSandbox(sandbox::Options options = {.hourlyQuota = 1'000'000},
                               AssetKind kind = AssetKind::screenshot)
        : SandboxFixture(std::move(options)),
          app{folder / "app"},
          context(MetadataPuller(client, systemClock()).discover(gardenApp).contexts.at(0)),
          retries{.backoff = [](int) { return 1.0; },
                  .sleepFor = [this](double seconds) { server.advance(seconds); }},
          store(
              app, context, [] { return dateFromSecondsSince1970(1772368200); }, retries, kind),
          push{retries, kind} {}

    [[nodiscard]] std::filesystem::path picture(const std::string& path) const {
        return store.paths().pictures / path;
    }
    [[nodiscard]] std::string drawn(const std::string& type, unsigned number) {
        return drawings.picture(type, number);
    }
    void drawThirtySixSets() { putThirtySixSets(store.paths().pictures, drawings); }
    [[nodiscard]] PreparedScreenshots prepare(ScreenshotPushMode mode) const {
        const ScreenshotSelection selection{.kind = push.kind};
        return prepareScreenshots(scanScreenshots(store.paths().pictures, selection),
                                  store.readRemote(client), {.mode = mode, .selection = selection});
    }
    ScreenshotPushSummary pushAll(ScreenshotPushMode mode, const ScreenshotPusher::Observer& observer = {}) {
        auto prepared = prepare(mode);
        auto summary = ScreenshotPusher(client, *http, context, std::string(gardenApp), push)
                           .push(prepared.plan.edits, observer);
        summary.failures.insert(summary.failures.begin(), prepared.failures.begin(), prepared.failures.end());
        return summary;
    }
    [[nodiscard]] HeldSets held() const { return heldSets(server, context.versionId, push.kind); }
    /// The sets that have local files, as the sandbox holds them.
    [[nodiscard]] HeldSets heldOf(const HeldSets& wanted) const {
        auto sets = namesAndChecksums(held());
        std::erase_if(sets, [&](const auto& set) { return !wanted.contains(set.first); });
        return sets;
    }
    [[nodiscard]] std::size_t sent(std::string_view method, std::string_view path) const {
        const auto requests = server.requests();
        return static_cast<std::size_t>(std::ranges::count_if(requests, [&](const auto& request) {
            return request.method == method && request.path.starts_with(path);
        }));
    }

    MetadataFolder app;
    PlatformContext context;
    RetryOptions retries;
    ScreenshotsStore store;
    ScreenshotPushOptions push;
    Drawings drawings;
};

} // namespace quorvel::test
