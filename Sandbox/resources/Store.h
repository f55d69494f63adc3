// The resources that the sandbox holds.
#pragma once

#include "Platform/json/JSONValue.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quorvel::sandbox {

using Links = std::map<std::string, std::string, std::less<>>;

/// One resource. Its attributes stand as the service would send them; `hidden` is the sandbox's own
/// bookkeeping.
struct Resource {
    std::string type;
    std::string id;
    std::int64_t order = 0; // position among all, in order of creation unless rearranged
    JSONValue attributes = JSONValue::object();
    JSONValue hidden = JSONValue::object();
    Links links;                                                          // to one other: its id by name
    std::map<std::string, std::vector<std::string>, std::less<>> members; // to many that are not children

    /// An attribute's text; empty when there is none.
    [[nodiscard]] std::string text(std::string_view attribute) const;
    [[nodiscard]] std::string link(std::string_view name) const;
};

/// Keeps resources by type and id, and the children of each: those that link to it.
class Store {
  public:
    Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Adds a resource; an empty `id` makes one up, the same for the same sequence of additions.
    Resource& add(std::string_view type, JSONValue attributes, Links links = {}, std::string id = "");
    /// Removes a resource and leaves its children alone.
    void remove(std::string_view type, std::string_view id);
    /// Points a link elsewhere; an empty `id` clears it.
    void link(Resource& resource, std::string_view name, std::string_view id);
    /// Puts the children of one type into the given order, which names each once.
    void arrange(std::string_view parentID, std::string_view type, const std::vector<std::string>& ids);

    [[nodiscard]] Resource* find(std::string_view type, std::string_view id);
    [[nodiscard]] const Resource* find(std::string_view type, std::string_view id) const;
    /// The resources of `type` that link to the one with `parentID`, in order.
    [[nodiscard]] const std::vector<Resource*>& children(std::string_view parentID,
                                                         std::string_view type) const;
    /// The first of the children, or null.
    [[nodiscard]] Resource* child(std::string_view parentID, std::string_view type) const;
    [[nodiscard]] std::vector<Resource*> all(std::string_view type) const;

    /// An object of types, each an object of ids.
    [[nodiscard]] JSONValue document() const;
    /// Takes over what `document` and `lastOrder` gave. Throws `std::runtime_error` when it is of another
    /// form.
    void restore(const JSONValue& document, std::int64_t lastOrder);
    /// Grows with each resource added or moved, so that no id is made twice.
    [[nodiscard]] std::int64_t lastOrder() const { return lastOrder_; }

  private:
    void index(Resource& resource, std::string_view parentID);
    void unindex(const Resource& resource, std::string_view parentID);

    std::map<std::string, std::unordered_map<std::string, Resource>, std::less<>> types_;
    std::unordered_map<std::string, std::vector<Resource*>> children_; // by parent id, "|" and type
    std::int64_t lastOrder_ = 0;
};

} // namespace quorvel::sandbox
