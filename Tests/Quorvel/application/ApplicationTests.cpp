#include "Platform/files/Files.h"
#include "Quorvel/application/Application.h"
#include "Tests/support/ScriptedServer.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

using namespace quorvel;

TEST(Application, sendsOverHTTPSOnlyWhereAppStoreConnectIsAskedThatWay) {
    const test::TemporaryFolder folder;
    for (const auto& [address, isSent] :
         {std::pair("https://api.example.test", false), std::pair("http://127.0.0.1:1", true)}) {
        test::ScriptedServer server({{test::Receive{}, test::Send{test::answer("200 OK", "")}}});
        writeFileAtomically(folder / "endpoints.json",
                            std::string(R"({"appStoreConnect":")") + address + "\"}");
        Application application({.home = {folder / "home"},
                                 .workingFolder = folder.path(),
                                 .endpointsFile = folder / "endpoints.json"});
        const HTTPRequest upload{.method = "PUT", .url = server.url(), .body = "part"};
        if (isSent)
            EXPECT_EQ(application.transfers()->send(upload).status, 200);
        else
            EXPECT_THROW((void)application.transfers()->send(upload), TransportError);
        EXPECT_EQ(server.connections(), isSent ? 1u : 0u);
    }
}
