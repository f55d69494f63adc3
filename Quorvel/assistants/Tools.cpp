#include "Quorvel/assistants/Tools.h"

#include "Platform/task/Task.h"
#include "Platform/text/Spelling.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/assistants/ToolFailures.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

namespace quorvel {

namespace {

std::vector<Tool> madeTools() {
    std::vector<Tool> tools;
    for (auto group : {lookingTools(), editingTools(), sendingTools(), marketTools()})
        std::ranges::move(group, std::back_inserter(tools));
    for (Tool& tool : tools)
        if (!tool.list.empty()) addArgument(tool.input, moreMember, "string");
    return tools;
}

bool allows(AssistantPermission permission, ToolReach reach) {
    switch (reach) {
    case ToolReach::looks:
        return true;
    case ToolReach::edits:
        return permission != AssistantPermission::readOnly;
    case ToolReach::sends:
        return permission == AssistantPermission::all;
    }
    return false;
}

// The arguments without what was left open, each of them one that the tool has.
JSONValue argumentsOf(const Tool& tool, const JSONValue* given) {
    JSONValue arguments = JSONValue::object();
    if (!given || given->isNull()) return arguments;
    if (!given->members()) throw ProtocolError(rpc::invalidParams, "\"arguments\" must be an object.");
    const JSONValue* const properties = tool.input.find("properties");
    for (const auto& [name, value] : *given->members()) {
        if (name != moreMember && (!properties || !properties->find(name))) {
            std::vector<std::string_view> names;
            if (properties)
                for (const auto& [known, schema] : *properties->members())
                    names.push_back(known);
            throw ApplicationError(FailureKind::badRequest,
                                   fmt::format("{} is no argument of {}", quotedWord(name), tool.name),
                                   names.empty() ? std::string("It takes none.")
                                                 : fmt::format("It takes {}.", fmt::join(names, ", ")));
        }
        if (!value.isNull()) arguments.set(name, value);
    }
    return arguments;
}

ActionProgress progressTo(RequestScope& scope) {
    ActionProgress progress;
    progress.step = [&scope](const ActionProgress::Step& step) {
        scope.tell(step.done ? fmt::format("{} ({} of {})", step.text, *step.done, step.total) : step.text);
    };
    progress.transfer = [&scope](const ActionProgress::Transfer& transfer) {
        if (transfer.stage == ActionProgress::Transfer::Stage::finished)
            scope.tell(fmt::format("Uploaded {}", transfer.file));
    };
    progress.line = [&scope](const ActionProgress::Line& line) { scope.tell(line.stage); };
    return progress;
}

JSONValue textBlock(std::string text, bool isForModels = false) {
    JSONValue block = JSONValue::object({{"type", "text"}, {"text", std::move(text)}});
    if (isForModels)
        block.set("annotations", JSONValue::object({{"audience", JSONValue::array({"assistant"})}}));
    return block;
}

// A result with its sentences, which many clients show a model alone.
JSONValue resultOf(const Tool& tool, PagedResult paged, std::string text, bool isError, Revision revision) {
    if (!paged.text.empty()) text += (text.empty() ? "" : " ") + paged.text;
    if (tool.holdsForeignTexts) {
        text += fmt::format("\n{}", foreignNotice);
        JSONValue::Object members{{"notice", foreignNotice}};
        std::ranges::move(*paged.structured.members(), std::back_inserter(members));
        paged.structured = std::move(members);
    }
    JSONValue result = JSONValue::object(
        {{"content",
          JSONValue::array({textBlock(std::move(text)), textBlock(encodeJSON(paged.structured), true)})}});
    if (hasStructuredContent(revision)) result.set("structuredContent", std::move(paged.structured));
    result.set("isError", isError);
    return result;
}

JSONValue perform(const Tool& tool, ToolCall& call, KeptRests& rests) {
    const Revision revision = call.scope.terms().revision;
    call.application.beginJob();
    ToolOutcome outcome = tool.run(call);
    if (outcome.interim) return *std::move(outcome.interim);
    const RestOfList origin{.tool = std::string(tool.name),
                            .workspace = call.workspace,
                            .result = {},
                            .main = std::string(outcome.list.empty() ? tool.list : outcome.list),
                            .list = {}};
    return resultOf(tool, cutToPage(std::move(outcome.structured), origin, rests), std::move(outcome.text),
                    outcome.isError, revision);
}

} // namespace

void requirePermission(ToolReach reach, AssistantPermission permission) {
    if (allows(permission, reach)) return;
    const bool sends = reach == ToolReach::sends;
    throw ApplicationError(
        FailureKind::failed,
        fmt::format("assistants may not {} here (allowed: {})",
                    sends ? "change App Store Connect" : "change files", rawValue(permission)),
        fmt::format("The user can allow it with 'quorvel assistants allow {}'.", sends ? "all" : "edits"));
}

std::span<const Tool> allTools() {
    static const std::vector<Tool> tools = madeTools();
    return tools;
}

const Tool* findTool(std::string_view name) {
    const auto tools = allTools();
    const auto found = std::ranges::find(tools, name, &Tool::name);
    return found == tools.end() ? nullptr : &*found;
}

JSONValue toolDescription(const Tool& tool, Revision revision) {
    JSONValue description = JSONValue::object({{"name", tool.name}});
    if (hasStructuredContent(revision)) description.set("title", tool.title);
    description.set("description", tool.description);
    description.set("inputSchema", tool.input);
    if (hasStructuredContent(revision)) description.set("outputSchema", tool.output);
    if (!hasAnnotations(revision)) return description;
    // What is left out has its default: it changes something and may destroy, is not idempotent (some cost
    // money), asks services.
    JSONValue annotations = JSONValue::object();
    if (tool.reach == ToolReach::looks)
        annotations.set("readOnlyHint", true);
    else
        annotations.set("destructiveHint", tool.isDestructive);
    if (!tool.asksServices) annotations.set("openWorldHint", false);
    description.set("annotations", std::move(annotations));
    return description;
}

JSONValue toolFailure(std::string_view text) {
    return JSONValue::object(
        {{"content", JSONValue::array({textBlock(std::string(text))})}, {"isError", true}});
}

JSONValue callTool(const ToolSurroundings& surroundings, const IncomingMessage& message,
                   RequestScope& scope) {
    const JSONValue* const name = message.param("name");
    if (!name || !name->text()) throw ProtocolError(rpc::invalidParams, "\"name\" is missing or no text.");
    const Tool* const tool = findTool(*name->text());
    if (!tool) {
        std::vector<std::string_view> names;
        for (const Tool& known : allTools())
            names.push_back(known.name);
        const auto nearest = nearestSpelling(*name->text(), names);
        throw ProtocolError(rpc::invalidParams,
                            fmt::format("Unknown tool: {}.{}", quotedWord(*name->text()),
                                        nearest ? fmt::format(" Did you mean {}?", *nearest) : ""));
    }
    bool hasBegun = false;
    try {
        requirePermission(tool->reach, surroundings.permission);
        ToolCall call{.application = surroundings.application,
                      .handles = surroundings.handles,
                      .scope = scope,
                      .message = message,
                      .arguments = argumentsOf(*tool, message.param("arguments")),
                      .workspace = surroundings.workspace,
                      .progress = progressTo(scope),
                      .reach = tool->reach};
        if (const auto token = takeMore(call.arguments))
            return resultOf(*tool,
                            nextPage(surroundings.rests.find(*token, tool->name, surroundings.workspace),
                                     surroundings.rests),
                            {}, false, scope.terms().revision);
        hasBegun = true;
        return perform(*tool, call, surroundings.rests);
    } catch (const ProtocolError&) {
        throw;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        std::string text = failureText(error);
        // What a service says of an error, and what a refusal quotes, holds names and texts of others, too;
        // what is wrong with the arguments does not.
        if (hasBegun && failureOf(error).kind != FailureKind::badRequest &&
            (tool->asksServices || tool->holdsForeignTexts))
            text += fmt::format("\n{}", foreignNotice);
        return toolFailure(text);
    }
}

} // namespace quorvel
