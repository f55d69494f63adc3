#include "Core/metadata/LocalizationWriter.h"

#include "Core/asc/ASCError.h"
#include "Core/metadata/MetadataError.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

using Value = LocalizationWriter::Value;

// One set of attributes of either resource; the patch and create records name their members alike.
template <typename Attributes>
Attributes withValues(Attributes attributes, const std::vector<Value>& values) {
    for (const auto& [field, text] : values) {
        if constexpr (requires { attributes.subtitle; }) {
            if (field == FieldType::name) attributes.name = text;
            if (field == FieldType::subtitle) attributes.subtitle = text;
        } else {
            if (field == FieldType::description) attributes.description = text;
            if (field == FieldType::promotionalText) attributes.promotionalText = text;
            if (field == FieldType::releaseNotes) attributes.whatsNew = text;
            if (field == FieldType::keywords) attributes.keywords = text;
        }
    }
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

// Whether a create that failed so may have been carried out all the same.
bool mayHaveBeenDone(const ASCError& error) {
    return error.as<ASCError::NetworkFailure>() || error.as<ASCError::InvalidResponse>() ||
           error.as<ASCError::DecodingFailed>() || error.httpStatus().value_or(0) >= 500;
}

std::optional<std::string> findAfterFailure(const ASCClientProtocol& client,
                                            const LocalizationWriter::Target& target) {
    try {
        const LocalizationIDs ids = listLocalizations(client, target.home, target.parentID);
        const auto found = ids.find(target.locale);
        return found == ids.end() ? std::nullopt : std::optional(found->second);
    } catch (const ASCError&) {
        return std::nullopt; // the failure of the create says more
    }
}

[[noreturn]] void failWithoutName(const std::string& locale) {
    throw MetadataError(
        fmt::format("App Store Connect needs a name to create {}. Fill in {}/{} and push again.", locale,
                    locale, fileNameOf(FieldType::name)),
        {{}, locale, FieldType::name});
}

} // namespace

LocalizationIDs listLocalizations(const ASCClientProtocol& client, FieldHome home,
                                  std::string_view parentID) {
    LocalizationIDs ids;
    const auto collect = [&](const auto& localizations) {
        for (const auto& localization : localizations)
            ids.emplace(localization.attributes.locale, localization.id);
    };
    if (home == FieldHome::appInfoLocalization)
        collect(client.listAppInfoLocalizations(parentID));
    else
        collect(client.listVersionLocalizations(parentID));
    return ids;
}

LocalizationWriter::LocalizationWriter(const ASCClientProtocol& client, Target target)
    : client_(client), target_(std::move(target)) {}

LocalizationWriter::Result LocalizationWriter::write(std::vector<Value> values) {
    std::ranges::sort(values, {}, &Value::first); // the name first, as a create needs it
    Result result;
    std::set<FieldType> closed;
    // Whether the values may be tried one by one.
    const auto attempt = [&](const std::vector<Value>& some) {
        bool refused = false;
        std::string problem;
        try {
            send(some);
            return false;
        } catch (const ASCError& error) {
            if (error.as<ASCError::Cancelled>()) throw CancellationError();
            refused = isRefusalOfContent(error);
            if (some.size() == 1 && isRefusalByState(error)) closed.insert(some.front().first);
            problem = error.description();
        } catch (const MetadataError& error) {
            problem = error.what();
        }
        for (const auto& [field, text] : some)
            result.failures[field] = problem;
        return refused && some.size() > 1;
    };
    if (attempt(values)) {
        result.failures.clear();
        for (const Value& value : values)
            attempt({value});
        if (closed.size() < values.size()) result.closedFields = std::move(closed);
    }
    result.sentName = sentName_;
    return result;
}

void LocalizationWriter::send(const std::vector<Value>& values) {
    if (target_.id)
        patchLocalization(client_, target_.home, *target_.id, values);
    else
        create(values);
}

void LocalizationWriter::create(std::vector<Value> values) {
    const bool addsName =
        target_.home == FieldHome::appInfoLocalization &&
        (values.empty() || values.front().first != FieldType::name || values.front().second.empty());
    const std::vector<Value> wanted = values;
    if (addsName) {
        if (!target_.fallbackName) failWithoutName(target_.locale);
        std::erase_if(values, [](const Value& value) { return value.first == FieldType::name; });
        values.insert(values.begin(), {FieldType::name, *target_.fallbackName});
    }
    try {
        target_.id = createLocalization(client_, target_, values);
        if (addsName) sentName_ = target_.fallbackName;
    } catch (const ASCError& error) {
        if (!error.hasCodeContaining("INVALID.DUPLICATE") && !mayHaveBeenDone(error)) throw;
        const auto existing = findAfterFailure(client_, target_);
        if (!existing) throw;
        target_.id = existing;
        patchLocalization(client_, target_.home, *existing, wanted);
    }
}

} // namespace quorvel
