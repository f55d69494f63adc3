// A JSON value of any shape, for documents whose form is not fixed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quorvel {

/// Members keep their order. Integers beyond 64 bits are doubles.
struct JSONValue {
    using Array = std::vector<JSONValue>;
    using Object = std::vector<std::pair<std::string, JSONValue>>;
    std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object> value{nullptr};

    // Defaulted, clang with libstdc++ takes it for missing when it asks inside of this class.
    JSONValue() {}
    JSONValue(std::nullptr_t) {}
    JSONValue(bool boolean) : value(boolean) {}
    JSONValue(int integer) : value(std::int64_t{integer}) {}
    JSONValue(std::int64_t integer) : value(integer) {}
    JSONValue(double number) : value(number) {}
    JSONValue(const char* text) : value(std::string(text)) {}
    JSONValue(std::string_view text) : value(std::string(text)) {}
    JSONValue(std::string text) : value(std::move(text)) {}
    JSONValue(Array items) : value(std::move(items)) {}
    JSONValue(Object members) : value(std::move(members)) {}
    JSONValue(const std::vector<std::string>& texts);

    /// An object of the given members, in order.
    [[nodiscard]] static JSONValue object(Object members = {}) { return JSONValue(std::move(members)); }
    [[nodiscard]] static JSONValue array(Array items = {}) { return JSONValue(std::move(items)); }

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::nullptr_t>(value); }
    [[nodiscard]] const std::string* text() const { return std::get_if<std::string>(&value); }
    [[nodiscard]] const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value); }
    [[nodiscard]] const bool* boolean() const { return std::get_if<bool>(&value); }
    [[nodiscard]] const Array* items() const { return std::get_if<Array>(&value); }
    [[nodiscard]] Array* items() { return std::get_if<Array>(&value); }
    [[nodiscard]] const Object* members() const { return std::get_if<Object>(&value); }
    [[nodiscard]] Object* members() { return std::get_if<Object>(&value); }

    /// The member named `key`; null when this is no object or has none.
    [[nodiscard]] const JSONValue* find(std::string_view key) const;
    [[nodiscard]] JSONValue* find(std::string_view key);
    /// The value at nested member names, such as at("data", "attributes", "locale").
    template <typename... Keys>
    [[nodiscard]] const JSONValue* at(std::string_view key, Keys... deeper) const {
        const JSONValue* found = find(key);
        if constexpr (sizeof...(deeper) == 0)
            return found;
        else
            return found ? found->at(deeper...) : nullptr;
    }
    /// Sets or adds a member; this becomes an object when it is none.
    void set(std::string_view key, JSONValue member);
    /// Removes a member; whether there was one.
    bool erase(std::string_view key);

    bool operator==(const JSONValue&) const = default;
};

} // namespace quorvel
