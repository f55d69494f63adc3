// The errors of App Store Connect access and their user-facing texts.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/json/RawValue.h"

#include <exception>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace quorvel {

/// Anything that goes wrong between us and App Store Connect. `description()` is the text that users see.
class ASCError : public std::exception {
  public:
    /// One entry of an error document.
    struct APIError {
        std::optional<std::string> status;
        std::optional<std::string> code;
        std::optional<std::string> title;
        std::optional<std::string> detail;
        QUORVEL_RECORD(APIError, status, code, title, detail)
        bool operator==(const APIError&) const = default;
    };

    struct InvalidPrivateKey {
        std::string reason;
        bool operator==(const InvalidPrivateKey&) const = default;
    };
    struct HTTPStatus {
        int code = 0;
        std::optional<std::string> body;
        bool operator==(const HTTPStatus&) const = default;
    };
    struct APIErrors {
        std::vector<APIError> errors;
        bool operator==(const APIErrors&) const = default;
    };
    struct RateLimited {
        std::optional<double> retryAfter; // seconds
        bool operator==(const RateLimited&) const = default;
    };
    struct DecodingFailed {
        std::string problem;
        bool operator==(const DecodingFailed&) const = default;
    };
    struct NetworkFailure {
        std::string problem;
        bool operator==(const NetworkFailure&) const = default;
    };
    struct JWTEncodingFailed {
        bool operator==(const JWTEncodingFailed&) const = default;
    };
    struct MissingCredentials {
        bool operator==(const MissingCredentials&) const = default;
    };
    struct InvalidResponse {
        bool operator==(const InvalidResponse&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };
    using Case =
        std::variant<InvalidPrivateKey, HTTPStatus, APIErrors, RateLimited, DecodingFailed, NetworkFailure,
                     JWTEncodingFailed, MissingCredentials, InvalidResponse, Cancelled>;

    /// What an error means to whoever reports it or decides about a retry.
    enum class Kind {
        missingCredentials,
        invalidPrivateKey,  // it cannot be read, or does not sign
        credentialsRefused, // the key is not accepted, or lacks the role
        notFound,
        stateRefused,   // the state on App Store Connect does not allow the change
        valuesRefused,  // App Store Connect refused values and nothing else
        serviceTrouble, // the network or the service; a retry may help
        cancelled,
        failed, // everything else
    };

    ASCError(Case problem);

    [[nodiscard]] const Case& problem() const { return problem_; }
    [[nodiscard]] Kind kind() const;
    [[nodiscard]] const std::string& description() const { return description_; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

    /// Whether this is the case `T`.
    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&problem_);
    }
    /// The HTTP status behind this error, from an answer or an error document's first entry; nothing when
    /// there was no answer.
    [[nodiscard]] std::optional<int> httpStatus() const;
    /// Whether an error document has an entry whose code contains `part`, such as "INVALID.DUPLICATE".
    [[nodiscard]] bool hasCodeContaining(std::string_view part) const;

    bool operator==(const ASCError& other) const { return problem_ == other.problem_; }

  private:
    Case problem_;
    std::string description_;
};

template <>
struct RawValues<ASCError::Kind> {
    using K = ASCError::Kind;
    static constexpr std::pair<ASCError::Kind, std::string_view> values[] = {
        {K::missingCredentials, "missingCredentials"},
        {K::invalidPrivateKey, "invalidPrivateKey"},
        {K::credentialsRefused, "credentialsRefused"},
        {K::notFound, "notFound"},
        {K::stateRefused, "stateRefused"},
        {K::valuesRefused, "valuesRefused"},
        {K::serviceTrouble, "serviceTrouble"},
        {K::cancelled, "cancelled"},
        {K::failed, "failed"},
    };
};

/// The error document that App Store Connect sends; members not listed are ignored. The entries are read one
/// by one, so that an odd one does not take the others with it.
struct ASCErrorEnvelope {
    std::vector<JSONValue> errors;
    QUORVEL_RECORD(ASCErrorEnvelope, errors)
};

/// The entries of an error document, and after them the causes that they list (`meta.associatedErrors`). A
/// number counts as text; what is neither is left out, and so is an entry that says nothing. Empty when
/// `body` is no error document.
[[nodiscard]] std::vector<ASCError::APIError> decodeErrorDocument(std::string_view body);

} // namespace quorvel
