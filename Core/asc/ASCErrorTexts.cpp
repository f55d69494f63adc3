#include "Core/asc/ASCErrorTexts.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

namespace quorvel {

const std::string_view keyNotAcceptedText =
    "Apple didn't accept this key. Check that the Key ID, the Issuer ID and the .p8 file all come "
    "from the same key — and that the key wasn't revoked.";

namespace {

constexpr std::size_t excerptLength = 300; // grapheme clusters

// One readable line of an answer's body.
std::string excerptOf(const std::optional<std::string>& body) {
    if (!body) return {};
    std::string line;
    for (const std::string_view segment : wordSegments(graphemePrefix(*body, 4 * excerptLength))) {
        if (!isBlank(segment))
            line += segment;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    const std::string_view text = trim(line);
    const std::string_view shortened = graphemePrefix(text, excerptLength);
    return escapeControls(shortened) + (shortened.size() < text.size() ? "…" : "");
}

std::string withExcerpt(std::string_view text, const std::optional<std::string>& body) {
    const std::string excerpt = excerptOf(body);
    return excerpt.empty() ? std::string(text) : fmt::format("{} ({})", text, excerpt);
}

std::string textOfStatus(int code, const std::optional<std::string>& body) {
    switch (code) {
    case 401:
        return "App Store Connect rejected the API key (401). "
               "Check the Key ID, Issuer ID and .p8 in Settings → App Store Connect — a revoked key fails "
               "the same way.";
    case 403:
        return "The API key isn't allowed to do this (403). "
               "Metadata and builds need the App Manager or Admin role; sales reports need Admin, "
               "Finance or Sales.";
    case 404:
        return withExcerpt(
            "App Store Connect couldn't find that (404). "
            "The app or version may have been removed, or the key belongs to a different team.",
            body);
    case 409:
        return withExcerpt(
            "App Store Connect refused the change (409) — the version is in a state that doesn't allow it. "
            "Pull to see the current state.",
            body);
    case 429:
        return "App Store Connect is rate-limiting requests (429). Wait a minute and try again.";
    default:
        break;
    }
    if (code >= 500 && code <= 599)
        return fmt::format(
            "App Store Connect is having trouble on Apple's side ({}). Try again in a few minutes.", code);
    return withExcerpt(fmt::format("App Store Connect answered HTTP {}.", code), body);
}

struct LeadSentence {
    std::string_view code;
    std::string_view text;
};

constexpr std::string_view stateText =
    "The version is in a state that doesn't allow this change — pull to see where it is on App "
    "Store Connect.";
constexpr std::string_view notAllowedText =
    "The API key isn't allowed to do this. Metadata and builds need App Manager or Admin; "
    "sales reports need Admin, Finance or Sales.";
constexpr std::string_view notFoundText =
    "App Store Connect couldn't find that — it may have been removed, or the key belongs to another team.";
constexpr std::string_view valueText = "App Store Connect rejected a value.";
constexpr std::string_view rejectedKeyText =
    "App Store Connect rejected the API key. Check it in Settings → App Store Connect.";

// The documented codes and the longer spellings that App Store Connect sends for the same refusals.
constexpr LeadSentence leadSentences[] = {
    {"ENTITY_STATE_INVALID", stateText},
    {"STATE_ERROR", stateText},
    {"STATE_ERROR.ENTITY_STATE_INVALID", stateText},
    {"NOT_AUTHORIZED", notAllowedText},
    {"FORBIDDEN_ERROR", notAllowedText},
    {"NOT_FOUND", notFoundText},
    {"ENTITY_NOT_FOUND", notFoundText},
    {"PARAMETER_ERROR.INVALID", valueText},
    {"ENTITY_ERROR.ATTRIBUTE.INVALID", valueText},
    {"ENTITY_ERROR.ATTRIBUTE.INVALID.TOO_LONG", valueText},
    {"UNAUTHORIZED", rejectedKeyText},
    {"NOT_AUTHENTICATED", rejectedKeyText},
};

std::string_view leadSentenceOf(const ASCError::APIError& first) {
    if (first.status == "401") return keyNotAcceptedText;
    for (const LeadSentence& lead : leadSentences)
        if (first.code == lead.code) return lead.text;
    return {};
}

std::string lineOf(const ASCError::APIError& error) {
    std::vector<std::string> parts;
    for (const auto& part : {error.title, error.detail})
        if (part && !part->empty()) parts.push_back(*part);
    std::string line = fmt::format("{}", fmt::join(parts, ": "));
    if (error.code && !error.code->empty())
        line += fmt::format("{}[{}]", line.empty() ? "" : " ", *error.code);
    return line;
}

std::string textOfRefusal(const std::vector<ASCError::APIError>& errors) {
    if (errors.empty()) return "App Store Connect refused the request without details.";
    std::vector<std::string> lines; // each once: one entry per locale says the same forty times
    std::vector<std::size_t> counts;
    for (const auto& error : errors) {
        std::string line = lineOf(error);
        if (line.empty()) continue;
        const auto known = std::ranges::find(lines, line);
        if (known != lines.end()) {
            ++counts[static_cast<std::size_t>(known - lines.begin())];
        } else {
            lines.push_back(std::move(line));
            counts.push_back(1);
        }
    }
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (counts[i] > 1) lines[i] += fmt::format(" ({} times)", counts[i]);
    const std::string detail = fmt::format("{}", fmt::join(lines, "\n"));
    const std::string_view lead = leadSentenceOf(errors.front());
    if (lead.empty()) return detail.empty() ? "App Store Connect error" : detail;
    return detail.empty() ? std::string(lead) : fmt::format("{}\n{}", lead, detail);
}

struct TextVisitor {
    std::string operator()(const ASCError::InvalidPrivateKey& problem) const {
        return fmt::format(
            "The .p8 private key can't be read ({}). Download it again from App Store Connect → Users and "
            "Access → Integrations and pick the new file in Settings → App Store Connect.",
            problem.reason);
    }
    std::string operator()(const ASCError::HTTPStatus& problem) const {
        return textOfStatus(problem.code, problem.body);
    }
    std::string operator()(const ASCError::APIErrors& problem) const { return textOfRefusal(problem.errors); }
    std::string operator()(const ASCError::RateLimited& problem) const {
        if (!problem.retryAfter)
            return "App Store Connect is rate-limiting requests. Wait a minute and try again.";
        return fmt::format(
            "App Store Connect is rate-limiting requests. Wait about {:.0f} seconds and try again.",
            std::ceil(*problem.retryAfter));
    }
    std::string operator()(const ASCError::DecodingFailed& problem) const {
        return fmt::format("App Store Connect sent a response Quorvel couldn't read ({}). "
                           "Try again; if it keeps happening, update Quorvel.",
                           problem.problem);
    }
    std::string operator()(const ASCError::NetworkFailure& problem) const {
        return fmt::format("Couldn't reach App Store Connect ({}). Check your connection and try again.",
                           problem.problem);
    }
    std::string operator()(const ASCError::JWTEncodingFailed&) const {
        return "Couldn't sign the request to App Store Connect. "
               "Re-enter the API key in Settings → App Store Connect.";
    }
    std::string operator()(const ASCError::MissingCredentials&) const {
        return "No App Store Connect API key yet. Add the Key ID, Issuer ID and .p8 in Settings → App Store "
               "Connect.";
    }
    std::string operator()(const ASCError::InvalidResponse&) const {
        return "App Store Connect returned something that isn't an HTTP response. "
               "Check your connection or proxy and try again.";
    }
    std::string operator()(const ASCError::Cancelled&) const { return "Cancelled."; }
};

} // namespace

std::string textOf(const ASCError::Case& problem) {
    return std::visit(TextVisitor{}, problem);
}

} // namespace quorvel
