// The store texts of the demo account's main app, one row per language.
#pragma once

#include <span>
#include <string_view>

namespace quorvel::sandbox {

struct DemoTexts {
    std::string_view locales; // joined by blanks
    std::string_view name;
    std::string_view subtitle;
    std::string_view keywords;
    std::string_view description;
    std::string_view promotionalText;
    std::string_view whatsNew;
};

/// 40 locales in all.
[[nodiscard]] std::span<const DemoTexts> westernTexts();
[[nodiscard]] std::span<const DemoTexts> otherTexts();

} // namespace quorvel::sandbox
