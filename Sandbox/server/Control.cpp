#include "Sandbox/server/Control.h"

#include "Platform/json/JSON.h"
#include "Sandbox/server/Service.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace quorvel::sandbox {
namespace {

Response json(int status, const JSONValue& value) {
    return {.status = status, .contentType = "application/json", .body = encodeJSON(value)};
}

Response refuse(int status, std::string_view text) {
    return json(status, JSONValue::object({{"error", text}}));
}

[[noreturn]] void missing(std::string_view member, std::string_view what) {
    throw std::invalid_argument(fmt::format("The member \"{}\" must be {}.", member, what));
}

std::string text(const JSONValue& body, std::string_view name, std::optional<std::string> fallback = {}) {
    const JSONValue* member = body.find(name);
    if (!member && fallback) return *fallback;
    if (!member || !member->text()) missing(name, "a string");
    return *member->text();
}

double number(const JSONValue& body, std::string_view name, std::optional<double> fallback = {}) {
    const JSONValue* member = body.find(name);
    if (!member && fallback) return *fallback;
    if (member && member->integer()) return static_cast<double>(*member->integer());
    const double* real = member ? std::get_if<double>(&member->value) : nullptr;
    if (!real) missing(name, "a number");
    return *real;
}

Fault faultFrom(const JSONValue& entry) {
    if (entry.text()) return parseFault(*entry.text());
    if (!entry.members()) throw std::invalid_argument("A fault is an object or a text.");
    Fault fault;
    fault.route = text(entry, "route", "*");
    if (entry.find("status")) fault.status = static_cast<int>(number(entry, "status"));
    if (entry.find("action")) fault.action = text(entry, "action");
    fault.probability = number(entry, "probability", 1);
    if (entry.find("count")) fault.count = static_cast<std::int64_t>(number(entry, "count"));
    if (entry.find("retryAfter")) fault.retryAfter = number(entry, "retryAfter");
    return fault;
}

Response setFaults(Service& service, const JSONValue& body) {
    const JSONValue* list = body.items() ? &body : body.find("faults");
    if (!list || !list->items()) missing("faults", "a list");
    std::vector<Fault> faults;
    for (const JSONValue& entry : *list->items())
        faults.push_back(faultFrom(entry));
    std::optional<std::uint64_t> seed;
    if (body.find("seed")) seed = static_cast<std::uint64_t>(number(body, "seed"));
    service.setFaults(faults, seed);
    return json(200, JSONValue::object({{"faults", static_cast<std::int64_t>(faults.size())}}));
}

Response done() {
    return json(200, JSONValue::object({{"done", true}}));
}

Response advance(Service& service, const JSONValue& body) {
    service.advance(number(body, "seconds"));
    return done();
}

Response moveState(Service& service, const JSONValue& body) {
    service.setVersionState(text(body, "version"), text(body, "state"));
    return done();
}

Response changeKey(Service& service, const JSONValue& body) {
    if (body.find("role")) service.setRole(text(body, "role"));
    if (const JSONValue* revoked = body.find("revoked")) {
        if (!revoked->boolean()) missing("revoked", "true or false");
        service.revokeKey(*revoked->boolean());
    }
    return done();
}

Response addBuild(Service& service, const JSONValue& body) {
    const BuildUpload defaults;
    const std::string id = service.addBuild(
        {.app = text(body, "app"),
         .platform = text(body, "platform", defaults.platform),
         .version = text(body, "version"),
         .number = text(body, "number"),
         .processingState = text(body, "processingState", defaults.processingState),
         .processingSeconds = number(body, "processingSeconds", defaults.processingSeconds)});
    return json(201, JSONValue::object({{"id", id}}));
}

Response generate(Service& service, const JSONValue& body) {
    service.generateReviews(text(body, "app"), static_cast<int>(number(body, "customerReviews")));
    return done();
}

Response changeReview(Service& service, const JSONValue& body) {
    ReviewEdit edit;
    if (const JSONValue* removed = body.find("deleted")) {
        if (!removed->boolean()) missing("deleted", "true or false");
        edit.isDeleted = *removed->boolean();
    }
    for (const auto& [name, value] : {std::pair("title", &edit.title), std::pair("body", &edit.body)})
        if (body.find(name)) *value = text(body, name);
    if (body.find("rating")) edit.rating = static_cast<int>(number(body, "rating"));
    service.changeReview(text(body, "review"), edit);
    return done();
}

Response addReview(Service& service, const JSONValue& body) {
    const CustomerOpinion usual;
    const std::string id = service.addReview(
        text(body, "app"), {.rating = static_cast<int>(number(body, "rating", usual.rating)),
                            .title = text(body, "title", usual.title),
                            .body = text(body, "body", usual.body),
                            .nickname = text(body, "nickname", usual.nickname),
                            .territory = text(body, "territory", usual.territory)});
    return json(201, JSONValue::object({{"id", id}}));
}

Response setLatency(Service& service, const JSONValue& body) {
    service.setLatency(static_cast<int>(number(body, "milliseconds")));
    return done();
}

Response setQuota(Service& service, const JSONValue& body) {
    service.setHourlyQuota(static_cast<int>(number(body, "requests")));
    return done();
}

Response setStoreSearches(Service& service, const JSONValue& body) {
    service.setStoreSearches(static_cast<int>(number(body, "searchesPerMinute")));
    return done();
}

Response skewClock(Service& service, const JSONValue& body) {
    service.skewClock(number(body, "skew"));
    return done();
}

Response setPace(Service& service, const JSONValue& body) {
    Pace pace;
    pace.screenshots = number(body, "screenshots", pace.screenshots);
    pace.visibility = number(body, "visibility", pace.visibility);
    pace.cancellation = number(body, "cancellation", pace.cancellation);
    const JSONValue* fail = body.find("screenshotsFail");
    if (fail && !fail->boolean()) missing("screenshotsFail", "true or false");
    pace.screenshotsFail = fail && *fail->boolean();
    service.setPace(pace);
    return done();
}

Response sendNulls(Service& service, const JSONValue& body) {
    const JSONValue* sent = body.find("sent");
    if (!sent || !sent->boolean()) missing("sent", "true or false");
    service.sendNulls(*sent->boolean() ? NullAttributes::sent : NullAttributes::omitted);
    return done();
}

Response setModelManner(Service& service, const JSONValue& body) {
    ModelManner manner;
    manner.wrapping = text(body, "wrapping", manner.wrapping);
    manner.tooLongAnswers = static_cast<int>(number(body, "tooLongAnswers", manner.tooLongAnswers));
    manner.only = text(body, "only", manner.only);
    if (const JSONValue* script = body.find("script")) {
        if (!script->items()) missing("script", "a list");
        for (const JSONValue& answer : *script->items())
            manner.script.push_back(answer.text() ? *answer.text() : "");
    }
    service.setModelManner(std::move(manner));
    return done();
}

Response showRelayAccount(const Service& service) {
    const RelayAccount account = service.relayAccount();
    return json(200, JSONValue::object({{"calls", account.calls},
                                        {"promptTokens", account.promptTokens},
                                        {"completionTokens", account.completionTokens},
                                        {"repeatedCalls", account.repeatedCalls},
                                        {"lostCalls", account.lostCalls}}));
}

Response listRequests(Service& service) {
    JSONValue::Array entries;
    for (const RecordedRequest& request : service.requests())
        entries.push_back(JSONValue::object({{"method", request.method},
                                             {"path", request.path},
                                             {"target", request.target},
                                             {"body", request.body},
                                             {"status", request.status},
                                             {"authorization", request.authorization}}));
    return json(200, JSONValue(std::move(entries)));
}

struct Action {
    std::string_view name;
    Response (*carryOut)(Service&, const JSONValue&);
};
constexpr Action actions[] = {{"faults", setFaults},       {"advance", advance},  {"states", moveState},
                              {"keys", changeKey},         {"builds", addBuild},  {"generate", generate},
                              {"latency", setLatency},     {"quota", setQuota},   {"clock", skewClock},
                              {"nulls", sendNulls},        {"pace", setPace},     {"relay", setModelManner},
                              {"store", setStoreSearches}, {"review", addReview}, {"reviews", changeReview}};

} // namespace

Response control(Service& service, const Request& request) {
    const std::string_view name = std::string_view(request.path).substr(controlPrefix.size());
    if (name == "state" && request.method == "GET") return json(200, service.state());
    if (name == "relay" && request.method == "GET") return showRelayAccount(service);
    if (name == "requests" && request.method == "GET") return listRequests(service);
    if (name == "requests" && request.method == "DELETE") {
        service.forgetRequests();
        return {.status = 204};
    }
    for (const Action& action : actions)
        if (action.name == name && request.method == "POST") try {
                return action.carryOut(service, decodeJSON<JSONValue>(request.body));
            } catch (const std::exception& error) {
                return refuse(400, error.what());
            }
    return refuse(404, fmt::format("The sandbox has no control route {} {}.", request.method, request.path));
}

} // namespace quorvel::sandbox
