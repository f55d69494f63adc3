#include "Sandbox/resources/Store.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace quorvel::sandbox {
namespace {

std::string childrenKey(std::string_view parentID, std::string_view type) {
    return fmt::format("{}|{}", parentID, type);
}

std::uint64_t mixed(std::uint64_t value) { // the finaliser of splitmix64
    value += 0x9E3779B97F4A7C15ULL;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
    return value ^ (value >> 31);
}

std::string idOf(std::int64_t number) {
    const std::uint64_t high = mixed(static_cast<std::uint64_t>(number));
    const std::uint64_t low = mixed(high);
    return fmt::format("{:08x}-{:04x}-4{:03x}-{:04x}-{:012x}", high >> 32, (high >> 16) & 0xFFFF,
                       high & 0xFFF, 0x8000 | ((low >> 48) & 0x3FFF), low & 0xFFFFFFFFFFFFULL);
}

bool byOrder(const Resource* left, const Resource* right) {
    return left->order < right->order;
}

JSONValue documentOf(const Resource& resource) {
    JSONValue links = JSONValue::object();
    for (const auto& [name, id] : resource.links)
        links.set(name, id);
    JSONValue members = JSONValue::object();
    for (const auto& [name, ids] : resource.members)
        members.set(name, ids);
    return JSONValue::object({{"order", resource.order},
                              {"attributes", resource.attributes},
                              {"links", std::move(links)},
                              {"members", std::move(members)},
                              {"hidden", resource.hidden}});
}

const JSONValue::Object& membersOf(const JSONValue* value, std::string_view what) {
    if (!value || !value->members())
        throw std::runtime_error(
            fmt::format("The sandbox's state holds no object where {} are expected.", what));
    return *value->members();
}

} // namespace

std::string Resource::text(std::string_view attribute) const {
    const JSONValue* value = attributes.find(attribute);
    return value && value->text() ? *value->text() : std::string();
}

std::string Resource::link(std::string_view name) const {
    const auto found = links.find(name);
    return found == links.end() ? std::string() : found->second;
}

Resource& Store::add(std::string_view type, JSONValue attributes, Links links, std::string id) {
    ++lastOrder_;
    if (id.empty()) id = idOf(lastOrder_);
    Resource& added = types_[std::string(type)][id];
    added.type = type;
    added.id = std::move(id);
    added.order = lastOrder_;
    added.attributes = std::move(attributes);
    added.links = std::move(links);
    for (const auto& [name, parent] : added.links)
        index(added, parent);
    return added;
}

void Store::remove(std::string_view type, std::string_view id) {
    const auto found = types_.find(type);
    if (found == types_.end()) return;
    const auto resource = found->second.find(std::string(id));
    if (resource == found->second.end()) return;
    for (const auto& [name, parent] : resource->second.links)
        unindex(resource->second, parent);
    found->second.erase(resource);
}

void Store::link(Resource& resource, std::string_view name, std::string_view id) {
    const std::string before = resource.link(name);
    if (before == id) return;
    if (!before.empty()) unindex(resource, before);
    if (id.empty()) {
        resource.links.erase(std::string(name));
    } else {
        resource.links[std::string(name)] = id;
        index(resource, id);
    }
}

void Store::arrange(std::string_view parentID, std::string_view type, const std::vector<std::string>& ids) {
    std::vector<Resource*>& children = children_[childrenKey(parentID, type)];
    for (const std::string& id : ids)
        find(type, id)->order = ++lastOrder_;
    std::sort(children.begin(), children.end(), byOrder);
}

const Resource* Store::find(std::string_view type, std::string_view id) const {
    const auto found = types_.find(type);
    if (found == types_.end()) return nullptr;
    const auto resource = found->second.find(std::string(id));
    return resource == found->second.end() ? nullptr : &resource->second;
}

Resource* Store::find(std::string_view type, std::string_view id) {
    return const_cast<Resource*>(static_cast<const Store&>(*this).find(type, id));
}

const std::vector<Resource*>& Store::children(std::string_view parentID, std::string_view type) const {
    static const std::vector<Resource*> none;
    const auto found = children_.find(childrenKey(parentID, type));
    return found == children_.end() ? none : found->second;
}

Resource* Store::child(std::string_view parentID, std::string_view type) const {
    const auto& found = children(parentID, type);
    return found.empty() ? nullptr : found.front();
}

std::vector<Resource*> Store::all(std::string_view type) const {
    std::vector<Resource*> resources;
    if (const auto found = types_.find(type); found != types_.end())
        for (const auto& [id, resource] : found->second)
            resources.push_back(const_cast<Resource*>(&resource));
    std::sort(resources.begin(), resources.end(), byOrder);
    return resources;
}

JSONValue Store::document() const {
    JSONValue::Object types;
    for (const auto& [type, resources] : types_) {
        JSONValue::Object entries;
        for (const Resource* resource : all(type))
            entries.emplace_back(resource->id, documentOf(*resource));
        types.emplace_back(type, std::move(entries));
    }
    return JSONValue(std::move(types));
}

void Store::restore(const JSONValue& document, std::int64_t lastOrder) {
    lastOrder_ = lastOrder;
    types_.clear();
    children_.clear();
    for (const auto& [type, entries] : membersOf(&document, "resources"))
        for (const auto& [id, entry] : membersOf(&entries, type)) {
            Resource& resource = types_[type][id];
            resource.type = type;
            resource.id = id;
            const JSONValue* order = entry.find("order");
            resource.order = order && order->integer() ? *order->integer() : 0;
            resource.attributes = membersOf(entry.find("attributes"), "attributes");
            resource.hidden = membersOf(entry.find("hidden"), "hidden values");
            for (const auto& [name, target] : membersOf(entry.find("links"), "links"))
                if (target.text()) resource.links[name] = *target.text();
            for (const auto& [name, ids] : membersOf(entry.find("members"), "members"))
                for (const JSONValue& member : ids.items() ? *ids.items() : JSONValue::Array())
                    if (member.text()) resource.members[name].push_back(*member.text());
            lastOrder_ = std::max(lastOrder_, resource.order);
        }
    for (const auto& [type, entries] : types_)
        for (Resource* resource : all(type))
            for (const auto& [name, parent] : resource->links)
                index(*resource, parent);
}

void Store::index(Resource& resource, std::string_view parentID) {
    std::vector<Resource*>& siblings = children_[childrenKey(parentID, resource.type)];
    const auto place = siblings.empty() || byOrder(siblings.back(), &resource)
                           ? siblings.end()
                           : std::lower_bound(siblings.begin(), siblings.end(), &resource, byOrder);
    if (place == siblings.end() || *place != &resource) siblings.insert(place, &resource);
}

void Store::unindex(const Resource& resource, std::string_view parentID) {
    std::erase(children_[childrenKey(parentID, resource.type)], &resource);
}

} // namespace quorvel::sandbox
