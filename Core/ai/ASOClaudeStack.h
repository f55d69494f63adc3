// The usual AI client with its cache and its ledger.
#pragma once

#include "Core/ai/AnthropicCredentialsLoader.h"
#include "Core/ai/CachedClaudeClient.h"
#include "Core/ai/ClaudeClient.h"
#include "Platform/files/Home.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace quorvel {

struct ASOClaudeStack {
    static constexpr double defaultCacheTTL = 86'400; // seconds: one day

    struct Components {
        std::shared_ptr<const ClaudeClientProtocol> client;
        std::string model; // for the requests of features
        std::shared_ptr<const ClaudeResponseCache> cache;
        std::shared_ptr<const ClaudeCostRecorder> costRecorder;
    };

    struct Parts {
        AnthropicCredentialsLoader loader;
        Home home;
        std::optional<std::filesystem::path> baseDirectory = {}; // `defaultDirectory` of the home when empty
        double cacheTTL = defaultCacheTTL;
        RelayAccess relay;
        std::shared_ptr<HTTPClient> http;
        std::function<void(double seconds)> sleepFor = {}; // the task's own sleep when empty
        Clock clock = systemClock();
    };

    /// Throws `FileError` when the folders of the cache or the ledger cannot be made.
    [[nodiscard]] static Components make(Parts parts);

    /// <Application Support>/Brevant/aso, which holds "cache" and "costs.jsonl".
    [[nodiscard]] static std::filesystem::path defaultDirectory(const Home& home) {
        return home.applicationSupport() / "Brevant" / "aso";
    }
    [[nodiscard]] static std::filesystem::path ledgerFile(const std::filesystem::path& baseDirectory) {
        return baseDirectory / "costs.jsonl";
    }
};

} // namespace quorvel
