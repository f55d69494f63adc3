#include "Core/asc/ASCError.h"

#include "Core/asc/ASCErrorTexts.h"

#include <algorithm>
#include <charconv>

namespace quorvel {

ASCError::ASCError(Case problem) : problem_(std::move(problem)), description_(textOf(problem_)) {}

std::optional<int> ASCError::httpStatus() const {
    if (const auto* status = as<HTTPStatus>()) return status->code;
    if (as<RateLimited>()) return 429;
    const auto* refused = as<APIErrors>();
    if (!refused) return std::nullopt;
    // Only a 401 is told by its document alone, even by an empty one.
    if (refused->errors.empty()) return 401;
    const std::string& text = refused->errors.front().status.value_or("");
    int code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return code;
}

bool ASCError::hasCodeContaining(std::string_view part) const {
    const auto* refused = as<APIErrors>();
    return refused && std::ranges::any_of(refused->errors, [&](const APIError& entry) {
               return entry.code && entry.code->find(part) != std::string::npos;
           });
}

namespace {

// The causes of a refusal can sit beside it, under the resource that each belongs to.
void appendAssociated(const JSONValue& entry, std::vector<ASCError::APIError>& errors) {
    const JSONValue* associated = entry.at("meta", "associatedErrors");
    if (!associated || !associated->members()) return;
    for (const auto& [resource, causes] : *associated->members()) {
        if (!causes.items()) continue;
        for (const JSONValue& cause : *causes.items())
            errors.push_back(decodeJSON<ASCError::APIError>(encodeJSON(cause)));
    }
}

} // namespace

std::vector<ASCError::APIError> decodeErrorDocument(std::string_view body) {
    try {
        std::vector<ASCError::APIError> errors = decodeJSON<ASCErrorEnvelope>(body).errors;
        const auto document = decodeJSON<JSONValue>(body);
        for (const JSONValue& entry : *document.find("errors")->items())
            appendAssociated(entry, errors);
        return errors;
    } catch (const JSONError&) {
        return {};
    }
}

} // namespace quorvel
