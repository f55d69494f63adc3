// The operations of the service as data: what each takes, and the rule that carries it out.
#pragma once

#include "Sandbox/rules/World.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// What an operation answers: a resource, a document, bytes, or nothing.
struct Answer {
    int status = 200;
    const Resource* resource = nullptr;
    std::optional<JSONValue> document = std::nullopt;
    std::string bytes = {};
    std::string contentType = "application/json";
};

/// A write whose form was checked. What is absent was not sent.
struct Change {
    Resource* target = nullptr; // of an update or a removal; the owner of a relationship
    JSONValue attributes = JSONValue::object();
    std::map<std::string, Resource*, std::less<>> relations; // null pointers: sent as null
    std::map<std::string, std::string, std::less<>> foreign; // ids of types that the sandbox does not hold
    std::vector<std::string> ids;                            // of a relationship to many
    std::map<std::string, std::vector<Resource*>, std::less<>> lists; // of relationships to many of a create

    [[nodiscard]] const JSONValue* given(std::string_view attribute) const;
    [[nodiscard]] std::string text(std::string_view attribute) const;
    [[nodiscard]] Resource& relation(std::string_view name) const;
};

using Rule = Answer (*)(World&, const Change&);

enum class Form { create, update, remove, linkOne, linkMany };

struct RelationRule {
    std::string_view name;
    std::string_view type;
    enum class Need { optional, required, foreign, many } need = Need::required;
};

struct WriteOperation {
    std::string_view method;
    std::string_view pattern; // "{id}" stands for an id
    Form form;
    std::string_view type; // of the resource that is written; of the linked ones for relationships
    Rule rule;
    std::span<const RelationRule> relations = {};
    std::string_view owner = {}; // of a relationship
};

struct Filter {
    std::string_view name;
    std::string_view choices = {}; // empty: any value
    enum class Need { optional, required } need = Need::optional;
};

enum class Result { list, one, oneOrNone };
enum class DefaultOrder { oldestFirst, newestFirst };

struct ReadOperation {
    std::string_view pattern;
    std::string_view owner; // type of "{id}"; empty when there is none
    std::string_view type;
    Result result = Result::list;
    std::span<const Filter> filters = {};
    std::string_view sorts = {};    // joined by "|"
    std::string_view includes = {}; // joined by "|"
    std::string_view exists = {};   // filters by presence, joined by "|"
    DefaultOrder order = DefaultOrder::oldestFirst;
    void (*derive)(World&, Resource& owner) = nullptr; // makes what is read from what else there is
};

[[nodiscard]] std::span<const ReadOperation> readOperations();
[[nodiscard]] std::span<const WriteOperation> writeOperations();

} // namespace quorvel::sandbox
