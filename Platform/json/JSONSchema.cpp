#include "Platform/json/JSONSchema.h"

#include <algorithm>

namespace quorvel::json {

namespace {

JSONValue ofType(std::string_view name) {
    return JSONValue::object({{"type", name}});
}

class SchemaMaker {
  public:
    JSONValue make(const Type& type) {
        switch (type.kind) {
        case Kind::boolean:
            return ofType("boolean");
        case Kind::integer:
            return ofType("integer");
        case Kind::number:
            return ofType("number");
        case Kind::string:
            return ofType("string");
        case Kind::date:
            return JSONValue::object({{"type", "string"}, {"format", "date-time"}});
        case Kind::value:
            return JSONValue::object();
        case Kind::enumeration:
            return makeEnumeration(type);
        case Kind::optional:
            return make(*type.inner);
        case Kind::array:
            return JSONValue::object({{"type", "array"}, {"items", make(*type.inner)}});
        case Kind::map:
            return JSONValue::object({{"type", "object"}, {"additionalProperties", make(*type.inner)}});
        case Kind::record:
            return makeRecord(*type.record);
        }
        return JSONValue::object();
    }

  private:
    static JSONValue makeEnumeration(const Type& type) {
        JSONValue::Array texts;
        for (const std::string_view text : type.rawValues())
            texts.emplace_back(text);
        return JSONValue::object({{"type", "string"}, {"enum", JSONValue(std::move(texts))}});
    }

    JSONValue makeRecord(const Record& record) {
        if (std::ranges::find(open_, &record) != open_.end()) return ofType("object");
        open_.push_back(&record);
        JSONValue::Object properties;
        JSONValue::Array required;
        for (const Field& field : record.fields) {
            properties.emplace_back(std::string(field.name), makeProperty(record, field));
            if (isRequired(record, field)) required.emplace_back(field.name);
        }
        open_.pop_back();
        JSONValue schema = ofType("object");
        schema.set("properties", std::move(properties));
        if (!required.empty()) schema.set("required", std::move(required));
        if (!record.members.empty()) schema.set("additionalProperties", false);
        return schema;
    }

    JSONValue makeProperty(const Record& record, const Field& field) {
        JSONValue schema = make(*field.type);
        const auto member = std::ranges::find(record.members, field.name, &JSONMember::name);
        if (member != record.members.end() && !member->description.empty())
            schema.set("description", member->description);
        return schema;
    }

    std::vector<const Record*> open_; // the records around the one being described
};

} // namespace

JSONValue schemaOf(const Type& type) {
    return SchemaMaker().make(type);
}

} // namespace quorvel::json
