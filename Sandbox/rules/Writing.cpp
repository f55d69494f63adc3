#include "Sandbox/rules/Writing.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

using Problems = std::vector<Problem>;

JSONValue parsedBody(const Request& request) {
    const std::string contentType = asciiLowercase(request.header("Content-Type").value_or(""));
    if (contentType.substr(0, contentType.find(';')) != "application/json")
        throw Refusal({.status = 415,
                       .code = "UNSUPPORTED_MEDIA_TYPE",
                       .title = "The request entity has an unsupported media type",
                       .detail = "The Content-Type of this request must be 'application/json'"});
    try {
        return decodeJSON<JSONValue>(request.body);
    } catch (const JSONError& error) {
        throw Refusal(unreadableBody(fmt::format("The request body is not valid JSON: {}", error.what())));
    }
}

void refuseUnknown(const JSONValue& object, std::initializer_list<std::string_view> known,
                   std::string_view pointer, Problems& problems) {
    for (const auto& [name, value] : *object.members())
        if (std::find(known.begin(), known.end(), name) == known.end())
            problems.push_back(unknownMember("MEMBER", name, fmt::format("{}/{}", pointer, name)));
}

const JSONValue& dataOf(const JSONValue& body) {
    const JSONValue* data = body.find("data");
    if (!data)
        throw Refusal({.status = 409,
                       .code = "ENTITY_ERROR.DATA.REQUIRED",
                       .title = "The provided entity is missing its data",
                       .detail = "You must provide the member 'data' with this request",
                       .pointer = "/data"});
    Problems problems;
    refuseUnknown(body, {"data"}, "", problems);
    if (!problems.empty()) throw Refusal(problems);
    return *data;
}

bool hasKind(const JSONValue& value, Kind kind) {
    switch (kind) {
    case Kind::integer:
        return value.integer() != nullptr;
    case Kind::boolean:
        return value.boolean() != nullptr;
    default:
        return value.text() != nullptr;
    }
}

std::string_view describe(Kind kind) {
    return kind == Kind::integer ? "an integer" : kind == Kind::boolean ? "a boolean" : "a string";
}

void checkText(const Attribute& attribute, const std::string& text, Problems& problems) {
    const std::string_view name = attribute.name;
    const auto length = static_cast<int>(graphemeCount(text));
    if (attribute.limit > 0 && length > attribute.limit) problems.push_back(tooLong(name, attribute.limit));
    if (length < attribute.minimum) problems.push_back(tooShort(name, attribute.minimum));
    if (attribute.kind == Kind::choice && !isChoice(attribute.choices, text))
        problems.push_back(invalidAttribute(
            name, fmt::format("'{}' is not a valid value for the attribute '{}'.", text, name)));
    if (attribute.kind == Kind::locale && !isAppStoreLocale(text))
        problems.push_back(
            invalidAttribute(name, fmt::format("The locale '{}' is not supported on the App Store.", text)));
    if (attribute.kind == Kind::email && (text.find('@') == text.npos || text.find(' ') != text.npos))
        problems.push_back(invalidAttribute(name, fmt::format("'{}' is not a valid e-mail address.", text)));
    if (attribute.kind == Kind::date && !parseISO8601(text))
        problems.push_back(
            invalidAttribute(name, fmt::format("'{}' is not a valid date with a time.", text)));
    if (attribute.kind == Kind::url && !text.empty() && !text.starts_with("https://") &&
        !text.starts_with("http://"))
        problems.push_back(invalidAttribute(name, fmt::format("'{}' is not a valid URL.", text)));
}

void checkAttribute(const Attribute& attribute, const JSONValue& value, Form form, Problems& problems) {
    const bool creates = form == Form::create;
    const bool allowed = creates ? attribute.use != Use::updateOnly : attribute.use != Use::identifying;
    const bool needed = attribute.use == Use::required || attribute.use == Use::identifying;
    if (!allowed) {
        problems.push_back(attributeNotAllowed(attribute.name));
    } else if (value.isNull()) {
        if (needed) problems.push_back(missingAttribute(attribute.name));
    } else if (!hasKind(value, attribute.kind)) {
        problems.push_back(wrongAttributeType(attribute.name, describe(attribute.kind)));
    } else if (value.text()) {
        checkText(attribute, *value.text(), problems);
    } else if (value.integer() && *value.integer() <= 0) {
        problems.push_back(
            invalidAttribute(attribute.name, fmt::format("'{}' must be greater than 0.", attribute.name)));
    }
}

void readAttributes(const WriteOperation& operation, const JSONValue& data, Change& change,
                    Problems& problems) {
    const auto known = attributesOf(operation.type);
    const JSONValue* sent = data.find("attributes");
    if (sent && !sent->members())
        problems.push_back(unreadableBody("The member 'attributes' must be an object"));
    else if (sent)
        for (const auto& [name, value] : *sent->members()) {
            const auto attribute = std::ranges::find(known, name, &Attribute::name);
            if (attribute == known.end()) {
                problems.push_back(unknownMember("ATTRIBUTE", name, "/data/attributes/" + name));
                continue;
            }
            checkAttribute(*attribute, value, operation.form, problems);
            change.attributes.set(name, value);
        }
    if (operation.form != Form::create) return;
    for (const Attribute& attribute : known)
        if ((attribute.use == Use::required || attribute.use == Use::identifying) &&
            !change.attributes.find(attribute.name))
            problems.push_back(missingAttribute(attribute.name));
}

/// Reads one {"type", "id"}; adds what is wrong with it to the problems and answers an empty id then.
std::string readReference(const JSONValue& reference, std::string_view type, std::string_view name,
                          Problems& problems) {
    const JSONValue* sentType = reference.find("type");
    const JSONValue* id = reference.find("id");
    if (!sentType || !sentType->text() || !id || !id->text() || id->text()->empty()) {
        problems.push_back(invalidRelationship(name, "A relationship's data needs a 'type' and an 'id'."));
        return "";
    }
    if (*sentType->text() != type) {
        problems.push_back(
            invalidRelationship(name, fmt::format("The relationship '{}' expects the type '{}', not '{}'.",
                                                  name, type, *sentType->text())));
        return "";
    }
    return *id->text();
}

void readReferences(World& world, const RelationRule& rule, const JSONValue* data, Change& change,
                    Problems& problems) {
    if (!data || !data->items()) {
        problems.push_back(invalidRelationship(rule.name, "A relationship to many is a list."));
        return;
    }
    for (const JSONValue& reference : *data->items()) {
        const std::string id = readReference(reference, rule.type, rule.name, problems);
        if (Resource* target = id.empty() ? nullptr : world.store.find(rule.type, id))
            change.lists[std::string(rule.name)].push_back(target);
        else
            problems.push_back(resourceNotFound(rule.type, id));
    }
}

void readRelation(World& world, const RelationRule& rule, const JSONValue& box, Change& change,
                  Problems& problems) {
    const JSONValue* data = box.find("data");
    if (rule.need == RelationRule::Need::many) return readReferences(world, rule, data, change, problems);
    const bool required = rule.need == RelationRule::Need::required;
    if (!data || (data->isNull() && required)) {
        problems.push_back(missingRelationship(rule.name));
        return;
    }
    if (data->isNull()) {
        if (rule.need == RelationRule::Need::foreign)
            change.foreign[std::string(rule.name)] = "";
        else
            change.relations[std::string(rule.name)] = nullptr;
        return;
    }
    const std::string id = readReference(*data, rule.type, rule.name, problems);
    if (id.empty()) return;
    if (rule.need == RelationRule::Need::foreign) {
        change.foreign[std::string(rule.name)] = id;
    } else if (Resource* target = world.store.find(rule.type, id)) {
        change.relations[std::string(rule.name)] = target;
    } else {
        problems.push_back(invalidRelationship(
            rule.name, fmt::format("There is no resource of type '{}' with id '{}'", rule.type, id)));
    }
}

void readRelations(World& world, const WriteOperation& operation, const JSONValue& data, Change& change,
                   Problems& problems) {
    const JSONValue* sent = data.find("relationships");
    if (sent && sent->members())
        for (const auto& [name, box] : *sent->members()) {
            const auto rule = std::ranges::find(operation.relations, name, &RelationRule::name);
            if (rule == operation.relations.end())
                problems.push_back(unknownMember("RELATIONSHIP", name, "/data/relationships/" + name));
            else
                readRelation(world, *rule, box, change, problems);
        }
    for (const RelationRule& rule : operation.relations)
        if (rule.need == RelationRule::Need::required && (!sent || !sent->find(rule.name)))
            problems.push_back(missingRelationship(rule.name));
}

void checkIdentity(const WriteOperation& operation, const JSONValue& data, std::string_view id,
                   Problems& problems) {
    const JSONValue* type = data.find("type");
    if (!type || !type->text() || *type->text() != operation.type)
        problems.push_back(
            mismatch("type", fmt::format("The type of this entity must be '{}'.", operation.type)));
    const JSONValue* sentID = data.find("id");
    if (operation.form == Form::create) {
        if (sentID) problems.push_back(unknownMember("MEMBER", "id", "/data/id"));
    } else if (!sentID || !sentID->text() || *sentID->text() != id) {
        problems.push_back(
            mismatch("id", fmt::format("The id of this entity must be that of the path, '{}'.", id)));
    }
}

Change readEntity(World& world, const WriteOperation& operation, std::string_view id, const JSONValue& data) {
    if (!data.members()) throw Refusal(unreadableBody("The member 'data' must be an object"));
    Change change;
    Problems problems;
    refuseUnknown(data, {"type", "id", "attributes", "relationships"}, "/data", problems);
    checkIdentity(operation, data, id, problems);
    readAttributes(operation, data, change, problems);
    readRelations(world, operation, data, change, problems);
    if (!problems.empty()) throw Refusal(problems);
    return change;
}

Change readLinks(const WriteOperation& operation, World& world, const JSONValue& data) {
    Change change;
    Problems problems;
    const bool one = operation.form == Form::linkOne;
    if (one ? !data.members() && !data.isNull() : !data.items())
        throw Refusal(unreadableBody(one ? "The member 'data' must be an object or null"
                                         : "The member 'data' must be a list"));
    JSONValue::Array references;
    if (data.items())
        references = *data.items();
    else if (!data.isNull())
        references.push_back(data);
    for (const JSONValue& reference : references) {
        const std::string id = readReference(reference, operation.type, operation.type, problems);
        if (!id.empty() && !world.store.find(operation.type, id))
            problems.push_back(resourceNotFound(operation.type, id));
        change.ids.push_back(id);
    }
    if (!problems.empty()) throw Refusal(problems);
    return change;
}

} // namespace

Answer write(World& world, const WriteOperation& operation, std::string_view id, const Request& request) {
    if (!request.query.empty()) throw Refusal(unknownParameter(request.query.front().first));
    const std::string_view targetType = operation.owner.empty() ? operation.type : operation.owner;
    Resource* target = id.empty() ? nullptr : world.store.find(targetType, id);
    if (!id.empty() && !target) throw Refusal(resourceNotFound(targetType, id));
    Change change;
    if (operation.form == Form::linkOne || operation.form == Form::linkMany)
        change = readLinks(operation, world, dataOf(parsedBody(request)));
    else if (operation.form != Form::remove)
        change = readEntity(world, operation, id, dataOf(parsedBody(request)));
    change.target = target;
    return operation.rule(world, change);
}

const JSONValue* Change::given(std::string_view attribute) const {
    return attributes.find(attribute);
}

std::string Change::text(std::string_view attribute) const {
    const JSONValue* value = attributes.find(attribute);
    return value && value->text() ? *value->text() : std::string();
}

Resource& Change::relation(std::string_view name) const {
    return *relations.find(name)->second;
}

} // namespace quorvel::sandbox
