#include "Core/aso/AppStoreHTMLScraper.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/StoreRequest.h"
#include "Platform/text/Markup.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <array>
#include <utility>

namespace quorvel {

namespace {

// This library matches in linear time and bounded memory. A page is known to be UTF-8 when it is searched,
// and no expression cares for characters beyond ASCII.
RE2::Options pageOptions() {
    RE2::Options options(RE2::Latin1);
    options.set_log_errors(false);
    return options;
}

std::optional<std::string_view> firstMatch(std::string_view html, const RE2& expression) {
    re2::StringPiece found;
    if (!RE2::PartialMatch(re2::StringPiece(html.data(), html.size()), expression, &found))
        return std::nullopt;
    return std::string_view(found.data(), found.size());
}

// The text of the element with the structured data. Older pages name it by another attribute.
std::optional<std::string_view> structuredData(std::string_view html) {
    static const std::array<RE2, 4> expressions{{
        {R"(<script[^>]*\bid=(?:"|)software-application(?:"|)[^>]*\btype="application/ld\+json"[^>]*>([\s\S]*?)</script>)",
         pageOptions()},
        {R"(<script[^>]*\btype="application/ld\+json"[^>]*\bid=(?:"|)software-application(?:"|)[^>]*>([\s\S]*?)</script>)",
         pageOptions()},
        {R"(<script[^>]*\bname="schema:software-application"[^>]*\btype="application/ld\+json"[^>]*>([\s\S]*?)</script>)",
         pageOptions()},
        {R"(<script[^>]*\btype="application/ld\+json"[^>]*\bname="schema:software-application"[^>]*>([\s\S]*?)</script>)",
         pageOptions()},
    }};
    for (const RE2& expression : expressions)
        if (const auto found = firstMatch(html, expression)) return found;
    return std::nullopt;
}

std::optional<std::string> subtitleOf(std::string_view html) {
    static const RE2 expression(R"(<p class="subtitle[^"]*">([^<]+)</p>)", pageOptions());
    const auto found = firstMatch(html, expression);
    if (!found) return std::nullopt;
    const std::string decoded = decodedMarkup(*found);
    if (isBlank(decoded)) return std::nullopt;
    return std::string(trim(decoded));
}

// Pages write entities into their structured data, too.
std::optional<std::string> pageText(const JSONValue* value) {
    if (!value || !value->text()) return std::nullopt;
    return decodedMarkup(*value->text());
}

// A number that may be sent as text.
template <typename Number>
std::optional<Number> pageNumber(const JSONValue* value) {
    if (!value) return std::nullopt;
    try {
        return decodeJSON<Number>(value->text() ? std::string(trim(*value->text())) : encodeJSON(*value));
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

} // namespace

AppStorePageData readProductPage(std::string_view html, std::string_view appId) {
    if (!isValidUTF8(html)) throw ASOError(ASOError::ParseFailure{"HTML response not UTF-8"});
    AppStorePageData page{.appStoreId = std::string(appId), .subtitle = subtitleOf(html)};
    const auto block = structuredData(html);
    if (!block) return page;
    JSONValue data;
    try {
        data = decodeJSON<JSONValue>(*block);
    } catch (const JSONError&) { // as good as none
        return page;
    }
    page.aggregateRating = pageNumber<double>(data.at("aggregateRating", "ratingValue"));
    page.aggregateRatingCount = pageNumber<std::int64_t>(data.at("aggregateRating", "reviewCount"));
    page.category = pageText(data.find("applicationCategory"));
    page.operatingSystem = pageText(data.find("operatingSystem"));
    return page;
}

AppStoreHTMLScraper::AppStoreHTMLScraper(std::shared_ptr<HTTPClient> http, std::string baseURL,
                                         std::string userAgent)
    : http_(std::move(http)), baseURL_(std::move(baseURL)), userAgent_(std::move(userAgent)) {}

AppStorePageData AppStoreHTMLScraper::fetch(std::string_view appId, std::string_view country) const {
    requireAppNumber(appId);
    return readProductPage(
        fetchFromStore(*http_, {.baseURL = baseURL_,
                                .path = fmt::format("/{}/app/id{}", storeCountry(country), appId),
                                .headers = {{"User-Agent", userAgent_}, {"Accept", "text/html,*/*"}}}),
        appId);
}

} // namespace quorvel
