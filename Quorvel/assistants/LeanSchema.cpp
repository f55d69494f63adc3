#include "Quorvel/assistants/LeanSchema.h"

#include <algorithm>

namespace quorvel {

namespace {

// What the name and the server's instructions tell already is left out; "" leaves out everything.
struct ShortText {
    std::string_view member;
    std::string_view text;
};
constexpr ShortText shortTexts[] = {{"app", ""},
                                    {"context", ""},
                                    {"locales", ""},
                                    {"fields", ""},
                                    {"platform", ""},
                                    {"version", ""},
                                    {"displayTypes", ""},
                                    {"run", "An id, or last."},
                                    {"limit", ""},
                                    {"days", ""},
                                    {"apps", ""},
                                    {"handle", ""},
                                    {"texts", ""},
                                    {"to", ""},
                                    {"from", ""},
                                    {"groups", "By name or id."},
                                    {"build", "Else the newest."},
                                    {"allowClear", "Also remove texts."},
                                    {"allowUnreviewed", "Also unread ones."},
                                    {"allContexts", ""},
                                    {"leaveEdits", ""},
                                    {"mode", "replace: only the local files stay."},
                                    {"flatten", "Drop alpha channels."},
                                    {"prune", "Empty sets without files."},
                                    {"include", "Hashes of commits."},
                                    {"exclude", "Hashes of commits."},
                                    {"step", ""},
                                    {"notify", "Tell testers."},
                                    {"force", "Though it is not clean."},
                                    {"all", "Also what is up to date."},
                                    {"type", ""},
                                    {"date", "2026-12-01T09:00:00+01:00."},
                                    {"usesNonExemptEncryption", ""},
                                    {"stars", ""},
                                    {"territories", "Such as USA."},
                                    {"sentiments", "positive, mixed, neutral or negative."},
                                    {"theme", ""},
                                    {"since", "2026-03-01 or 30d."},
                                    {"unanswered", ""},
                                    {"review", ""},
                                    {"text", ""},
                                    {"note", "Facts that it may state."},
                                    {"term", ""},
                                    {"countries", "Such as us."}};

// Without the values of an enumeration inside of a list, which are the fields.
void shorten(std::string_view name, JSONValue& property) {
    const auto text = std::ranges::find(shortTexts, name, &ShortText::member);
    if (text != std::end(shortTexts)) {
        property.erase("description");
        if (!text->text.empty()) property.set("description", text->text);
    }
    JSONValue* const items = property.find("items");
    if (!items) return;
    items->erase("enum");
    items->erase("additionalProperties");
    if (JSONValue* const members = items->find("properties"))
        for (auto& [inner, schema] : *members->members()) {
            schema.erase("description");
            schema.erase("enum");
        }
}

} // namespace

JSONValue memberSchema(const JSONValue& schema, std::string_view member) {
    const JSONValue* const found = schema.at("properties", member);
    return found ? *found : JSONValue::object();
}

JSONValue argumentsSchema(const JSONValue& request, std::span<const std::string_view> shown) {
    JSONValue::Object properties;
    for (const std::string_view name : shown) {
        JSONValue property = memberSchema(request, name);
        shorten(name, property);
        properties.emplace_back(std::string(name), std::move(property));
    }
    JSONValue schema = JSONValue::object({{"type", "object"}});
    if (!properties.empty()) schema.set("properties", std::move(properties));
    JSONValue::Array required;
    if (const JSONValue* const all = request.find("required"))
        for (const JSONValue& name : *all->items())
            if (std::ranges::find(shown, *name.text()) != shown.end()) required.push_back(name);
    if (!required.empty()) schema.set("required", std::move(required));
    return schema;
}

JSONValue leanSchema(const JSONValue& result) {
    JSONValue schema = JSONValue::object({{"type", "object"}});
    if (const JSONValue* const required = result.find("required")) schema.set("required", *required);
    return schema;
}

void addArgument(JSONValue& schema, std::string_view member, std::string_view type) {
    if (!schema.find("properties")) schema.set("properties", JSONValue::object());
    schema.find("properties")->set(member, JSONValue::object({{"type", type}}));
}

} // namespace quorvel
