// Finds the store texts in the attribute records of App Store Connect by their names.
#pragma once

#include "Core/metadata/FieldTexts.h"

#include <boost/describe/class.hpp>
#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <algorithm>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace quorvel {

/// Calls `use` with the member of `attributes` that holds the field; whether there is such a member. Texts
/// are optional strings named as the field's attribute (`attributeOf`).
template <typename Attributes, typename Use>
bool withText(Attributes& attributes, FieldType field, Use use) {
    using Members =
        boost::describe::describe_members<std::remove_const_t<Attributes>, boost::describe::mod_public>;
    bool isFound = false;
    boost::mp11::mp_for_each<Members>([&](auto member) {
        auto& value = attributes.*member.pointer;
        if constexpr (std::same_as<std::remove_cvref_t<decltype(value)>, std::optional<std::string>>) {
            if (attributeOf(field) != member.name) return;
            use(value);
            isFound = true;
        }
    });
    return isFound;
}

/// Whether the record has a member for every field of `home`.
template <typename Attributes>
[[nodiscard]] bool holdsAllTexts(FieldHome home) {
    const Attributes attributes{};
    return std::ranges::all_of(localeFields, [&](FieldType field) {
        return homeOf(field) != home || withText(attributes, field, [](const auto&) {});
    });
}

/// The texts of the fields that the record has; what App Store Connect holds nothing of is empty.
template <typename Attributes>
[[nodiscard]] FieldTexts textsIn(const Attributes& attributes) {
    FieldTexts texts;
    for (const FieldType field : localeFields)
        withText(attributes, field,
                 [&](const std::optional<std::string>& text) { texts[field] = text.value_or(""); });
    return texts;
}

} // namespace quorvel
