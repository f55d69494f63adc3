#include "Quorvel/assistants/Tool.h"

#include "Platform/text/Text.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <memory>
#include <tuple>

namespace quorvel {

namespace {

constexpr std::string_view consentKey = "consent";

struct PreparedPlan {
    std::string handle;
    Date expiresAt;
    std::string performWith; // the tool that takes the handle
    std::string summary;
    std::vector<std::string> details;
    QUORVEL_RECORD(PreparedPlan, handle, expiresAt, performWith, summary, details)
};

struct PerformedPlan {
    std::string summary;
    std::vector<std::string> details;
    std::int64_t failed = 0;
    QUORVEL_RECORD(PerformedPlan, summary, details, failed)
};

struct HandleRequest {
    std::string handle;
    QUORVEL_RECORD(HandleRequest, handle)
    static constexpr JSONMember members[] = {{"handle", "Of the prepared plan.", JSONMember::required}};
};

using Variants = std::vector<JobVariant>;

// The members of all variants; of a single one those that it must have, too.
JSONValue inputOf(const Variants& variants, std::string_view choice) {
    if (choice.empty()) return argumentsSchema(variants.front().request, variants.front().shown);
    JSONValue::Array names;
    JSONValue::Object properties;
    properties.emplace_back(std::string(choice), JSONValue());
    for (const JobVariant& variant : variants) {
        names.emplace_back(variant.name);
        const JSONValue schema = argumentsSchema(variant.request, variant.shown);
        for (const auto& [name, member] : *schema.find("properties")->members())
            if (std::ranges::find(properties, name, [](const auto& one) { return one.first; }) ==
                properties.end())
                properties.emplace_back(name, member);
    }
    properties.front().second =
        JSONValue::object({{"type", "string"}, {"enum", JSONValue(std::move(names))}});
    return JSONValue::object({{"type", "object"},
                              {"properties", std::move(properties)},
                              {"required", JSONValue::array({choice})}});
}

const JobVariant& variantOf(const Variants& variants, const JSONValue* chosen, std::string_view choice) {
    if (choice.empty()) return variants.front();
    std::vector<std::string_view> names;
    for (const JobVariant& variant : variants) {
        if (chosen && chosen->text() && *chosen->text() == variant.name) return variant;
        names.push_back(variant.name);
    }
    throw ApplicationError(FailureKind::badRequest,
                           fmt::format("\"{}\" must be one of {}", choice, fmt::join(names, ", ")));
}

ToolOutcome prepare(ToolCall& call, const Variants& variants, std::string_view choice,
                    std::string_view performer) {
    const JobVariant& variant = variantOf(variants, call.arguments.find(choice), choice);
    call.arguments.erase(choice);
    for (const auto& [name, value] : *call.arguments.members())
        if (std::ranges::find(variant.shown, name) == variant.shown.end())
            throw ApplicationError(
                FailureKind::badRequest,
                fmt::format("\"{}\" does not belong to \"{}\" {}", name, choice, variant.name),
                fmt::format("It takes {}.", fmt::join(variant.shown, ", ")));
    PreparedJob job{.tool = std::string(performer),
                    .variant = std::string(variant.name),
                    .workspace = call.workspace,
                    .request = requestOf(call, variant.request)};
    std::tie(job.plan, job.text) = variant.plan(call, job.request);
    if (variant.fingerprint) job.fingerprint = variant.fingerprint(job.plan);
    PreparedPlan plan{.handle = call.handles.keep(job),
                      .expiresAt = job.expiresAt,
                      .performWith = std::string(performer),
                      .summary = job.text.summary,
                      .details = std::move(job.text.details)};
    std::string text =
        fmt::format("Nothing is sent yet. Planned: {}. When the user agrees, call {} with this "
                    "handle within ten minutes.",
                    plan.summary, performer);
    return {valueOf(plan), std::move(text)};
}

JSONValue questionAbout(const PreparedJob& job) {
    constexpr std::size_t mostLines = 12;
    std::string message =
        fmt::format("An assistant wants to change App Store Connect: {}.", job.text.summary);
    for (std::size_t index = 0; index < std::min(mostLines, job.text.details.size()); ++index)
        message += "\n- " + job.text.details[index];
    if (job.text.details.size() > mostLines)
        message += fmt::format("\nand {} more", job.text.details.size() - mostLines);
    return JSONValue::object(
        {{"mode", "form"},
         {"message", std::move(message)},
         {"requestedSchema", JSONValue::object({{"type", "object"}, {"properties", JSONValue::object()}})}});
}

enum class Consent { given, refused, open };

Consent consentOf(const JSONValue* answer) {
    const JSONValue* const action = answer ? answer->find("action") : nullptr;
    if (!action || !action->text()) return Consent::open;
    return *action->text() == "accept" ? Consent::given : Consent::refused;
}

// What asks for the user's consent; nothing once it is given.
std::optional<ToolOutcome> askFirst(ToolCall& call, const std::string& handle, std::string_view tool,
                                    const PreparedJob& job) {
    const ClientTerms& terms = call.scope.terms();
    if (!terms.asksByForm) return std::nullopt;
    Consent consent = Consent::open;
    if (isModern(terms.revision)) {
        const JSONValue* const responses = call.message.param("inputResponses");
        const JSONValue* const state = call.message.param("requestState");
        if (responses && (job.consent.empty() || !state || !state->text() || *state->text() != job.consent))
            throw ProtocolError(rpc::invalidParams, "\"requestState\" is not the one of the question.");
        consent = consentOf(responses ? responses->find(consentKey) : nullptr);
        if (consent == Consent::open)
            return ToolOutcome{
                .structured = {},
                .text = {},
                .interim = JSONValue::object(
                    {{"resultType", "input_required"},
                     {"inputRequests",
                      JSONValue::object(
                          {{std::string(consentKey), JSONValue::object({{"method", "elicitation/create"},
                                                                        {"params", questionAbout(job)}})}})},
                     {"requestState", call.handles.awaitConsent(handle, tool)}})};
    } else {
        JSONValue question = questionAbout(job);
        if (terms.revision < Revision::r20251125) question.erase("mode");
        const JSONValue answer = call.scope.ask("elicitation/create", std::move(question));
        consent = consentOf(&answer);
    }
    if (consent == Consent::given) return std::nullopt;
    if (consent == Consent::open)
        throw ApplicationError(FailureKind::failed,
                               "the user was not asked or did not answer; nothing was sent");
    call.handles.forget(handle);
    throw ApplicationError(FailureKind::failed, "the user did not agree; nothing was sent",
                           "Ask the user what should be otherwise, and prepare that.");
}

bool isUnchanged(const JobVariant& variant, const JSONValue& before, const JSONValue& now) {
    if (variant.compared.empty()) return before == now;
    return std::ranges::all_of(variant.compared, [&](std::string_view name) {
        const JSONValue* const was = before.find(name);
        const JSONValue* const is = now.find(name);
        return was && is ? *was == *is : was == is;
    });
}

[[noreturn]] void refuseStale() {
    throw ApplicationError(FailureKind::stalePlan,
                           "what the plan was made from has changed; nothing was sent", "Prepare it again.");
}

// Throws `ApplicationError` for a plan that was made from something else than there is now.
void requireCurrent(ToolCall& call, const JobVariant& variant, const PreparedJob& job) {
    const bool isSame =
        (!variant.isPlannedAgain || isUnchanged(variant, job.plan, variant.plan(call, job.request).first)) &&
        (!variant.fingerprint || job.fingerprint == variant.fingerprint(job.plan));
    if (!isSame) refuseStale();
}

ToolOutcome performPlan(ToolCall& call, const Variants& variants, std::string_view tool) {
    const auto handle = decodeRequest<HandleRequest>(call.arguments).handle;
    const PreparedJob looked = call.handles.look(handle, tool);
    if (looked.workspace != call.workspace) { // before anybody is asked about it
        call.handles.forget(handle);
        refuseStale();
    }
    if (auto question = askFirst(call, handle, tool, looked)) return *std::move(question);
    // The user may have taken the permission back while he was asked.
    requirePermission(call.reach, AssistantPermissionSetting(call.application.userDefaults()).permission());
    const PreparedJob job = call.handles.take(handle, tool);
    const JobVariant& variant = *std::ranges::find(variants, job.variant, &JobVariant::name);
    requireCurrent(call, variant, job);
    JobText text = variant.perform(call, job.plan);
    PerformedPlan done{
        .summary = std::move(text.summary), .details = std::move(text.details), .failed = text.failed};
    std::string summary = done.summary + ".";
    return {valueOf(done), std::move(summary), done.failed > 0};
}

} // namespace

std::string oneLineOf(std::string_view text) {
    constexpr std::size_t most = 120; // bytes; cut where a character begins
    std::size_t end = std::min({text.find_first_of("\r\n"), most, text.size()});
    while (end > 0 && end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return escapeControls(text.substr(0, end)) + (end < text.size() ? "…" : "");
}

void refuseArguments(const JSONError& error) {
    throw ApplicationError(FailureKind::badRequest,
                           fmt::format("the arguments are not usable: {}", error.what()));
}

JSONValue requestOf(const ToolCall& call, const JSONValue& schema) {
    JSONValue request = call.arguments;
    if (call.workspace && schema.at("properties", "workspace")) request.set("workspace", *call.workspace);
    // What only looks moves no texts of an older layout and waits for no folder.
    if (call.reach == ToolReach::looks && schema.at("properties", "dryRun")) request.set("dryRun", true);
    // The folder that an assistant was started in says nothing about an app.
    if (schema.at("properties", "ownFoldersOnly")) request.set("ownFoldersOnly", true);
    return request;
}

std::pair<Tool, Tool> jobTools(Tool preparing, Tool performing, std::string_view choice,
                               std::vector<JobVariant> variants) {
    const auto shared = std::make_shared<const Variants>(std::move(variants));
    preparing.reach =
        std::ranges::any_of(*shared, &JobVariant::keepsFiles) ? ToolReach::edits : ToolReach::looks;
    // Plans and failures quote names and texts of App Store Connect.
    preparing.holdsForeignTexts = performing.holdsForeignTexts = true;
    preparing.input = inputOf(*shared, choice);
    preparing.output = leanSchema(jsonSchema<PreparedPlan>());
    preparing.run = [shared, choice, performer = performing.name](ToolCall& call) {
        return prepare(call, *shared, choice, performer);
    };
    performing.reach = ToolReach::sends;
    performing.input = argumentsSchema(jsonSchema<HandleRequest>(), std::vector<std::string_view>{"handle"});
    performing.output = leanSchema(jsonSchema<PerformedPlan>());
    performing.run = [shared, tool = performing.name](ToolCall& call) {
        return performPlan(call, *shared, tool);
    };
    return {std::move(preparing), std::move(performing)};
}

} // namespace quorvel
