#include "Sandbox/resources/Document.h"

#include "Sandbox/resources/Schema.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel::sandbox {
namespace {

constexpr std::size_t linkageLimit = 50; // linked ids shown per resource

bool wants(const Shape& shape, const Resource& resource, std::string_view member) {
    const auto wanted = shape.fields.find(resource.type);
    return wanted == shape.fields.end() || wanted->second.contains(std::string(member));
}

JSONValue reference(std::string_view type, std::string_view id) {
    return JSONValue::object({{"type", type}, {"id", id}});
}

bool lists(const Resource& resource, std::string_view name, const std::string& id) {
    const auto members = resource.members.find(name);
    return members != resource.members.end() &&
           std::ranges::find(members->second, id) != members->second.end();
}

JSONValue linkage(const Store& store, const Resource& resource, const Relation& relation) {
    const bool many = relation.reach == Reach::children || relation.reach == Reach::members ||
                      relation.reach == Reach::listed;
    if (relation.reach == Reach::foreign) {
        const std::string id = resource.link(relation.name);
        return id.empty() ? JSONValue() : reference(relation.target, id);
    }
    const auto targets = related(store, resource, relation.name);
    if (!many) return targets.empty() ? JSONValue() : reference(relation.target, targets.front()->id);
    JSONValue::Array references;
    for (const Resource* target : targets)
        if (references.size() < linkageLimit) references.push_back(reference(relation.target, target->id));
    return JSONValue(std::move(references));
}

JSONValue relationship(const Store& store, const Resource& resource, const Relation& relation,
                       const Shape& shape, std::string_view self) {
    JSONValue member = JSONValue::object();
    const bool included = std::ranges::find(shape.include, relation.name) != shape.include.end();
    JSONValue data = included ? linkage(store, resource, relation) : JSONValue();
    if (data.items()) {
        const auto total = static_cast<std::int64_t>(related(store, resource, relation.name).size());
        member.set("meta",
                   JSONValue::object(
                       {{"paging", JSONValue::object({{"total", total}, {"limit", std::int64_t{50}}})}}));
    }
    if (!data.isNull()) member.set("data", std::move(data));
    member.set("links", JSONValue::object({{"self", fmt::format("{}/relationships/{}", self, relation.name)},
                                           {"related", fmt::format("{}/{}", self, relation.name)}}));
    return member;
}

JSONValue resourceObject(const Store& store, const Resource& resource, const Shape& shape) {
    const std::string self = fmt::format("{}/v1/{}/{}", shape.baseURL, resource.type, resource.id);
    JSONValue object = JSONValue::object({{"type", resource.type}, {"id", resource.id}});
    JSONValue::Object attributes;
    bool hasAttributes = false;
    for (const auto& [name, value] : *resource.attributes.members()) {
        if (!wants(shape, resource, name)) continue;
        hasAttributes = true;
        if (shape.nulls == NullAttributes::sent || !value.isNull()) attributes.emplace_back(name, value);
    }
    if (hasAttributes) object.set("attributes", std::move(attributes));
    JSONValue::Object relationships;
    for (const Relation& relation : relationsOf(resource.type))
        if (wants(shape, resource, relation.name))
            relationships.emplace_back(relation.name, relationship(store, resource, relation, shape, self));
    if (!relationships.empty()) object.set("relationships", std::move(relationships));
    object.set("links", JSONValue::object({{"self", self}}));
    return object;
}

/// Each resource that the primary ones reach over the included relationships, once.
JSONValue::Array includedObjects(const Store& store, const std::vector<const Resource*>& primary,
                                 const Shape& shape) {
    Shape plain = shape;
    plain.include.clear();
    std::set<std::string> seen;
    JSONValue::Array objects;
    for (const Resource* resource : primary)
        for (const std::string& name : shape.include)
            for (const Resource* target : related(store, *resource, name))
                if (seen.insert(target->id).second) objects.push_back(resourceObject(store, *target, plain));
    return objects;
}

} // namespace

JSONValue documentOf(const Store& store, const Resource& resource, const Shape& shape,
                     std::string_view self) {
    JSONValue document = JSONValue::object({{"data", resourceObject(store, resource, shape)}});
    if (!shape.include.empty()) document.set("included", includedObjects(store, {&resource}, shape));
    document.set("links", JSONValue::object({{"self", self}}));
    return document;
}

JSONValue documentOf(const Store& store, const std::vector<const Resource*>& resources, const Page& page,
                     const Shape& shape, std::string_view self) {
    JSONValue::Array data;
    data.reserve(resources.size());
    for (const Resource* resource : resources)
        data.push_back(resourceObject(store, *resource, shape));
    JSONValue document = JSONValue::object({{"data", std::move(data)}});
    if (!shape.include.empty()) document.set("included", includedObjects(store, resources, shape));
    JSONValue links = JSONValue::object({{"self", self}});
    if (!page.next.empty()) links.set("next", page.next);
    document.set("links", std::move(links));
    JSONValue paging = JSONValue::object(
        {{"total", static_cast<std::int64_t>(page.total)}, {"limit", static_cast<std::int64_t>(page.limit)}});
    document.set("meta", JSONValue::object({{"paging", std::move(paging)}}));
    return document;
}

JSONValue emptyDocument(std::string_view self) {
    return JSONValue::object({{"data", nullptr}, {"links", JSONValue::object({{"self", self}})}});
}

std::vector<const Resource*> related(const Store& store, const Resource& resource, std::string_view name) {
    const Relation* relation = findRelation(resource.type, name);
    std::vector<const Resource*> found;
    if (!relation) return found;
    const auto add = [&](std::string_view id) {
        if (const Resource* target = store.find(relation->target, id)) found.push_back(target);
    };
    if (relation->reach == Reach::one) {
        add(resource.link(name));
    } else if (relation->reach == Reach::child || relation->reach == Reach::children) {
        const auto& children = store.children(resource.id, relation->target);
        for (const Resource* child : children)
            if (found.empty() || relation->reach == Reach::children) found.push_back(child);
    } else if (relation->reach == Reach::listed) {
        for (const Resource* other : store.all(relation->target))
            for (const Relation& back : relationsOf(relation->target))
                if (back.reach == Reach::members && back.target == resource.type &&
                    lists(*other, back.name, resource.id))
                    found.push_back(other);
    } else if (const auto members = resource.members.find(name); members != resource.members.end()) {
        for (const std::string& id : members->second)
            add(id);
    }
    return found;
}

} // namespace quorvel::sandbox
