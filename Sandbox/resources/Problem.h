// What the service refuses, in the words of Apple's error documents.
#pragma once

#include "Platform/json/JSONValue.h"

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// One entry of an error document.
struct Problem {
    int status = 409;
    std::string code = {};
    std::string title = {};
    std::string detail = {};
    std::string pointer = {};        // of the member of the body that is meant; empty when none
    std::string parameter = {};      // of the query; empty when none
    JSONValue associatedErrors = {}; // an object of resource paths, each a list of entries; null when none

    [[nodiscard]] JSONValue document() const;
};

/// Thrown by a rule that refuses a request.
class Refusal : public std::exception {
  public:
    explicit Refusal(Problem problem) { problems_.push_back(std::move(problem)); }
    explicit Refusal(std::vector<Problem> problems) : problems_(std::move(problems)) {}
    [[nodiscard]] const std::vector<Problem>& problems() const { return problems_; }
    [[nodiscard]] const char* what() const noexcept override { return "refused"; }

  private:
    std::vector<Problem> problems_;
};

[[nodiscard]] JSONValue errorDocument(const std::vector<Problem>& problems);

/// The general problem of a status, for faults.
[[nodiscard]] Problem problemOfStatus(int status);

[[nodiscard]] Problem notAuthorized();
[[nodiscard]] Problem forbidden();
[[nodiscard]] Problem pathNotFound(std::string_view path);
[[nodiscard]] Problem methodNotAllowed(std::string_view method, std::string_view allowed);
[[nodiscard]] Problem resourceNotFound(std::string_view type, std::string_view id);
[[nodiscard]] Problem unknownParameter(std::string_view name);
[[nodiscard]] Problem invalidParameter(std::string_view name, std::string detail);
[[nodiscard]] Problem missingParameter(std::string_view name);
[[nodiscard]] Problem unreadableBody(std::string detail);
[[nodiscard]] Problem unknownMember(std::string_view kind, std::string_view name, std::string pointer);
[[nodiscard]] Problem attributeNotAllowed(std::string_view name);
[[nodiscard]] Problem missingAttribute(std::string_view name);
[[nodiscard]] Problem wrongAttributeType(std::string_view name, std::string_view expected);
[[nodiscard]] Problem invalidAttribute(std::string_view name, std::string detail);
[[nodiscard]] Problem tooLong(std::string_view name, int limit);
[[nodiscard]] Problem tooShort(std::string_view name, int minimum);
[[nodiscard]] Problem duplicate(std::string_view name, std::string detail);
[[nodiscard]] Problem lockedAttribute(std::string_view name);
[[nodiscard]] Problem missingRelationship(std::string_view name);
[[nodiscard]] Problem invalidRelationship(std::string_view name, std::string detail);
[[nodiscard]] Problem mismatch(std::string_view member, std::string detail);
[[nodiscard]] Problem invalidState(std::string_view type, std::string_view id, std::string detail);
[[nodiscard]] Problem stateConflict(std::string detail);

} // namespace quorvel::sandbox
