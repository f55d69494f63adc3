// Every operation of App Store Connect that the client offers, called once.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Platform/http/HTTPClient.h"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace quorvel::test {

/// The names of all operations, read from the members that ASCClientProtocol.h declares.
[[nodiscard]] std::set<std::string> operationNames(const std::filesystem::path& sourceFolder);

struct CatalogueReport {
    std::vector<std::string> called; // names of operations, in order
    std::vector<std::string> failed; // "operation: error"
};

/// Calls every operation once on an account like the sandbox's seed `demo`, each with what the ones before it
/// found or made. Upload parts go through `http`. A service that answers with fixed examples works as well.
[[nodiscard]] CatalogueReport callEveryOperation(const ASCClientProtocol& client, HTTPClient& http,
                                                 const std::string& vendorNumber);

} // namespace quorvel::test
