#include "Platform/task/Task.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Sandbox/SandboxServer.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

sandbox::Options optionsOf(const Invocation& invocation) {
    const Arguments& arguments = invocation.arguments;
    constexpr long longestLatency = 60'000;
    constexpr long mostRequests = 1'000'000'000;
    constexpr long mostSearches = 100'000;
    sandbox::Options options;
    options.stateFolder = invocation.surroundings.workingFolder / *arguments.value("--state");
    options.seed = arguments.value("--seed") == "empty" ? sandbox::Seed::empty : sandbox::Seed::demo;
    options.port = static_cast<std::uint16_t>(arguments.number("--port", 0, 65535).value_or(0));
    options.latencyMilliseconds =
        static_cast<int>(arguments.number("--latency", 0, longestLatency).value_or(0));
    options.hourlyQuota =
        static_cast<int>(arguments.number("--quota", 1, mostRequests).value_or(options.hourlyQuota));
    // As the real store does.
    options.storeSearchesPerMinute =
        static_cast<int>(arguments.number("--store-searches", 0, mostSearches).value_or(20));
    options.faultSeed =
        static_cast<std::uint64_t>(arguments.number("--fault-seed", 0, mostRequests).value_or(1));
    if (const auto sales = arguments.value("--sales"))
        options.salesFolder = invocation.surroundings.workingFolder / *sales;
    for (const std::string& fault : arguments.values("--fault")) {
        try {
            options.faults.push_back(sandbox::parseFault(fault));
        } catch (const std::invalid_argument& error) {
            throw UsageError(fmt::format("{} is no value of --fault: {}", quotedWord(fault), error.what()),
                             "It takes ROUTE:STATUS_OR_ACTION[:PROBABILITY[:COUNT]], "
                             "such as \"PATCH *:503:0.2\".");
        }
    }
    return options;
}

ExitStatus serve(Invocation& invocation) {
    const sandbox::Options options = optionsOf(invocation);
    const sandbox::SandboxServer server(options);
    invocation.output.raw(server.readyLine() + "\n");
    invocation.output.note(
        fmt::format("Serving {}. Point quorvel to it with QUORVEL_ENDPOINTS={}; end it with Ctrl-C.",
                    server.access().url, server.access().endpointsFile.string()));
    constexpr double untilCancelled = 1e9; // seconds
    try {
        sleepFor(untilCancelled);
    } catch (const CancellationError&) {
        // The way in which this command ends.
    }
    return ExitStatus::done;
}

} // namespace

std::vector<Command> sandboxCommands() {
    return {
        {.name = "sandbox",
         .summary = "Serve a local stand-in for App Store Connect until it is interrupted",
         .arguments =
             {{"--state",
               "DIR",
               "Folder in which it keeps its resources, its key and endpoints.json",
               {},
               ArgumentSpec::Need::required},
              {"--seed",
               "SEED",
               "What a new account holds: an example account, or one app without a version",
               {"demo", "empty"}},
              {"--port", "PORT", "Port on 127.0.0.1; 0 takes any free one, which is the default"},
              {"--latency", "MS", "Milliseconds before each answer"},
              {"--quota", "NUMBER", "Requests per hour (3600)"},
              {"--store-searches", "NUMBER",
               "Searches that the public store answers in a minute (20); 0 is no bound"},
              {"--fault",
               "SPEC",
               "Goes wrong on purpose: ROUTE:STATUS_OR_ACTION[:PROBABILITY[:COUNT]], "
               "such as \"GET /v1/apps:503:0.2\"",
               {},
               ArgumentSpec::Need::optional,
               ArgumentSpec::Count::repeated},
              {"--sales", "DIR",
               "Serve the daily sales reports of this folder, each a file YYYY-MM-DD.tsv, instead of "
               "made-up ones"},
              {"--fault-seed", "NUMBER", "Seed of the faults' dice"}},
         .run = serve,
         .details =
             "When it is ready it prints one line of JSON that says how to reach it: url, endpoints, "
             "keyID, issuerID, privateKey and vendorNumber. What is changed stays in the state folder. With --sales a "
             "day without a file had no sales, and days after the newest file are not published yet; files may "
             "be added while it serves. Example: quorvel sandbox --state /tmp/account --sales reports"},
    };
}

} // namespace quorvel
