#include "Core/asc/ASCError.h"

#include <gtest/gtest.h>

using namespace quorvel;

namespace {

using E = ASCError;

E::APIError entry(std::optional<std::string> status, std::optional<std::string> code,
                  std::optional<std::string> title, std::optional<std::string> detail) {
    return {std::move(status), std::move(code), std::move(title), std::move(detail)};
}

} // namespace

TEST(ASCError, describesEveryCaseToTheUser) {
    const std::string lead401 =
        "Apple didn't accept this key. Check that the Key ID, the Issuer ID and the .p8 file all come from "
        "the same key — and that the key wasn't revoked.";
    const struct {
        E::Case problem;
        std::string text;
    } cases[] = {
        {E::InvalidPrivateKey{"PEM is empty"},
         "The .p8 private key can't be read (PEM is empty). "
         "Download it again from App Store Connect → Users and Access → Integrations and pick the new file "
         "in Settings → App Store Connect."},
        {E::HTTPStatus{401, "x"},
         "App Store Connect rejected the API key (401). "
         "Check the Key ID, Issuer ID and .p8 in Settings → App Store Connect — a revoked key "
         "fails the same way."},
        {E::HTTPStatus{403, {}},
         "The API key isn't allowed to do this (403). "
         "Metadata and builds need the App Manager or Admin role; sales reports need Admin, "
         "Finance or Sales."},
        {E::HTTPStatus{404, "gone"},
         "App Store Connect couldn't find that (404). "
         "The app or version may have been removed, or the key belongs to a different team. "
         "(gone)"},
        {E::HTTPStatus{409, {}},
         "App Store Connect refused the change (409) — the version is in a state that doesn't "
         "allow it. Pull to see the current state."},
        {E::HTTPStatus{429, "x"},
         "App Store Connect is rate-limiting requests (429). Wait a minute and try again."},
        {E::HTTPStatus{503, "x"},
         "App Store Connect is having trouble on Apple's side (503). Try again in a few minutes."},
        {E::HTTPStatus{418, "<p>\n\n  short\x1b[2J </p>"},
         "App Store Connect answered HTTP 418. (<p> short\\x1B[2J </p>)"},
        {E::APIErrors{}, "App Store Connect refused the request without details."},
        {E::APIErrors{{entry({}, {}, {}, {})}}, "App Store Connect error"},
        {E::APIErrors{{entry("401", "NOT_AUTHORIZED", "Bad token", "")}},
         lead401 + "\nBad token [NOT_AUTHORIZED]"},
        {E::APIErrors{
             {entry("409", "STATE_ERROR", "Locked", "In review"), entry("409", "OTHER", {}, "Second")}},
         "The version is in a state that doesn't allow this change — pull to see where it is on App Store "
         "Connect.\n"
         "Locked: In review [STATE_ERROR]\nSecond [OTHER]"},
        {E::APIErrors{{entry("403", "FORBIDDEN_ERROR", {}, {})}},
         "The API key isn't allowed to do this. Metadata and builds need App Manager or Admin; "
         "sales reports need Admin, Finance or Sales.\n[FORBIDDEN_ERROR]"},
        {E::APIErrors{{entry("404", "NOT_FOUND", "No", {})}},
         "App Store Connect couldn't find that — it may have been removed, "
         "or the key belongs to another team.\n"
         "No [NOT_FOUND]"},
        {E::APIErrors{{entry("422", "MISSING", {}, "No notes"), entry("422", "ODD", {}, "Too odd"),
                       entry("422", "MISSING", {}, "No notes")}},
         "No notes [MISSING] (2 times)\nToo odd [ODD]"},
        {E::APIErrors{{entry("409", "ENTITY_ERROR.ATTRIBUTE.INVALID", {}, "Too odd")}},
         "App Store Connect rejected a value.\nToo odd [ENTITY_ERROR.ATTRIBUTE.INVALID]"},
        {E::APIErrors{{entry({}, "NOT_AUTHENTICATED", {}, {})}},
         "App Store Connect rejected the API key. Check it in Settings → App Store Connect.\n"
         "[NOT_AUTHENTICATED]"},
        {E::APIErrors{{entry("409", "UNKNOWN", "Title", "Detail")}}, "Title: Detail [UNKNOWN]"},
        {E::RateLimited{}, "App Store Connect is rate-limiting requests. Wait a minute and try again."},
        {E::RateLimited{7},
         "App Store Connect is rate-limiting requests. Wait about 7 seconds and try again."},
        {E::DecodingFailed{"$.data: missing"},
         "App Store Connect sent a response Quorvel couldn't read ($.data: missing). "
         "Try again; if it keeps happening, update Quorvel."},
        {E::NetworkFailure{"no route"},
         "Couldn't reach App Store Connect (no route). Check your connection and try again."},
        {E::JWTEncodingFailed{}, "Couldn't sign the request to App Store Connect. "
                                 "Re-enter the API key in Settings → App Store Connect."},
        {E::MissingCredentials{},
         "No App Store Connect API key yet. Add the Key ID, Issuer ID and .p8 in Settings → App "
         "Store Connect."},
        {E::InvalidResponse{}, "App Store Connect returned something that isn't an HTTP response. "
                               "Check your connection or proxy and try again."},
        {E::Cancelled{}, "Cancelled."},
    };
    for (const auto& each : cases)
        EXPECT_EQ(E(each.problem).description(), each.text);
}

TEST(ASCError, isOfAKind) {
    using Kind = E::Kind;
    const auto refused = [](const char* status, std::vector<std::string> codes) {
        E::APIErrors document;
        for (std::string& code : codes)
            document.errors.push_back(entry(status, std::move(code), {}, {}));
        return E::Case(document);
    };
    const struct {
        E::Case problem;
        Kind kind;
    } cases[] = {
        {E::Cancelled{}, Kind::cancelled},
        {E::MissingCredentials{}, Kind::missingCredentials},
        {E::InvalidPrivateKey{"PEM is empty"}, Kind::invalidPrivateKey},
        {E::JWTEncodingFailed{}, Kind::invalidPrivateKey},
        {E::HTTPStatus{401, {}}, Kind::credentialsRefused},
        {E::HTTPStatus{403, {}}, Kind::credentialsRefused},
        {E::APIErrors{}, Kind::credentialsRefused}, // only a 401 may come with an empty document
        {refused("403", {"FORBIDDEN_ERROR"}), Kind::credentialsRefused},
        {E::HTTPStatus{404, {}}, Kind::notFound},
        {refused("404", {"NOT_FOUND"}), Kind::notFound},
        {E::HTTPStatus{409, {}}, Kind::stateRefused},
        {refused("409", {"STATE_ERROR"}), Kind::stateRefused},
        {refused("409", {"ENTITY_ERROR.ATTRIBUTE.INVALID", "PARAMETER_ERROR.INVALID"}), Kind::valuesRefused},
        {refused("409", {"ENTITY_ERROR.ATTRIBUTE.INVALID", "STATE_ERROR"}), Kind::stateRefused},
        {refused("409", {"ENTITY_ERROR.ATTRIBUTE.INVALID.STATE"}), Kind::stateRefused},
        {E::APIErrors{{entry("409", {}, {}, {})}}, Kind::stateRefused},
        {E::RateLimited{7}, Kind::serviceTrouble},
        {E::HTTPStatus{429, {}}, Kind::serviceTrouble},
        {E::HTTPStatus{500, {}}, Kind::serviceTrouble},
        {E::NetworkFailure{"no route"}, Kind::serviceTrouble},
        {E::InvalidResponse{}, Kind::serviceTrouble},
        {E::DecodingFailed{"$.data: missing"}, Kind::serviceTrouble},
        {E::HTTPStatus{418, {}}, Kind::failed},
        {E::APIErrors{{entry({}, "UNKNOWN", {}, {})}}, Kind::failed},
        {refused("400", {"PARAMETER_ERROR.INVALID"}), Kind::failed},
    };
    for (const auto& [problem, kind] : cases)
        EXPECT_EQ(rawValue(E(problem).kind()), rawValue(kind)) << E(problem).description();
}

TEST(ASCError, cutsALongBodyAtAGraphemeBoundary) {
    std::string body;
    for (int i = 0; i < 400; ++i)
        body += "👨‍👩‍👧";
    const std::string text = E(E::HTTPStatus{418, body}).description();
    EXPECT_TRUE(text.ends_with("👨‍👩‍👧…)"));
    EXPECT_EQ(text.size(), std::string("App Store Connect answered HTTP 418. (…)").size() +
                               300 * std::string("👨‍👩‍👧").size());
}

TEST(ASCError, readsErrorDocumentsWithTheirAssociatedCauses) {
    const auto errors = decodeErrorDocument(R"({"errors":[
        {"id":"1","status":"409","code":"STATE_ERROR.ENTITY_STATE_INVALID","title":"T","source":{"pointer":"/x"},
         "meta":{"associatedErrors":{"/v1/appStoreVersionLocalizations/7":[
            {"code":"ENTITY_ERROR.ATTRIBUTE.REQUIRED","detail":"description is required"}]}}},
        {"code":"B"}]})");
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_EQ(errors[1].code, "B");
    EXPECT_EQ(errors[2].detail, "description is required");
    EXPECT_TRUE(E(E::APIErrors{errors}).hasCodeContaining("ATTRIBUTE.REQUIRED"));
    const auto odd = decodeErrorDocument(R"({"errors":[null,"text",{"status":409,"code":"A","title":[]},
        {"detail":{}},{"code":"B","meta":{"associatedErrors":{"x":[3,{"code":"C"}],"y":7}}}]})");
    EXPECT_EQ(odd, (std::vector{entry("409", "A", {}, {}), entry({}, "B", {}, {}), entry({}, "C", {}, {})}));
    for (const char* other : {"", "<html>", "[]", R"({"errors":"no"})", R"({"errors":[{"code":[]}]})",
                              R"({"errors":[{"meta":{"associatedErrors":{"x":[3]}}}]})"})
        EXPECT_TRUE(decodeErrorDocument(other).empty()) << other;
}
