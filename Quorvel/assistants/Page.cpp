#include "Quorvel/assistants/Page.h"

#include "Platform/crypto/Digest.h"
#include "Platform/json/JSON.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace quorvel {

namespace {

constexpr std::size_t mostItems = 50;
constexpr std::size_t mostBytes = 24'000;
constexpr std::size_t mostBytesOfOthers = 6'000;

// A tool's own list is cut by its items, too.
std::size_t endOfPage(const JSONValue::Array& items, std::size_t offset, bool isMain) {
    const std::size_t room = isMain ? mostBytes : mostBytesOfOthers;
    std::size_t end = offset;
    for (std::size_t bytes = 0; end < items.size() && (!isMain || end - offset < mostItems); ++end) {
        bytes += encodeJSON(items[end]).size();
        if (bytes > room && end > offset) break;
    }
    return end;
}

using ListHandler = std::function<void(const std::string& name, JSONValue::Array& items)>;

// The lists of a result and of its members.
void forEachList(JSONValue& result, const ListHandler& handle) {
    for (auto& [name, member] : *result.members()) {
        if (auto* const items = member.items()) handle(name, *items);
        if (!member.members()) continue;
        for (auto& [inner, value] : *member.members())
            if (auto* const items = value.items()) handle(name + "." + inner, *items);
    }
}

std::string sentenceAboutPart(const std::string& list, std::size_t begin, std::size_t end, std::size_t total,
                              const std::optional<std::string>& token) {
    return fmt::format(
        "{} {} to {} of {}{}", list, begin + 1, end, total,
        token ? fmt::format("; for the rest call again with the same arguments and \"more\": \"{}\".", *token)
              : std::string("."));
}

} // namespace

std::string KeptRests::keep(RestOfList rest, std::size_t bytes) {
    const std::lock_guard lock(mutex_);
    const Date now = clock_();
    const auto mustGo = [&] {
        return !kept_.empty() &&
               (kept_.front().expiresAt <= now || kept_.size() >= most || bytes_ + bytes > mostBytes);
    };
    while (mustGo()) {
        bytes_ -= kept_.front().bytes;
        kept_.pop_front();
    }
    bytes_ += bytes;
    return kept_.emplace_back(Kept{"more-" + makeUUID(), now + lifetime, bytes, std::move(rest)}).token;
}

RestOfList KeptRests::find(std::string_view token, std::string_view tool,
                           const std::optional<std::string>& workspace) {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(kept_, token, &Kept::token);
    if (found == kept_.end() || found->expiresAt <= clock_() || found->rest.tool != tool ||
        found->rest.workspace != workspace)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("\"more\" is no rest of {} that is kept still", tool),
                               "Call it without \"more\" to begin again.");
    return found->rest;
}

std::optional<std::string> takeMore(JSONValue& arguments) {
    const JSONValue* const given = arguments.find(moreMember);
    if (!given) return std::nullopt;
    if (!given->text()) throw ApplicationError(FailureKind::badRequest, "\"more\" must be a text");
    std::string token = *given->text();
    arguments.erase(moreMember);
    return token;
}

PagedResult cutToPage(JSONValue result, const RestOfList& origin, KeptRests& rests) {
    std::string text;
    std::shared_ptr<const JSONValue> whole;
    std::size_t bytes = 0;
    JSONValue::Object more;
    std::optional<std::size_t> total;
    const auto keepWhole = [&] {
        if (whole) return;
        whole = std::make_shared<const JSONValue>(result);
        bytes = encodeJSON(result).size();
    };
    forEachList(result, [&](const std::string& name, JSONValue::Array& items) {
        if (name == origin.main) total = items.size();
        if (endOfPage(items, 0, name == origin.main) < items.size()) keepWhole();
    });
    forEachList(result, [&](const std::string& name, JSONValue::Array& items) {
        const std::size_t end = endOfPage(items, 0, name == origin.main);
        if (end == items.size()) return;
        RestOfList rest = origin;
        rest.result = whole;
        rest.list = name;
        rest.offset = end;
        const std::string token = rests.keep(std::move(rest), std::exchange(bytes, 0)); // of one result
        text += (text.empty() ? "" : " ") + sentenceAboutPart(name, 0, end, items.size(), token);
        more.emplace_back(name, token);
        items.resize(end);
    });
    if (total) result.set("total", static_cast<std::int64_t>(*total));
    if (!more.empty()) result.set(moreMember, std::move(more));
    return {std::move(result), std::move(text)};
}

PagedResult nextPage(const RestOfList& rest, KeptRests& rests) {
    JSONValue result = JSONValue::object();
    std::size_t end = 0;
    std::size_t total = 0;
    const auto part = [&](const std::string& name, const JSONValue& value) {
        const auto* const items = value.items();
        if (!items) return value;
        if (name != rest.list) return JSONValue::array();
        end = endOfPage(*items, rest.offset, name == rest.main);
        total = items->size();
        return JSONValue(JSONValue::Array(items->begin() + static_cast<std::ptrdiff_t>(rest.offset),
                                          items->begin() + static_cast<std::ptrdiff_t>(end)));
    };
    for (const auto& [name, member] : *rest.result->members()) {
        if (name == rest.main) result.set("total", static_cast<std::int64_t>(member.items()->size()));
        if (!member.members()) {
            result.set(name, part(name, member));
            continue;
        }
        JSONValue inner = JSONValue::object();
        for (const auto& [innerName, value] : *member.members())
            inner.set(innerName, part(name + "." + innerName, value));
        result.set(name, std::move(inner));
    }
    std::optional<std::string> token;
    if (end < total) {
        RestOfList next = rest;
        next.offset = end;
        token = rests.keep(std::move(next), encodeJSON(*rest.result).size());
        result.set(moreMember, JSONValue::object({{rest.list, *token}}));
    }
    return {std::move(result), sentenceAboutPart(rest.list, rest.offset, end, total, token)};
}

} // namespace quorvel
