// The assistants' server over a sandbox.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Quorvel/assistants/Server.h"
#include "Tests/support/ApplicationSandbox.h"
#include "Tests/support/AssistantClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

namespace quorvel::test {

inline const std::string sketchID(sketchApp);

inline JSONValue object(JSONValue::Object members) {
    return JSONValue::object(std::move(members));
}

struct AssistantServerTest : testing::Test {
    ApplicationSandbox sandbox;
    std::chrono::seconds later{0}; // than it is
    AssistantServer server{[&] { return sandbox.made(); }, "1.2.3",
                           [&, clock = systemClock()] { return clock() + later; }};

    void allow(AssistantPermission permission) const {
        AssistantPermissionSetting(sandbox.application->userDefaults()).choose(permission);
    }
    [[nodiscard]] std::ptrdiff_t changesSent() const {
        return std::ranges::count_if(sandbox.server.requests(), [](const auto& request) {
            return request.method != "GET" && request.path.starts_with("/v1/");
        });
    }
    // An edit of the sketch app's name, which a push would send.
    void editSketch(AssistantClient& client, const std::string& name) const {
        (void)client.ask("pull", object({{"app", sketchID}}));
        MetadataStore(sandbox.contextFolder("mosswick-skizzenbuch")).write("de-DE", FieldType::name, name);
    }
    static JSONValue preparedPush(AssistantClient& client) {
        const auto plan = client.ask("prepare_push", object({{"what", "texts"}, {"app", sketchID}}));
        return object({{"handle", *plan.find("handle")}});
    }
};

} // namespace quorvel::test
