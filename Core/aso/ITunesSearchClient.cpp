#include "Core/aso/ITunesSearchClient.h"

#include "Core/aso/ASOError.h"
#include "Core/aso/StoreRequest.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

// A member that some kinds of results send in another type, or not at all.
void mendResult(JSONValue& result) {
    if (const JSONValue* name = result.find("trackName"); !name || !name->text()) {
        const JSONValue* other = result.find("trackCensoredName");
        if (!other || !other->text()) other = result.find("bundleId");
        result.set("trackName", other && other->text() ? *other : JSONValue(""));
    }
    if (const JSONValue* size = result.find("fileSizeBytes"); size && size->integer())
        result.set("fileSizeBytes", std::to_string(*size->integer()));
}

// A result whose members are of unexpected types, without those members; nothing when it is no app.
std::optional<ITunesAppResult> mendedResult(JSONValue result) {
    if (!result.members()) return std::nullopt;
    mendResult(result);
    for (;;) {
        try {
            return decodeJSON<ITunesAppResult>(encodeJSON(result));
        } catch (const JSONError& error) {
            // "$.price" or "$.genres[2]"
            const std::string_view path = std::string_view(error.path()).substr(0, error.path().find('['));
            if (path == "$.trackId" || !path.starts_with("$.") || !result.erase(path.substr(2)))
                return std::nullopt;
        }
    }
}

ITunesSearchResponse mendedResponse(std::string_view json) {
    const auto document = decodeJSON<JSONValue>(json);
    const JSONValue* results = document.find("results");
    // A single result may come bare.
    const bool isBare = !results && document.find("trackId");
    if (!isBare && (!results || !results->items()))
        throw JSONError("$.results", results ? "expected an array" : "missing");
    ITunesSearchResponse response;
    for (const JSONValue& result : isBare ? JSONValue::Array{document} : *results->items())
        if (auto mended = mendedResult(result)) response.results.push_back(std::move(*mended));
    response.resultCount = static_cast<std::int64_t>(response.results.size());
    return response;
}

ITunesAppResult onlyResult(std::string_view json, std::string_view wanted) {
    ITunesSearchResponse response = readSearchResponse(json);
    if (response.results.empty()) throw ASOError(ASOError::AppNotFound{std::string(wanted)});
    return std::move(response.results.front());
}

} // namespace

ITunesSearchResponse readSearchResponse(std::string_view json) {
    try {
        try {
            return decodeJSON<ITunesSearchResponse>(json);
        } catch (const JSONError&) { // not all results are as they usually are
            return mendedResponse(json);
        }
    } catch (const JSONError& error) {
        throw ASOError(ASOError::ParseFailure{escapeControls(error.what())});
    }
}

ITunesSearchClient::ITunesSearchClient(std::shared_ptr<HTTPClient> http, std::string baseURL)
    : http_(std::move(http)), baseURL_(std::move(baseURL)) {}

std::vector<ITunesAppResult> ITunesSearchClient::search(std::string_view term, std::string_view country,
                                                        int limit) const {
    const std::string code = storeCountry(country);
    const std::string count = std::to_string(std::clamp(limit, 1, mostResults));
    return readSearchResponse(
               fetchFromStore(
                   *http_,
                   {.baseURL = baseURL_,
                    .path = "/search",
                    .query = {{"term", term}, {"country", code}, {"entity", "software"}, {"limit", count}}}))
        .results;
}

ITunesAppResult ITunesSearchClient::lookupApp(std::string_view appId, std::string_view country) const {
    requireAppNumber(appId);
    const std::string code = storeCountry(country);
    return onlyResult(
        fetchFromStore(*http_,
                       {.baseURL = baseURL_, .path = "/lookup", .query = {{"id", appId}, {"country", code}}}),
        appId);
}

ITunesAppResult ITunesSearchClient::lookupBundle(std::string_view bundleId, std::string_view country) const {
    const std::string code = storeCountry(country);
    return onlyResult(fetchFromStore(*http_, {.baseURL = baseURL_,
                                              .path = "/lookup",
                                              .query = {{"bundleId", bundleId}, {"country", code}}}),
                      bundleId);
}

} // namespace quorvel
