#include "Core/assistants/MCPConfiguration.h"

#include "Platform/json/JSON.h"

#include <utility>

namespace quorvel {

namespace {

JSONText checkedText(std::string text) {
    try {
        return JSONText(std::move(text));
    } catch (const JSONTextError& error) {
        throw MCPConfigurationError(error.what());
    }
}

JSONObjectSpan objectIn(const JSONText& document, std::size_t offset, std::string_view what) {
    if (!document.isObject(offset)) throw MCPConfigurationError(std::string(what) + " is no object");
    return document.object(offset);
}

std::optional<std::size_t> onlyMember(const JSONObjectSpan& object, std::string_view key) {
    std::optional<std::size_t> found;
    for (std::size_t index = 0; index < object.members.size(); ++index) {
        if (object.members[index].key != key) continue;
        if (found) throw MCPConfigurationError("\"" + std::string(key) + "\" stands there twice");
        found = index;
    }
    return found;
}

} // namespace

MCPConfiguration::MCPConfiguration(std::string text)
    : document_(checkedText(std::move(text))), root_(objectIn(document_, document_.root(), "the whole")) {
    const auto servers = onlyMember(root_, serversKey);
    if (!servers) return;
    servers_ = objectIn(document_, root_.members[*servers].value, "\"mcpServers\"");
    entry_ = onlyMember(*servers_, entryKey);
}

JSONValue MCPConfiguration::entryFor(const std::string& binaryPath) {
    return JSONValue::object({{"command", binaryPath}, {"args", JSONValue::array()}});
}

JSONValue MCPConfiguration::entry() const {
    try {
        return decodeJSON<JSONValue>(document_.valueOf(servers_->members[*entry_]));
    } catch (const JSONError&) { // a number without bounds, for example
        return {};
    }
}

std::optional<std::string> MCPConfiguration::command() const {
    if (!entry_) return std::nullopt;
    const JSONValue found = entry();
    const JSONValue* command = found.find("command");
    return command && command->text() ? *command->text() : "";
}

std::string MCPConfiguration::installing(const std::string& binaryPath) const {
    const JSONValue wanted = entryFor(binaryPath);
    if (entry_) return entry() == wanted ? text() : document_.replacing(servers_->members[*entry_], wanted);
    if (servers_) return document_.adding(*servers_, entryKey, wanted);
    return document_.adding(root_, serversKey, JSONValue::object({{std::string(entryKey), wanted}}));
}

std::string MCPConfiguration::uninstalling() const {
    return entry_ ? document_.removing(*servers_, *entry_) : text();
}

} // namespace quorvel
