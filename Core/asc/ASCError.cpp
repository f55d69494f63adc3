#include "Core/asc/ASCError.h"

#include "Core/asc/ASCErrorTexts.h"

#include <algorithm>
#include <charconv>

namespace quorvel {

namespace {

// App Store Connect answers 409 both to changes that the state does not allow and to values that it refuses.
bool isAboutValuesOnly(const ASCError& error) {
    const auto* refused = error.as<ASCError::APIErrors>();
    return refused && std::ranges::all_of(refused->errors, [](const ASCError::APIError& entry) {
               const std::string_view code = entry.code ? std::string_view(*entry.code) : "";
               return (code.starts_with("ENTITY_ERROR.ATTRIBUTE") || code.starts_with("PARAMETER_ERROR")) &&
                      code.find("STATE") == std::string_view::npos;
           });
}

} // namespace

ASCError::ASCError(Case problem) : problem_(std::move(problem)), description_(textOf(problem_)) {}

ASCError::Kind ASCError::kind() const {
    if (as<Cancelled>()) return Kind::cancelled;
    if (as<MissingCredentials>()) return Kind::missingCredentials;
    if (as<InvalidPrivateKey>() || as<JWTEncodingFailed>()) return Kind::invalidPrivateKey;
    const auto status = httpStatus();
    if (!status) return as<APIErrors>() ? Kind::failed : Kind::serviceTrouble;
    if (*status == 401 || *status == 403) return Kind::credentialsRefused;
    if (*status == 404) return Kind::notFound;
    if (*status == 409) return isAboutValuesOnly(*this) ? Kind::valuesRefused : Kind::stateRefused;
    if (*status == 429 || *status >= 500) return Kind::serviceTrouble;
    return Kind::failed;
}

std::optional<int> ASCError::httpStatus() const {
    if (const auto* status = as<HTTPStatus>()) return status->code;
    if (as<RateLimited>()) return 429;
    const auto* refused = as<APIErrors>();
    if (!refused) return std::nullopt;
    // Only a 401 may come with an empty document.
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

std::optional<std::string> textOf(const JSONValue& entry, std::string_view member) {
    const JSONValue* value = entry.find(member);
    if (!value) return std::nullopt;
    if (value->text()) return *value->text();
    if (value->integer()) return std::to_string(*value->integer());
    return std::nullopt;
}

void append(const JSONValue& entry, std::vector<ASCError::APIError>& errors) {
    ASCError::APIError error{textOf(entry, "status"), textOf(entry, "code"), textOf(entry, "title"),
                             textOf(entry, "detail")};
    if (error != ASCError::APIError{}) errors.push_back(std::move(error));
}

// The causes of a refusal can sit beside it, under the resource that each belongs to.
void appendAssociated(const JSONValue& entry, std::vector<ASCError::APIError>& errors) {
    const JSONValue* associated = entry.at("meta", "associatedErrors");
    if (!associated || !associated->members()) return;
    for (const auto& [resource, causes] : *associated->members()) {
        if (!causes.items()) continue;
        for (const JSONValue& cause : *causes.items())
            append(cause, errors);
    }
}

} // namespace

std::vector<ASCError::APIError> decodeErrorDocument(std::string_view body) {
    std::vector<ASCError::APIError> errors;
    try {
        const auto document = decodeJSON<ASCErrorEnvelope>(body);
        for (const JSONValue& entry : document.errors)
            append(entry, errors);
        for (const JSONValue& entry : document.errors)
            appendAssociated(entry, errors);
    } catch (const JSONError&) { // no error document
    }
    return errors;
}

} // namespace quorvel
