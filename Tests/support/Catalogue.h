// Every operation of App Store Connect that the client offers, called once.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/HTTPClient.h"

#include <string>
#include <vector>

namespace quorvel::test {

struct CatalogueReport {
    std::vector<std::string> called; // names of operations, in order
    std::vector<std::string> failed; // "operation: error"
};

/// Calls every operation once on an account like the sandbox's seed `demo`, each with what the ones before it
/// found or made; upload parts go through `http`. A service of canned examples works as well.
[[nodiscard]] CatalogueReport callEveryOperation(const ASCClientProtocol& client, HTTPClient& http,
                                                 const std::string& vendorNumber);

} // namespace quorvel::test
