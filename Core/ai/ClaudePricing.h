// What AI calls cost.
#pragma once

#include <cstdint>
#include <string_view>

namespace quorvel {

struct ClaudePricing {
    /// US dollars per million tokens.
    struct Tier {
        double inputPerMillion = 0;
        double outputPerMillion = 0;
        bool operator==(const Tier&) const = default;
    };

    /// The tier of a model by the start of its id, letter case ignored; an unknown model gets the most
    /// expensive one, so that it is never under-counted.
    [[nodiscard]] static Tier tier(std::string_view model);
    /// Whether the model's own price is known; what is counted of any other is an upper bound.
    [[nodiscard]] static bool isKnown(std::string_view model);
    /// US dollars.
    [[nodiscard]] static double cost(std::string_view model, std::int64_t inputTokens,
                                     std::int64_t outputTokens);
    /// US dollars, estimated from the sizes of a request's texts and of its answer in bytes.
    [[nodiscard]] static double estimatedCostUSD(std::string_view model, double requestBytes,
                                                 double answerBytes);
};

} // namespace quorvel
