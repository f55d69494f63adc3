#include "Sandbox/server/Roles.h"

#include "Sandbox/resources/Problem.h"

#include <algorithm>

namespace quorvel::sandbox {
namespace {

/// The beginnings of the paths that a role may write to, joined by "|"; "*" for all.
struct Role {
    std::string_view name;
    std::string_view writes;
    bool readsSales;
};
constexpr Role roles[] = {
    {"ADMIN", "*", true},
    {"APP_MANAGER", "*", false},
    {"DEVELOPER",
     "/v1/builds|/v1/betaBuildLocalizations|/v1/betaGroups|/v1/betaTesters|/v1/buildBetaDetails|"
     "/v1/betaAppReviewSubmissions",
     false},
    {"MARKETING",
     "/v1/appStoreVersionLocalizations|/v1/appInfoLocalizations|/v1/appScreenshot|/v1/appPreview", false},
    {"CUSTOMER_SUPPORT", "/v1/customerReviewResponses", false},
    {"FINANCE", "", true},
    {"SALES", "", true},
};

bool startsWithOne(std::string_view beginnings, std::string_view path) {
    while (!beginnings.empty()) {
        const std::size_t end = std::min(beginnings.find('|'), beginnings.size());
        if (path.starts_with(beginnings.substr(0, end))) return true;
        beginnings.remove_prefix(std::min(end + 1, beginnings.size()));
    }
    return false;
}

} // namespace

bool isRole(std::string_view role) {
    return std::ranges::find(roles, role, &Role::name) != std::end(roles);
}

void requireRole(std::string_view role, std::string_view method, std::string_view pattern) {
    const auto found = std::ranges::find(roles, role, &Role::name);
    const bool sales = pattern == "/v1/salesReports";
    const bool allowed = sales             ? found->readsSales
                         : method == "GET" ? true
                                           : found->writes == "*" || startsWithOne(found->writes, pattern);
    if (!allowed) throw Refusal(forbidden());
}

} // namespace quorvel::sandbox
