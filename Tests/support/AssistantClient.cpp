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

} // namespace

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
    const JSONValue* const required = schema.find("required");
    if (value.members() && (required || schema.find("properties")))
        for (const auto& [name, member] : *value.members()) {
            const JSONValue* const inner = schema.at("properties", name);
            // Our results hold nothing that their schemas do not tell.
            if (!inner && (!required || std::ranges::find(*required->items(), JSONValue(name)) ==
                                            required->items()->end()))
                return name + " is not in the schema";
            if (!inner) continue;
            if (auto problem = problemOf(member, *inner); !problem.empty()) return name + ": " + problem;
        }
    if (const JSONValue* const items = schema.find("items"); items && value.items())
        for (const JSONValue& item : *value.items())
            if (auto problem = problemOf(item, *items); !problem.empty()) return problem;
    return {};
}

} // namespace quorvel::test
