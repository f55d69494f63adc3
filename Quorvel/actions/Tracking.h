// What the actions on tracked terms and competitors share.
#pragma once

#include "Core/records/TrackingRecords.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

[[nodiscard]] KeywordRecords keywordRecords(Application& application);
[[nodiscard]] CompetitorRecords competitorRecords(Application& application);

/// The codes in small letters, each once. Throws `ApplicationError` for what is no known storefront.
[[nodiscard]] std::vector<std::string> requireStorefronts(const std::vector<std::string>& countries);
/// Whether `country` is among `wanted`, or nothing is wanted.
[[nodiscard]] bool isWanted(std::string_view country, const std::vector<std::string>& wanted);

} // namespace quorvel
