#include "Sandbox/rules/Reading.h"

#include "Sandbox/resources/Document.h"
#include "Sandbox/resources/Problem.h"
#include "Sandbox/resources/Schema.h"
#include "Sandbox/rules/Query.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

std::string plainText(const JSONValue* value) {
    if (!value) return "";
    if (value->text()) return *value->text();
    if (value->integer()) return std::to_string(*value->integer());
    if (value->boolean()) return *value->boolean() ? "true" : "false";
    return "";
}

/// The values that a filter compares: of an attribute, of linked ids, or of the attributes of linked ones.
std::vector<std::string> valuesOf(const Store& store, const Resource& resource, std::string_view name) {
    if (name == "id") return {resource.id};
    const size_t dot = name.find('.');
    const std::string_view head = name.substr(0, dot);
    if (!findRelation(resource.type, head)) return {plainText(resource.attributes.find(name))};
    std::vector<std::string> values;
    for (const Resource* target : related(store, resource, head))
        values.push_back(dot == name.npos ? target->id
                                          : plainText(target->attributes.find(name.substr(dot + 1))));
    return values;
}

bool matches(const Store& store, const Resource& resource, const QueryFilter& filter) {
    const auto values = valuesOf(store, resource, filter.name);
    return std::ranges::any_of(values, [&](const std::string& value) {
        return std::ranges::any_of(filter.values, [&](const std::string& wanted) {
            // The service finds bundle ids by their beginning.
            return filter.name == "bundleId" ? value.starts_with(wanted) : value == wanted;
        });
    });
}

bool exists(const Store& store, const Resource& resource, std::string_view name) {
    if (name == "publishedResponse") {
        const Resource* response = store.child(resource.id, "customerReviewResponses");
        return response && response->text("state") == "PUBLISHED";
    }
    const JSONValue* value = resource.attributes.find(name);
    return value && !value->isNull();
}

std::vector<const Resource*> candidates(const World& world, const ReadOperation& operation,
                                        std::string_view owner) {
    std::vector<const Resource*> found;
    if (owner.empty()) {
        const auto all = world.store.all(operation.type);
        found.assign(all.begin(), all.end());
    } else {
        const auto& children = world.store.children(owner, operation.type);
        found.assign(children.begin(), children.end());
        for (const Relation& relation : relationsOf(operation.owner))
            if (relation.reach == Reach::members && relation.target == operation.type)
                found = related(world.store, *world.store.find(operation.owner, owner), relation.name);
    }
    if (operation.order == DefaultOrder::newestFirst) std::reverse(found.begin(), found.end());
    return found;
}

/// What a sort compares; the version of the train stands for a build's pre-release version.
std::string sortText(const Store& store, const Resource& resource, std::string_view key) {
    const Relation* relation = findRelation(resource.type, key);
    if (!relation) return plainText(resource.attributes.find(key));
    const auto targets = related(store, resource, key);
    return targets.empty() ? "" : targets.front()->text("version");
}

void sortBy(const Store& store, std::vector<const Resource*>& resources, const SortKey& key) {
    std::vector<std::pair<std::string, const Resource*>> keyed;
    keyed.reserve(resources.size());
    for (const Resource* resource : resources)
        keyed.emplace_back(sortText(store, *resource, key.name), resource);
    const auto ascending = [](const auto& left, const auto& right) { return left.first < right.first; };
    const auto descending = [](const auto& left, const auto& right) { return right.first < left.first; };
    if (key.descending)
        std::ranges::stable_sort(keyed, descending);
    else
        std::ranges::stable_sort(keyed, ascending);
    std::ranges::transform(keyed, resources.begin(), [](const auto& entry) { return entry.second; });
}

bool isHidden(const Resource& resource, double now) {
    const JSONValue* begin = resource.hidden.find("visibleFrom");
    const double* seconds = begin ? std::get_if<double>(&begin->value) : nullptr;
    return seconds && *seconds > now;
}

Answer readList(World& world, const ReadOperation& operation, std::string_view owner, const Request& request,
                const Query& query) {
    auto found = candidates(world, operation, owner);
    const double now = secondsSince1970(world.now());
    std::erase_if(found, [&](const Resource* resource) {
        return isHidden(*resource, now) ||
               !std::ranges::all_of(
                   query.filters,
                   [&](const auto& filter) { return matches(world.store, *resource, filter); }) ||
               !std::ranges::all_of(query.exists, [&](const auto& entry) {
                   return exists(world.store, *resource, entry.first) == entry.second;
               });
    });
    for (auto key = query.sorts.rbegin(); key != query.sorts.rend(); ++key)
        sortBy(world.store, found, *key);
    Page page{.total = found.size(), .limit = query.limit};
    const size_t begin = std::min(query.offset, found.size());
    const size_t end = std::min(begin + query.limit, found.size());
    if (end < found.size()) page.next = nextPage(world.baseURL, request, end, query.limit);
    const std::vector<const Resource*> shown(found.begin() + static_cast<std::ptrdiff_t>(begin),
                                             found.begin() + static_cast<std::ptrdiff_t>(end));
    return {.document =
                documentOf(world.store, shown, page, query.shape, ownAddress(world.baseURL, request))};
}

} // namespace

Answer read(World& world, const ReadOperation& operation, std::string_view id, const Request& request) {
    Query query = readQuery(operation, request);
    query.shape.baseURL = world.baseURL;
    query.shape.nulls = world.nulls;
    Resource* owner = id.empty() ? nullptr : world.store.find(operation.owner, id);
    if (!id.empty() && !owner) throw Refusal(resourceNotFound(operation.owner, id));
    if (operation.derive) operation.derive(world, *owner);
    if (operation.result == Result::list) return readList(world, operation, id, request, query);
    const std::string self = ownAddress(world.baseURL, request);
    const Resource* shown = operation.result == Result::one ? owner : world.store.child(id, operation.type);
    return {.document = shown ? documentOf(world.store, *shown, query.shape, self) : emptyDocument(self)};
}

} // namespace quorvel::sandbox
