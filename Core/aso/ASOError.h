// The errors of research in the public App Store and of what reads it, with their user-facing texts.
#pragma once

#include <exception>
#include <string>
#include <variant>

namespace quorvel {

/// Whatever a public store service or an AI answer about it did wrong; `description()` is the text that users
/// see.
class ASOError : public std::exception {
  public:
    struct UnsupportedCountry {
        std::string code; // as it was given
        bool operator==(const UnsupportedCountry&) const = default;
    };
    struct HTTPError {
        int status = 0;
        bool operator==(const HTTPError&) const = default;
    };
    struct ParseFailure {
        std::string detail;
        bool operator==(const ParseFailure&) const = default;
    };
    struct AppNotFound {
        std::string appId; // a number or a bundle id, as it was asked for
        bool operator==(const AppNotFound&) const = default;
    };
    struct InvalidURL {
        bool operator==(const InvalidURL&) const = default;
    };
    using Case = std::variant<UnsupportedCountry, HTTPError, ParseFailure, AppNotFound, InvalidURL>;

    ASOError(Case problem);

    [[nodiscard]] const Case& problem() const { return problem_; }
    [[nodiscard]] const std::string& description() const { return description_; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }
    /// Whether this is the case `T`.
    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&problem_);
    }
    bool operator==(const ASOError& other) const { return problem_ == other.problem_; }

  private:
    Case problem_;
    std::string description_;
};

} // namespace quorvel
