// Resources as the JSON:API documents that the service answers.
#pragma once

#include "Sandbox/resources/Store.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

/// Whether attributes without a value are left out, as the service's published description has it, or sent as
/// null, as the service really does.
enum class NullAttributes { omitted, sent };

/// What an answer shows beside the resources themselves.
struct Shape {
    std::string baseURL = {};
    NullAttributes nulls = NullAttributes::omitted;
    std::vector<std::string> include = {};                    // relationships of the primary resources
    std::map<std::string, std::set<std::string>> fields = {}; // the members wanted per type; all when absent
};

/// A page of a list.
struct Page {
    std::size_t total = 0;
    std::size_t limit = 0;
    std::string next = {}; // absolute; empty on the last page
};

[[nodiscard]] JSONValue documentOf(const Store& store, const Resource& resource, const Shape& shape,
                                   std::string_view self);
[[nodiscard]] JSONValue documentOf(const Store& store, const std::vector<const Resource*>& resources,
                                   const Page& page, const Shape& shape, std::string_view self);
/// The document of a to-one relationship without a target.
[[nodiscard]] JSONValue emptyDocument(std::string_view self);

/// The resources that `resource` reaches over a relationship.
[[nodiscard]] std::vector<const Resource*> related(const Store& store, const Resource& resource,
                                                   std::string_view relationship);

} // namespace quorvel::sandbox
