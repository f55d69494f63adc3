// The generic JSON:API documents: responses, resources, links, create and patch envelopes.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

template <typename A>
struct ASCResource {
    std::string id;
    std::string type;
    A attributes;
    QUORVEL_RECORD(ASCResource, id, type, attributes)
    bool operator==(const ASCResource&) const = default;
};

struct ASCLinks {
    std::optional<std::string> self;
    std::optional<std::string> next; // absolute URL of the next page
    std::optional<std::string> first;
    QUORVEL_RECORD(ASCLinks, self, next, first)
    bool operator==(const ASCLinks&) const = default;
};

struct ASCPaging {
    std::optional<std::int64_t> total;
    std::optional<std::int64_t> limit;
    QUORVEL_RECORD(ASCPaging, total, limit)
    bool operator==(const ASCPaging&) const = default;
};

struct ASCMeta {
    std::optional<ASCPaging> paging;
    QUORVEL_RECORD(ASCMeta, paging)
    bool operator==(const ASCMeta&) const = default;
};

/// `D` is a resource, a list of resources, or an optional resource where "none" is an answer.
template <typename D>
struct ASCResponse {
    D data;
    std::optional<ASCLinks> links;
    std::optional<ASCMeta> meta;
    QUORVEL_RECORD(ASCResponse, data, links, meta)
    bool operator==(const ASCResponse&) const = default;
};

template <typename D, typename I>
struct ASCResponseWithIncluded {
    D data;
    std::optional<std::vector<I>> included;
    std::optional<ASCLinks> links;
    std::optional<ASCMeta> meta;
    QUORVEL_RECORD(ASCResponseWithIncluded, data, included, links, meta)
    bool operator==(const ASCResponseWithIncluded&) const = default;
};

struct ASCRelationshipRef {
    std::string type;
    std::string id;
    QUORVEL_RECORD(ASCRelationshipRef, type, id)
    bool operator==(const ASCRelationshipRef&) const = default;
};

struct ASCRelationshipBox {
    ASCRelationshipRef data;
    QUORVEL_RECORD(ASCRelationshipBox, data)
    bool operator==(const ASCRelationshipBox&) const = default;
};

struct ASCCreateRelationships {
    std::optional<ASCRelationshipBox> appStoreVersion;
    std::optional<ASCRelationshipBox> appInfo;
    std::optional<ASCRelationshipBox> appStoreVersionLocalization;
    std::optional<ASCRelationshipBox> appScreenshotSet;
    std::optional<ASCRelationshipBox> appPreviewSet;
    std::optional<ASCRelationshipBox> app;
    std::optional<ASCRelationshipBox> reviewSubmission;
    std::optional<ASCRelationshipBox> review;
    QUORVEL_RECORD(ASCCreateRelationships, appStoreVersion, appInfo, appStoreVersionLocalization,
                   appScreenshotSet, appPreviewSet, app, reviewSubmission, review)
    bool operator==(const ASCCreateRelationships&) const = default;
};

template <typename A>
struct ASCCreateResource {
    std::string type;
    A attributes;
    ASCCreateRelationships relationships;
    QUORVEL_RECORD(ASCCreateResource, type, attributes, relationships)
};

template <typename A>
struct ASCCreateEnvelope {
    ASCCreateResource<A> data;
    QUORVEL_RECORD(ASCCreateEnvelope, data)
};

/// A create with no attributes.
struct ASCRelationshipOnlyCreateEnvelope {
    struct Data {
        std::string type;
        ASCCreateRelationships relationships;
        QUORVEL_RECORD(Data, type, relationships)
    };
    Data data;
    QUORVEL_RECORD(ASCRelationshipOnlyCreateEnvelope, data)
};

template <typename A>
struct ASCPatchResource {
    std::string type;
    std::string id;
    A attributes;
    QUORVEL_RECORD(ASCPatchResource, type, id, attributes)
};

template <typename A>
struct ASCPatchEnvelope {
    ASCPatchResource<A> data;
    QUORVEL_RECORD(ASCPatchEnvelope, data)
};

/// A resource of which only the identity matters, whatever else it holds.
struct ASCIdentity {
    std::string id;
    QUORVEL_RECORD(ASCIdentity, id)
};

} // namespace quorvel
