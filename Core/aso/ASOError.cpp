#include "Core/aso/ASOError.h"

#include <fmt/format.h>

#include <utility>

namespace quorvel {

namespace {

struct Description {
    std::string operator()(const ASOError::UnsupportedCountry& problem) const {
        return fmt::format("Country \"{}\" is not in our App Store storefront map.", problem.code);
    }
    std::string operator()(const ASOError::HTTPError& problem) const {
        return fmt::format("App Store endpoint returned HTTP {}", problem.status);
    }
    std::string operator()(const ASOError::ParseFailure& problem) const {
        return "Failed to parse Apple's response: " + problem.detail;
    }
    std::string operator()(const ASOError::AppNotFound& problem) const {
        return fmt::format("App with id {} was not found on the App Store.", problem.appId);
    }
    std::string operator()(const ASOError::InvalidURL&) const {
        return "Could not construct a valid URL for this query.";
    }
};

} // namespace

ASOError::ASOError(Case problem)
    : problem_(std::move(problem)), description_(std::visit(Description{}, problem_)) {}

} // namespace quorvel
