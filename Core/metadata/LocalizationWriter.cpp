#include "Core/metadata/LocalizationWriter.h"

#include "Core/asc/services/CreateOrAdopt.h"
#include "Core/metadata/LocalizationAttributes.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/PageTexts.h"
#include "Core/metadata/PendingChange.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Value = LocalizationWriter::Value;

// Such an error ends with a full stop or with what the service sent.
std::string withUnknownOutcome(std::string_view error) {
    return fmt::format("{} {} Push again to make sure.", error, mayHaveTakenText);
}

const std::string cutShortText = withUnknownOutcome("Cancelled while it was being sent.");

// What an answer says may quote the request, in whatever spelling: nothing of it is shown where that held a
// secret.
std::string withoutAnswer(const ASCError& error) {
    const bool isAnswer = error.as<ASCError::HTTPStatus>() || error.as<ASCError::APIErrors>() ||
                          error.as<ASCError::DecodingFailed>();
    if (!isAnswer) return error.description();
    return fmt::format(
        "App Store Connect answered{}. What it says may quote the password, so it is not shown.",
        error.httpStatus() ? fmt::format(" with HTTP {}", *error.httpStatus()) : "");
}

std::string textOf(const ASCError& error, const std::vector<Value>& sent) {
    if (error.as<ASCError::Cancelled>()) return cutShortText;
    const bool holdsSecret = std::ranges::any_of(sent, isSecret, &Value::first);
    const std::string text = holdsSecret ? withoutAnswer(error) : error.description();
    return mayHaveBeenDone(error) ? withUnknownOutcome(text) : text;
}

template <typename Attributes>
Attributes withValues(Attributes attributes, const std::vector<Value>& values) {
    for (const auto& [field, text] : values)
        withText(attributes, field, [&](std::optional<std::string>& member) { member = text; });
    return attributes;
}

void patchLocalization(const ASCClientProtocol& client, FieldHome home, const std::string& id,
                       const std::vector<Value>& values) {
    if (home == FieldHome::appInfoLocalization)
        client.updateAppInfoLocalization(id, withValues(AppInfoLocalizationPatchAttributes{}, values));
    else
        client.updateVersionLocalization(id, withValues(VersionLocalizationPatchAttributes{}, values));
}

std::string createLocalization(const ASCClientProtocol& client, const LocalizationWriter::Target& target,
                               const std::vector<Value>& values) {
    if (target.home == FieldHome::appInfoLocalization)
        return client
            .createAppInfoLocalization(
                target.parentID,
                withValues(AppInfoLocalizationCreateAttributes{.locale = target.locale}, values))
            .id;
    return client
        .createVersionLocalization(
            target.parentID, withValues(VersionLocalizationCreateAttributes{.locale = target.locale}, values))
        .id;
}

// Whether the request was refused for what it holds, so that a part of it may be taken.
bool isRefusalOfContent(const ASCError& error) {
    const int status = error.httpStatus().value_or(0);
    constexpr std::array otherReasons = {401, 403, 404, 429};
    return status >= 400 && status < 500 && !error.as<ASCError::RateLimited>() &&
           std::ranges::find(otherReasons, status) == otherReasons.end();
}

bool isRefusalByState(const ASCError& error) {
    return error.hasCodeContaining("STATE_ERROR") || error.hasCodeContaining("ENTITY_STATE_INVALID");
}

std::string closedText(std::string_view refusal) {
    return fmt::format("Not sent: App Store Connect refused this field in other locales. {}", refusal);
}

[[noreturn]] void failWithoutName(const std::string& locale) {
    throw MetadataError(
        MetadataError::Kind::failed,
        fmt::format("App Store Connect needs a name to create {}. Fill in {}/{} and push again.", locale,
                    locale, fileNameOf(FieldType::name)),
        {{}, locale, FieldType::name});
}

} // namespace

LocalizationWriter::LocalizationWriter(const ASCClientProtocol& client, Target target, ClosedFields& closed)
    : client_(client), target_(std::move(target)), closed_(closed) {}

LocalizationWriter::Result LocalizationWriter::write(std::vector<Value> values) {
    std::ranges::sort(values, {}, &Value::first); // the name first, as a create needs it
    for (;;) {
        leaveOutClosed(values);
        const Refusal refusal = values.empty() ? Refusal::none : attempt(values);
        if (refusal == Refusal::none || groupsThatBelongTogether(values).size() == 1) break;
        std::unique_lock<std::mutex> trials;
        if (refusal == Refusal::ofState) {
            trials = closed_.lockTrials();
            // Another localization found out meanwhile: the rest goes in one request again.
            if (std::ranges::any_of(values, [&](const Value& value) { return isClosed(value); })) continue;
        }
        writeOneByOne(values);
        break;
    }
    return std::move(result_);
}

bool LocalizationWriter::isClosed(const Value& value) const {
    return closed_.refusalOf(value.first).has_value();
}

void LocalizationWriter::leaveOutClosed(std::vector<Value>& values) {
    std::erase_if(values, [&](const Value& value) {
        const auto refusal = closed_.refusalOf(value.first);
        if (refusal)
            result_.failures[value.first] = {closedText(*refusal), ASCError::Kind::stateRefused, false};
        return refusal.has_value();
    });
}

void LocalizationWriter::writeOneByOne(const std::vector<Value>& values) {
    std::size_t refusedByState = 0;
    for (const auto& group : groupsThatBelongTogether(values))
        if (attempt(group) == Refusal::ofState) refusedByState += group.size();
    if (refusedByState == values.size())
        closed_.noteAll(target_.home, target_.locale, result_.failures.at(values.front().first).text);
}

LocalizationWriter::Refusal LocalizationWriter::attempt(const std::vector<Value>& values) {
    Refusal refusal = Refusal::none;
    Failure failure;
    for (const auto& [field, text] : values)
        result_.failures.erase(field);
    try {
        if (!currentStopToken().stop_requested()) {
            send(values);
            return Refusal::none;
        }
        failure = {std::string(notSentText), std::nullopt, false};
    } catch (const CancellationError&) {
        failure = {cutShortText, ASCError::Kind::cancelled};
    } catch (const ASCError& error) {
        failure = {textOf(error, values), error.kind()};
        if (isRefusalOfContent(error))
            refusal = isRefusalByState(error) ? Refusal::ofState : Refusal::ofContent;
    } catch (const MetadataError& error) {
        failure.text = error.what();
    }
    for (const auto& [field, text] : values)
        result_.failures[field] = failure;
    if (refusal == Refusal::ofState && values.size() == 1)
        closed_.note(values.front().first, target_.locale, failure.text);
    return refusal;
}

void LocalizationWriter::send(const std::vector<Value>& values) {
    if (!target_.id)
        create(values);
    else if (target_.locale == pageLocale)
        updatePageResource(client_, target_.home, *target_.id, values);
    else
        patchLocalization(client_, target_.home, *target_.id, values);
}

void LocalizationWriter::createReview(const std::vector<Value>& values) {
    createOrAdopt([&] { target_.id = createReviewDetail(client_, target_.parentID, values); },
                  [&] {
                      const auto found = client_.getReviewDetail(target_.parentID);
                      return found ? std::optional(found->id) : std::nullopt;
                  },
                  [&](const std::string& id) {
                      target_.id = id;
                      updatePageResource(client_, target_.home, id, values);
                  });
}

void LocalizationWriter::create(std::vector<Value> values) {
    if (target_.home == FieldHome::reviewDetail) return createReview(values);
    const bool addsName =
        target_.home == FieldHome::appInfoLocalization &&
        (values.empty() || values.front().first != FieldType::name || values.front().second.empty());
    const std::vector<Value> wanted = values;
    if (addsName) {
        if (!target_.fallbackName) failWithoutName(target_.locale);
        std::erase_if(values, [](const Value& value) { return value.first == FieldType::name; });
        values.insert(values.begin(), {FieldType::name, *target_.fallbackName});
    }
    createOrAdopt(
        [&] {
            target_.id = createLocalization(client_, target_, values);
            if (addsName) result_.sentName = target_.fallbackName;
        },
        [&] {
            const auto all = listLocalizations(client_, target_.home, target_.parentID);
            const auto found = all.find(target_.locale);
            return found == all.end() ? std::nullopt : std::optional(found->second.id);
        },
        [&](const std::string& id) {
            target_.id = id;
            patchLocalization(client_, target_.home, id, wanted);
        });
}

} // namespace quorvel
