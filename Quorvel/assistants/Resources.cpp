#include "Quorvel/assistants/Resources.h"

#include "Core/metadata/Locales.h"
#include "Platform/task/Task.h"
#include "Quorvel/actions/AppActions.h"
#include "Quorvel/actions/TextActions.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/assistants/Tool.h"
#include "Quorvel/protocol/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace quorvel {

namespace {

constexpr std::string_view uriStart = "quorvel://texts/";
constexpr std::size_t pageSize = 100;

// What may stand in a segment as it is.
bool isPlain(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

std::string segmentOf(std::string_view text) {
    std::string segment;
    for (const char byte : text)
        segment +=
            isPlain(byte) ? std::string(1, byte) : fmt::format("%{:02X}", static_cast<unsigned char>(byte));
    return segment;
}

// Nothing for what is no text.
std::optional<std::string> textOf(std::string_view segment) {
    std::string text;
    for (std::size_t index = 0; index < segment.size(); ++index) {
        if (segment[index] != '%') {
            text += segment[index];
            continue;
        }
        unsigned value = 0;
        const auto digits = segment.substr(index + 1, 2);
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2) return std::nullopt;
        text += static_cast<char>(value);
        index += 2;
    }
    return text;
}

struct TextAddress {
    std::string app;
    std::string context;
    std::string locale;
    std::optional<FieldType> field;
};

std::optional<TextAddress> addressOf(std::string_view uri) {
    if (!uri.starts_with(uriStart)) return std::nullopt;
    std::vector<std::string> parts;
    for (std::size_t start = uriStart.size(); start <= uri.size();) {
        const std::size_t end = std::min(uri.find('/', start), uri.size());
        auto part = textOf(uri.substr(start, end - start));
        if (!part || part->empty()) return std::nullopt;
        parts.push_back(*std::move(part));
        start = end + 1;
    }
    if (parts.size() != 4 && parts.size() != 5) return std::nullopt;
    TextAddress address{parts[0], parts[1] + "/" + parts[2], parts[3], {}};
    if (parts.size() == 5) {
        address.field = fromRawValue<FieldType>(parts[4]);
        if (!address.field) return std::nullopt;
    }
    if (!parseContextID(address.context)) return std::nullopt;
    return address;
}

std::string uriOf(std::string_view app, std::string_view context, std::string_view locale) {
    return fmt::format("{}{}/{}/{}", uriStart, segmentOf(app), context, segmentOf(locale));
}

std::size_t offsetOf(const JSONValue* cursor) {
    if (!cursor || cursor->isNull()) return 0;
    std::size_t offset = 0;
    if (const std::string* const text = cursor->text()) {
        const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), offset);
        if (error == std::errc() && end == text->data() + text->size()) return offset;
    }
    throw ProtocolError(rpc::invalidParams, "\"cursor\" is none of this server's.");
}

// Whether a failure means that there is no such text to read.
bool namesNothing(FailureKind kind) {
    constexpr FailureKind kinds[] = {FailureKind::unknownApp,          FailureKind::noAppRecorded,
                                     FailureKind::appInOtherWorkspace, FailureKind::notPulled,
                                     FailureKind::unknownContext,      FailureKind::invalidLocale,
                                     FailureKind::unknownLocale,       FailureKind::unmanagedLocale};
    return std::ranges::find(kinds, kind) != std::end(kinds);
}

std::string argument(const JSONValue* known, std::string_view name) {
    const JSONValue* const value = known ? known->find(name) : nullptr;
    return value && value->text() ? *value->text() : std::string();
}

} // namespace

JSONValue TextResources::list(const JSONValue* cursor) {
    const std::size_t offset = offsetOf(cursor);
    JSONValue::Array page;
    std::size_t count = 0;
    for (const AppOverview& app : ListApps::perform(application_, {.workspace = workspace_}).apps)
        for (const PlatformContext& context : app.contexts) {
            ShowTexts::Result texts;
            try {
                texts = ShowTexts::perform(application_, {.app = app.id,
                                                          .workspace = workspace_,
                                                          .context = context.id(),
                                                          .fields = {FieldType::name},
                                                          .dryRun = true});
            } catch (const CancellationError&) {
                throw;
            } catch (const std::exception&) { // it was not pulled, or cannot be read: nothing to offer
                continue;
            }
            for (const std::string& locale : texts.locales)
                if (const std::size_t index = count++; index >= offset && index < offset + pageSize)
                    page.push_back(JSONValue::object(
                        {{"uri", uriOf(app.slug, context.id(), locale)},
                         {"name", fmt::format("{} {} {}", app.slug, context.id(), locale)},
                         {"description", fmt::format("Store texts of {} {} in {}", app.displayName,
                                                     context.versionString, locale)},
                         {"mimeType", "text/plain"}}));
        }
    if (offset > 0 && offset >= count)
        throw ProtocolError(rpc::invalidParams, "\"cursor\" is none of this server's.");
    JSONValue result = JSONValue::object({{"resources", std::move(page)}});
    if (offset + pageSize < count) result.set("nextCursor", std::to_string(offset + pageSize));
    return result;
}

JSONValue TextResources::templates() {
    return JSONValue::object(
        {{"resourceTemplates",
          JSONValue::array({JSONValue::object(
              {{"uriTemplate", uriTemplate},
               {"name", "store-text"},
               {"description", "A store text of an app: platform ios, macos, tvos or visionos; slot next or "
                               "live; without the field all texts of the locale."},
               {"mimeType", "text/plain"}})})}});
}

std::optional<JSONValue> TextResources::read(std::string_view uri) {
    const auto address = addressOf(uri);
    if (!address) return std::nullopt;
    ShowTexts::Request request{.app = address->app,
                               .workspace = workspace_,
                               .context = address->context,
                               .folder = {},
                               .locales = {address->locale},
                               .fields = {},
                               .dryRun = true};
    if (address->field) request.fields = {*address->field};
    ShowTexts::Result shown;
    try {
        shown = ShowTexts::perform(application_, request);
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception& error) {
        if (!namesNothing(failureOf(error).kind)) throw;
        return std::nullopt;
    }
    JSONValue::Array contents;
    for (ShowTexts::Text& text : shown.texts)
        contents.push_back(JSONValue::object(
            {{"uri",
              fmt::format("{}/{}", uriOf(address->app, address->context, text.locale), rawValue(text.field))},
             {"mimeType", "text/plain"},
             {"text", std::move(text.text)},
             {"_meta", JSONValue::object({{"quorvel/notice", foreignNotice}})}}));
    if (contents.empty()) return std::nullopt;
    return JSONValue::object({{"contents", std::move(contents)}});
}

std::vector<std::string> TextResources::apps() {
    std::vector<std::string> names;
    for (const AppOverview& app : ListApps::perform(application_, {.workspace = workspace_}).apps)
        names.push_back(app.slug);
    return names;
}

std::vector<std::string> TextResources::values(std::string_view part, const JSONValue* known) {
    if (part == "app") return apps();
    if (part == "slot") return {"next", "live"};
    if (part == "platform") {
        std::vector<std::string> names;
        for (const ASCPlatform platform : allPlatforms)
            names.emplace_back(platformFolderName(platform));
        return names;
    }
    if (part == "field") {
        std::vector<std::string> names;
        for (const FieldType field : localeFields)
            names.emplace_back(rawValue(field));
        return names;
    }
    if (part != "locale") return {};
    try {
        ShowTexts::Request request;
        request.dryRun = true;
        if (const auto app = argument(known, "app"); !app.empty()) request.app = app;
        if (const auto platform = argument(known, "platform"), slot = argument(known, "slot");
            !platform.empty() && !slot.empty())
            request.context = platform + "/" + slot;
        request.workspace = workspace_;
        return ShowTexts::perform(application_, request).locales;
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception&) { // nothing tells which app's
        return {appStoreLocales().begin(), appStoreLocales().end()};
    }
}

} // namespace quorvel
