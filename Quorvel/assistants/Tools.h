// All tools of the assistants' server, and how a call of one goes.
#pragma once

#include "Quorvel/assistants/Page.h"
#include "Quorvel/assistants/Tool.h"

#include <span>
#include <string>
#include <string_view>

namespace quorvel {

/// In the order in which a model meets them; no two share a name.
[[nodiscard]] std::span<const Tool> allTools();
[[nodiscard]] const Tool* findTool(std::string_view name);

// The groups that allTools() joins.
[[nodiscard]] std::vector<Tool> lookingTools();
[[nodiscard]] std::vector<Tool> editingTools();
[[nodiscard]] std::vector<Tool> sendingTools();
[[nodiscard]] std::vector<Tool> marketTools();

/// What "tools/list" says of a tool.
[[nodiscard]] JSONValue toolDescription(const Tool& tool, Revision revision);

/// The parts of a call that are the same for all tools.
struct ToolSurroundings {
    Application& application;
    PlanHandles& handles;
    KeptRests& rests;
    std::optional<std::string> workspace;
    AssistantPermission permission = AssistantPermission::edits;
};

/// Performs a "tools/call". Throws `ProtocolError` for one that is malformed or of an unknown tool; every
/// other failure is a result.
[[nodiscard]] JSONValue callTool(const ToolSurroundings& surroundings, const IncomingMessage& message,
                                 RequestScope& scope);

/// The result of a call that failed.
[[nodiscard]] JSONValue toolFailure(std::string_view text);

} // namespace quorvel
