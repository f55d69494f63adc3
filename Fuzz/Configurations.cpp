// Any bytes as an assistant's configuration: refused with a reason, or changed in the one entry alone.
#include "Core/assistants/MCPConfiguration.h"
#include "Platform/json/JSON.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

using namespace quorvel;

std::optional<JSONValue> otherReader(const std::string& text) {
    try {
        return decodeJSON<JSONValue>(text);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

void require(bool holds) {
    if (!holds) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string server = "/opt/\"quorvel\"/quorvel-mcp";
    try {
        const MCPConfiguration before(text);
        const MCPConfiguration installed(before.installing(server));
        require(installed.command() == server && installed.installing(server) == installed.text());
        const MCPConfiguration without(installed.uninstalling());
        require(!without.hasEntry());
        if (before.hasEntry()) return 0;
        require(without.installing(server) == installed.text());
        // All of the bytes are there still.
        const auto& after = installed.text();
        const auto front = std::mismatch(text.begin(), text.end(), after.begin(), after.end()).first;
        const auto back = std::mismatch(text.rbegin(), text.rend(), after.rbegin(), after.rend()).first;
        require(front >= back.base());
        // What had a place for servers has its own bytes again.
        const auto value = otherReader(text);
        require(!value || !value->find(MCPConfiguration::serversKey) || without.text() == text);
    } catch (const MCPConfigurationError& error) {
        require(std::strlen(error.what()) > 0);
        try {
            const JSONText document(text);
        } catch (const JSONTextError& problem) {
            // What another reader takes is refused for its depth only.
            require(!otherReader(text) || std::strstr(problem.what(), "too many brackets"));
        }
    }
    return 0;
}
