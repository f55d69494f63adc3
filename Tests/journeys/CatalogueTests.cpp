#include "Tests/support/Catalogue.h"

#include "Tests/support/SandboxFixture.h"
#include "Tests/support/TestKey.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

using namespace quorvel;

namespace {

void expectAllCalled(const test::CatalogueReport& report) {
    EXPECT_EQ(std::set<std::string>(report.called.begin(), report.called.end()),
              test::operationNames(QUORVEL_SOURCE_DIR));
    for (const std::string& failure : report.failed)
        ADD_FAILURE() << failure;
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// The key named by the environment, or any key where none is: some services check a token's form only.
ASCAuth keyOfEnvironment() {
    const std::string file = environment("ASC_PRIVATE_KEY_PATH");
    if (file.empty()) return test::auth();
    return makeAuth({environment("ASC_KEY_ID"), environment("ASC_ISSUER_ID"), readFile(file).value_or("")});
}

} // namespace

TEST(catalogue, everyOperationSucceedsOnTheSandbox) {
    test::SandboxFixture fixture;
    expectAllCalled(
        test::callEveryOperation(fixture.client, *fixture.http, fixture.server.access().vendorNumber));
}

TEST(catalogue, everyOperationSucceedsOnTheServiceOfTheEnvironment) {
    const std::string url = environment("QUORVEL_CATALOGUE_URL");
    if (url.empty()) GTEST_SKIP() << "QUORVEL_CATALOGUE_URL names no service";
    const auto http = std::make_shared<URLSessionHTTPClient>(std::make_shared<URLSession>());
    const ASCClient client(
        {.baseURL = url, .http = http, .tokens = std::make_shared<ASCTokenProvider>(keyOfEnvironment())});
    expectAllCalled(test::callEveryOperation(client, *http, environment("ASC_VENDOR_NUMBER")));
}
