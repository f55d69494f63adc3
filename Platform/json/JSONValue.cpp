#include "Platform/json/JSONValue.h"

#include <algorithm>

namespace quorvel {

JSONValue::JSONValue(const std::vector<std::string>& texts) : value(Array(texts.begin(), texts.end())) {}

const JSONValue* JSONValue::find(std::string_view key) const {
    if (const Object* object = members())
        for (const auto& [name, member] : *object)
            if (name == key) return &member;
    return nullptr;
}

JSONValue* JSONValue::find(std::string_view key) {
    return const_cast<JSONValue*>(static_cast<const JSONValue*>(this)->find(key));
}

void JSONValue::set(std::string_view key, JSONValue member) {
    if (!members()) value = Object{};
    if (JSONValue* existing = find(key))
        *existing = std::move(member);
    else
        members()->emplace_back(key, std::move(member));
}

bool JSONValue::erase(std::string_view key) {
    Object* object = members();
    return object && std::erase_if(*object, [&](const auto& member) { return member.first == key; }) > 0;
}

} // namespace quorvel
