#include "Core/ai/ClaudePricing.h"

#include "Platform/text/Text.h"

#include <optional>
#include <utility>

namespace quorvel {

namespace {

constexpr std::pair<std::string_view, ClaudePricing::Tier> tiers[] = {
    {"claude-haiku", {1, 5}}, {"claude-sonnet", {3, 15}}, {"claude-opus", {15, 75}}};
constexpr ClaudePricing::Tier fallback = {15, 75};

std::optional<ClaudePricing::Tier> knownTier(std::string_view model) {
    const std::string lower = asciiLowercase(model);
    for (const auto& [prefix, tier] : tiers)
        if (lower.starts_with(prefix)) return tier;
    return std::nullopt;
}

} // namespace

ClaudePricing::Tier ClaudePricing::tier(std::string_view model) {
    return knownTier(model).value_or(fallback);
}

bool ClaudePricing::isKnown(std::string_view model) {
    return knownTier(model).has_value();
}

double ClaudePricing::cost(std::string_view model, std::int64_t inputTokens, std::int64_t outputTokens) {
    constexpr double million = 1'000'000;
    const Tier price = tier(model);
    return static_cast<double>(inputTokens) / million * price.inputPerMillion +
           static_cast<double>(outputTokens) / million * price.outputPerMillion;
}

double ClaudePricing::estimatedCostUSD(std::string_view model, double requestBytes, double answerBytes) {
    // In scripts with more bytes per character, a token has fewer characters.
    constexpr double bytesPerToken = 4;
    return cost(model, static_cast<std::int64_t>(requestBytes / bytesPerToken),
                static_cast<std::int64_t>(answerBytes / bytesPerToken) + 1);
}

} // namespace quorvel
