#include "Quorvel/actions/Tracking.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/StorefrontLocales.h"
#include "Platform/text/Text.h"

#include <algorithm>

namespace quorvel {

KeywordRecords keywordRecords(Application& application) {
    return {application.container(), application.clock()};
}

CompetitorRecords competitorRecords(Application& application) {
    return {application.container(), application.clock()};
}

std::vector<std::string> requireStorefronts(const std::vector<std::string>& countries) {
    std::vector<std::string> known;
    for (const std::string& country : countries) {
        std::string code = asciiLowercase(trim(country));
        if (storefrontLocales(code).empty())
            throw ApplicationError(
                FailureKind::badRequest,
                ASOError(ASOError::UnsupportedCountry{escapeControls(country)}).description(),
                code == "uk" ? "The United Kingdom is gb."
                             : "Storefronts are named by two letters, such as us or de.");
        if (std::ranges::find(known, code) == known.end()) known.push_back(std::move(code));
    }
    return known;
}

bool isWanted(std::string_view country, const std::vector<std::string>& wanted) {
    return wanted.empty() || std::ranges::find(wanted, country) != wanted.end();
}

} // namespace quorvel
