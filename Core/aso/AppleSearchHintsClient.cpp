#include "Core/aso/AppleSearchHintsClient.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/AppleStorefront.h"
#include "Core/aso/StoreRequest.h"
#include "Platform/plist/PropertyList.h"

#include <utility>

namespace quorvel {

std::vector<std::string> readHints(std::string_view propertyList) {
    JSONValue root;
    try {
        root = readPropertyList(propertyList);
    } catch (const PropertyListError& error) {
        throw ASOError(ASOError::ParseFailure{std::string("plist read: ") + error.what()});
    }
    if (!root.members()) throw ASOError(ASOError::ParseFailure{"expected top-level dict"});
    std::vector<std::string> terms;
    const JSONValue* hints = root.find("hints");
    if (!hints || !hints->items()) return terms;
    for (const JSONValue& hint : *hints->items()) {
        // Some answers hold the bare terms.
        const JSONValue* term = hint.members() ? hint.find("term") : &hint;
        if (term && term->text()) terms.push_back(*term->text());
    }
    return terms;
}

AppleSearchHintsClient::AppleSearchHintsClient(std::shared_ptr<HTTPClient> http, std::string baseURL,
                                               std::string userAgent)
    : http_(std::move(http)), baseURL_(std::move(baseURL)), userAgent_(std::move(userAgent)) {}

std::vector<std::string> AppleSearchHintsClient::hints(std::string_view term,
                                                       std::string_view country) const {
    const auto storefront = AppleStorefront::headerValue(country);
    if (!storefront) throw ASOError(ASOError::UnsupportedCountry{std::string(country)});
    const std::string code = storeCountry(country);
    return readHints(fetchFromStore(
        *http_, {.baseURL = baseURL_,
                 .path = "/WebObjects/MZSearchHints.woa/wa/hints",
                 .query = {{"clientApplication", "Software"}, {"term", term}, {"country", code}},
                 .headers = {{"User-Agent", userAgent_},
                             {"X-Apple-Store-Front", *storefront},
                             {"Accept", "application/xml,*/*"}},
                 .maximumBodyBytes = 1ULL << 20}));
}

} // namespace quorvel
