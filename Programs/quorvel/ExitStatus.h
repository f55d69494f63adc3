// The exit statuses of the program.
#pragma once

namespace quorvel {

enum class ExitStatus {
    done = 0,
    failed = 1,
    usage = 2,
    noCredentials = 3,  // none, or refused
    notFound = 4,       // no such app, version or context
    refusedByState = 5, // by the state on App Store Connect
    serviceTrouble = 6, // network or service
    partlyDone = 7,     // some items failed or were left out, each listed
    interrupted = 130,
};

} // namespace quorvel
