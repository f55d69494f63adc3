#include "Sandbox/resources/Problem.h"

#include "Platform/crypto/Digest.h"

#include <fmt/format.h>

namespace quorvel::sandbox {
namespace {

Problem attributeProblem(std::string code, std::string title, std::string detail, std::string_view name) {
    return {409, std::move(code), std::move(title), std::move(detail),
            fmt::format("/data/attributes/{}", name)};
}

Problem relationshipProblem(std::string code, std::string title, std::string detail, std::string_view name) {
    return {409, std::move(code), std::move(title), std::move(detail),
            fmt::format("/data/relationships/{}", name)};
}

Problem parameterProblem(std::string code, std::string title, std::string detail, std::string_view name) {
    return {400, std::move(code), std::move(title), std::move(detail), "", std::string(name), {}};
}

} // namespace

JSONValue Problem::document() const {
    JSONValue entry = JSONValue::object({{"id", makeUUID()},
                                         {"status", std::to_string(status)},
                                         {"code", code},
                                         {"title", title},
                                         {"detail", detail}});
    if (!pointer.empty()) entry.set("source", JSONValue::object({{"pointer", pointer}}));
    if (!parameter.empty()) entry.set("source", JSONValue::object({{"parameter", parameter}}));
    if (!associatedErrors.isNull())
        entry.set("meta", JSONValue::object({{"associatedErrors", associatedErrors}}));
    return entry;
}

JSONValue errorDocument(const std::vector<Problem>& problems) {
    JSONValue::Array entries;
    for (const Problem& problem : problems)
        entries.push_back(problem.document());
    return JSONValue::object({{"errors", std::move(entries)}});
}

Problem problemOfStatus(int status) {
    switch (status) {
    case 400:
        return {400, "PARAMETER_ERROR.INVALID", "A parameter has an invalid value",
                "The request could not be understood."};
    case 401:
        return notAuthorized();
    case 403:
        return forbidden();
    case 404:
        return {404, "NOT_FOUND", "The specified resource does not exist",
                "There is no such resource at the moment."};
    case 409:
        return stateConflict("The request conflicts with a change that is under way.");
    case 429:
        return {429, "RATE_LIMIT_EXCEEDED", "The request rate limit has been reached.",
                "We've received too many requests for this API. "
                "Please wait and try again or slow down your request rate."};
    case 503:
        return {503, "SERVICE_UNAVAILABLE", "The service is temporarily unavailable.",
                "The service is not available at the moment. Try again later."};
    default:
        return {status, "UNEXPECTED_ERROR", "An unexpected error occurred.",
                "An unexpected error occurred on the server side. If this issue continues, contact us."};
    }
}

Problem notAuthorized() {
    return {401, "NOT_AUTHORIZED", "Authentication credentials are missing or invalid.",
            "Provide a properly configured and signed bearer token, and make sure that it has not expired. "
            "Learn more about Generating Tokens for API Requests "
            "https://developer.apple.com/go/?id=api-generating-tokens"};
}

Problem forbidden() {
    return {403, "FORBIDDEN_ERROR", "This request is forbidden for security reasons",
            "The API key in use does not allow this request"};
}

Problem pathNotFound(std::string_view path) {
    return {404, "PATH_ERROR", "The URL path is not valid",
            fmt::format("The path provided does not match a defined resource type: '{}'", path)};
}

Problem methodNotAllowed(std::string_view method, std::string_view allowed) {
    return {405, "METHOD_NOT_ALLOWED", "The request method is not valid for the resource path.",
            fmt::format("The method '{}' is not allowed here. Allowed: {}", method, allowed)};
}

Problem resourceNotFound(std::string_view type, std::string_view id) {
    return {404, "NOT_FOUND", "The specified resource does not exist",
            fmt::format("There is no resource of type '{}' with id '{}'", type, id)};
}

Problem unknownParameter(std::string_view name) {
    return parameterProblem("PARAMETER_ERROR.ILLEGAL", "A parameter has an invalid value",
                            fmt::format("The parameter '{}' can not be used with this request", name), name);
}

Problem invalidParameter(std::string_view name, std::string detail) {
    return parameterProblem("PARAMETER_ERROR.INVALID", "A parameter has an invalid value", std::move(detail),
                            name);
}

Problem missingParameter(std::string_view name) {
    return parameterProblem("PARAMETER_ERROR.REQUIRED", "A required parameter is missing",
                            fmt::format("The parameter '{}' is required but was not provided", name), name);
}

Problem unreadableBody(std::string detail) {
    return {400, "ENTITY_INVALID", "JSON processing failed", std::move(detail)};
}

Problem unknownMember(std::string_view kind, std::string_view name, std::string pointer) {
    return {409, fmt::format("ENTITY_ERROR.{}.UNKNOWN", kind),
            "The provided entity includes an unknown member",
            fmt::format("'{}' is not a known member of this entity", name), std::move(pointer)};
}

Problem attributeNotAllowed(std::string_view name) {
    return attributeProblem(
        "ENTITY_ERROR.ATTRIBUTE.NOT_ALLOWED", "The provided entity includes an attribute that is not allowed",
        fmt::format("The attribute '{}' can not be included in this request", name), name);
}

Problem missingAttribute(std::string_view name) {
    return attributeProblem(
        "ENTITY_ERROR.ATTRIBUTE.REQUIRED", "The provided entity is missing a required attribute",
        fmt::format("You must provide a value for the attribute '{}' with this request", name), name);
}

Problem wrongAttributeType(std::string_view name, std::string_view expected) {
    return attributeProblem("ENTITY_ERROR.ATTRIBUTE.TYPE",
                            "An attribute in the provided entity has the wrong type",
                            fmt::format("Expected the attribute '{}' to be {}", name, expected), name);
}

Problem invalidAttribute(std::string_view name, std::string detail) {
    return attributeProblem("ENTITY_ERROR.ATTRIBUTE.INVALID",
                            "The provided entity includes an attribute with an invalid value",
                            std::move(detail), name);
}

Problem tooLong(std::string_view name, int limit) {
    return attributeProblem("ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_LONG", "An attribute value is too long.",
                            fmt::format("'{}' cannot be longer than '{}' characters.", name, limit), name);
}

Problem tooShort(std::string_view name, int minimum) {
    return attributeProblem("ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_SHORT", "An attribute value is too short.",
                            fmt::format("'{}' cannot be shorter than '{}' characters.", name, minimum), name);
}

Problem duplicate(std::string_view name, std::string detail) {
    return attributeProblem(
        "ENTITY_ERROR.ATTRIBUTE.INVALID.DUPLICATE",
        "The provided entity includes an attribute with a value that has already been used",
        std::move(detail), name);
}

Problem lockedAttribute(std::string_view name) {
    return attributeProblem("STATE_ERROR",
                            "An attribute value is not acceptable for the current resource state.",
                            fmt::format("Attribute '{}' cannot be edited at this time", name), name);
}

Problem missingRelationship(std::string_view name) {
    return relationshipProblem(
        "ENTITY_ERROR.RELATIONSHIP.REQUIRED", "The provided entity is missing a required relationship",
        fmt::format("You must provide a value for the relationship '{}' with this request", name), name);
}

Problem invalidRelationship(std::string_view name, std::string detail) {
    return relationshipProblem("ENTITY_ERROR.RELATIONSHIP.INVALID",
                               "The provided entity includes a relationship with an invalid value",
                               std::move(detail), name);
}

Problem mismatch(std::string_view member, std::string detail) {
    return {409, fmt::format("ENTITY_ERROR.{}.INVALID", member == "id" ? "ID" : "TYPE"),
            "The provided entity does not match the request", std::move(detail),
            fmt::format("/data/{}", member)};
}

Problem invalidState(std::string_view type, std::string_view id, std::string detail) {
    return {409, "STATE_ERROR.ENTITY_STATE_INVALID",
            fmt::format("{} with id '{}' is not in valid state.", type, id), std::move(detail)};
}

Problem stateConflict(std::string detail) {
    return {409, "STATE_ERROR", "The request cannot be fulfilled because of the state of another resource.",
            std::move(detail)};
}

} // namespace quorvel::sandbox
