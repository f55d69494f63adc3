#include "Tests/support/AssistantClient.h"

#include "Platform/json/JSON.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

namespace quorvel::test {

namespace {

bool hasType(const JSONValue& value, std::string_view type) {
    if (type == "object") return value.members() != nullptr;
    if (type == "array") return value.items() != nullptr;
    if (type == "string") return value.text() != nullptr;
    if (type == "boolean") return value.boolean() != nullptr;
    if (type == "integer") return value.integer() != nullptr;
    return value.integer() || std::holds_alternative<double>(value.value);
}

// What a server sends beside results of tools, by its method or by what it holds.
constexpr std::pair<std::string_view, std::string_view> messageSchemas[] = {
    {"notifications/progress",
     R"({"type":"object","required":["progressToken","progress"],"properties":{"progress":{"type":"number"},"total":{"type":"number"},"message":{"type":"string"}}})"},
    {"notifications/cancelled",
     R"({"type":"object","required":["requestId"],"properties":{"reason":{"type":"string"}}})"},
    {"notifications/subscriptions/acknowledged", R"({"type":"object","required":["_meta","notifications"]})"},
    {"elicitation/create",
     R"({"type":"object","required":["message","requestedSchema"],"properties":{"message":{"type":"string"},"mode":{"enum":["form"]},"requestedSchema":{"type":"object","required":["type","properties"],"properties":{"type":{"enum":["object"]},"properties":{"type":"object"}}}}})"},
    {"input_required",
     R"({"type":"object","required":["resultType","inputRequests","requestState"],"properties":{"inputRequests":{"type":"object"},"requestState":{"type":"string"}}})"},
    {"error",
     R"({"type":"object","required":["code","message"],"properties":{"code":{"type":"integer"},"message":{"type":"string"}}})"},
};

std::string problemByKind(std::string_view kind, const JSONValue& value) {
    for (const auto& [name, schema] : messageSchemas)
        if (name == kind) return problemOf(value, decodeJSON<JSONValue>(schema));
    return fmt::format("no server sends {}", kind);
}

std::string problemOfResult(const JSONValue& result) {
    if (!result.members()) return "a result is no object";
    const JSONValue* const type = result.find("resultType");
    if (!type || *type != JSONValue("input_required")) return {};
    if (auto problem = problemByKind("input_required", result); !problem.empty()) return problem;
    for (const auto& [key, request] : *result.find("inputRequests")->members())
        if (auto problem = problemByKind(*request.find("method")->text(), *request.find("params"));
            !problem.empty())
            return key + ": " + problem;
    return {};
}

} // namespace

std::string problemOfMessage(const JSONValue& message) {
    if (const auto* const batch = message.items()) {
        for (const JSONValue& one : *batch)
            if (auto problem = problemOfMessage(one); !problem.empty()) return problem;
        return {};
    }
    const JSONValue* const version = message.find("jsonrpc");
    if (!version || *version != JSONValue("2.0")) return "jsonrpc is not 2.0";
    if (const JSONValue* const method = message.find("method")) {
        const bool isNotification = method->text()->starts_with("notifications/");
        if (isNotification == (message.find("id") != nullptr)) return "it has no id, or one too many";
        return problemByKind(*method->text(), *message.find("params"));
    }
    if (const JSONValue* const error = message.find("error")) return problemByKind("error", *error);
    const JSONValue* const result = message.find("result");
    if (!result || !message.find("id")) return "it is no answer";
    return problemOfResult(*result);
}

void CollectingSink::send(std::string message) {
    const auto value = decodeJSON<JSONValue>(message);
    EXPECT_EQ(message.find('\n'), std::string::npos);
    onMessage(value);
    const std::lock_guard lock(mutex_);
    messages_.push_back(value);
    changed_.notify_all();
}

JSONValue CollectingSink::await(const std::function<bool(const JSONValue&)>& matches) {
    std::unique_lock lock(mutex_);
    JSONValue found;
    const bool came = changed_.wait_for(lock, std::chrono::seconds(60), [&] {
        const auto message = std::ranges::find_if(messages_, matches);
        if (message != messages_.end()) found = *message;
        return message != messages_.end();
    });
    EXPECT_TRUE(came) << "no such message came";
    return found;
}

JSONValue CollectingSink::awaitAnswer(const JSONValue& id) {
    return await([&](const JSONValue& message) {
        const JSONValue* const own = message.find("id");
        return own && *own == id && !message.find("method");
    });
}

std::vector<JSONValue> CollectingSink::messages() const {
    const std::lock_guard lock(mutex_);
    return messages_;
}

AssistantClient::AssistantClient(RequestHandler& handler, Revision revision, bool asksByForm,
                                 Connection::Options options)
    : connection(handler, sink, options), revision_(revision), asksByForm_(asksByForm) {
    if (isModern(revision)) return;
    JSONValue capabilities = JSONValue::object();
    if (asksByForm) capabilities.set("elicitation", JSONValue::object());
    const auto answer = request("initialize", JSONValue::object({{"protocolVersion", rawValue(revision)},
                                                                 {"capabilities", capabilities},
                                                                 {"clientInfo", JSONValue::object()}}));
    EXPECT_EQ(*answer.at("result", "protocolVersion"), JSONValue(rawValue(revision)));
    connection.receive(R"({"jsonrpc":"2.0","method":"notifications/initialized"})");
}

AssistantClient::~AssistantClient() {
    connection.end();
    for (const JSONValue& message : sink.messages())
        EXPECT_EQ(problemOfMessage(message), "") << encodeJSON(message);
}

JSONValue AssistantClient::withTerms(JSONValue params) const {
    if (!isModern(revision_)) return params;
    JSONValue meta = params.find("_meta") ? *params.find("_meta") : JSONValue::object();
    meta.set("io.modelcontextprotocol/protocolVersion", rawValue(revision_));
    JSONValue capabilities = JSONValue::object();
    if (asksByForm_) capabilities.set("elicitation", JSONValue::object({{"form", JSONValue::object()}}));
    meta.set("io.modelcontextprotocol/clientCapabilities", capabilities);
    params.set("_meta", meta);
    return params;
}

JSONValue AssistantClient::begin(std::string_view method, JSONValue params) {
    const RequestID id = ++lastID_;
    connection.receive(requestMessage(id, method, withTerms(std::move(params))));
    return jsonOf(id);
}

JSONValue AssistantClient::request(std::string_view method, JSONValue params) {
    return sink.awaitAnswer(begin(method, std::move(params)));
}

JSONValue AssistantClient::call(std::string_view tool, JSONValue arguments) {
    if (!tools_.items()) tools_ = *request("tools/list").at("result", "tools");
    const auto answer =
        request("tools/call", JSONValue::object({{"name", tool}, {"arguments", std::move(arguments)}}));
    const JSONValue* const result = answer.find("result");
    if (!result) {
        ADD_FAILURE() << encodeJSON(answer);
        return {};
    }
    const auto known = std::ranges::find_if(
        *tools_.items(), [&](const auto& one) { return *one.find("name")->text() == tool; });
    const JSONValue* const structured = result->find("structuredContent");
    if (structured) {
        EXPECT_EQ(problemOf(*structured, *known->find("outputSchema")), "") << tool;
        EXPECT_EQ(decodeJSON<JSONValue>(*result->find("content")->items()->at(1).find("text")->text()),
                  *structured);
    }
    return *result;
}

JSONValue AssistantClient::ask(std::string_view tool, JSONValue arguments) {
    const auto result = call(tool, std::move(arguments));
    const JSONValue* const structured = result.find("structuredContent");
    EXPECT_TRUE(structured && *result.find("isError") == JSONValue(false))
        << tool << ": " << encodeJSON(result);
    return structured ? *structured : JSONValue();
}

std::string AssistantClient::perform(std::string_view preparing, JSONValue arguments) {
    const auto plan = ask(preparing, std::move(arguments));
    if (!plan.find("handle")) return {};
    return *ask(*plan.find("performWith")->text(), JSONValue::object({{"handle", *plan.find("handle")}}))
                .find("summary")
                ->text();
}

std::string textOf(const JSONValue& result) {
    return *result.find("content")->items()->front().find("text")->text();
}

std::string problemOf(const JSONValue& value, const JSONValue& schema) {
    if (const JSONValue* const type = schema.find("type"); type && !hasType(value, *type->text()))
        return fmt::format("{} is no {}", encodeJSON(value), *type->text());
    if (const JSONValue* const all = schema.find("enum");
        all && std::ranges::find(*all->items(), value) == all->items()->end())
        return encodeJSON(value) + " is not among the values";
    if (const JSONValue* const names = schema.find("required"))
        for (const JSONValue& name : *names->items())
            if (!value.find(*name.text())) return *name.text() + " is missing";
    if (const JSONValue* const properties = schema.find("properties"); properties && value.members())
        for (const auto& [name, member] : *value.members())
            if (const JSONValue* const inner = properties->find(name))
                if (auto problem = problemOf(member, *inner); !problem.empty()) return name + ": " + problem;
    if (const JSONValue* const items = schema.find("items"); items && value.items())
        for (const JSONValue& item : *value.items())
            if (auto problem = problemOf(item, *items); !problem.empty()) return problem;
    return {};
}

} // namespace quorvel::test
