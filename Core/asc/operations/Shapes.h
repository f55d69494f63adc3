// The shapes that operations share: lists whose pages are followed, creates, patches.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"
#include "Platform/log/Log.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <type_traits>

namespace quorvel::operations {

/// The most that App Store Connect gives on one page.
inline constexpr int pageLimit = 200;

/// A relationship of one resource to another that need not exist.
struct OptionalReference {
    std::optional<ASCIdentity> data;
    QUORVEL_RECORD(OptionalReference, data)
};

/// The "limit" to send for a list of at most `bound` resources.
[[nodiscard]] inline std::string limitFor(ASCListBound bound = {}) {
    return std::to_string(std::clamp(bound.maximum.value_or(pageLimit), 1, pageLimit));
}

/// The texts of a filter separated by commas; nothing to filter by when there are none.
template <typename Texts>
[[nodiscard]] std::optional<std::string> joined(const Texts& texts) {
    if (texts.empty()) return std::nullopt;
    return fmt::format("{}", fmt::join(texts, ","));
}

/// Ends a list before its last page. Throws `ASCError` when the list said that it has more: a list that is
/// taken for whole must be it.
inline void endEarly(const std::optional<ASCMeta>& meta, std::size_t count) {
    const auto total = meta && meta->paging ? meta->paging->total : std::nullopt;
    if (total && *total > static_cast<std::int64_t>(count))
        throw ASCError(ASCError::DecodingFailed{
            fmt::format("the list of {} breaks off after {}, as the link to its next page leads nowhere",
                        *total, count)});
    Logger("ASCClient").warning("The link to the next page leads nowhere: the list is taken for whole");
}

/// What the visitor of a list's pages wants after one; a visitor without a result wants all.
enum class Paging { goOn, stop };

/// Hands each page of a list to `visit`. Follows `links.next` until it is absent or not a URL, a page brings
/// nothing new, the bound is reached or the visitor stops.
template <typename Page, typename Visitor>
void forEachPage(const ASCClientProtocol& client, ASCRequest first, ASCListBound bound, Visitor&& visit) {
    std::set<std::string> known;
    for (ASCRequest request = std::move(first);;) {
        Page page = client.send<Page>(request);
        const std::optional<ASCLinks> links = page.links;
        const std::optional<ASCMeta> meta = page.meta;
        const std::size_t knownBefore = known.size();
        for (const auto& resource : page.data)
            known.insert(resource.id);
        if (known.size() > knownBefore) {
            if constexpr (std::is_same_v<std::invoke_result_t<Visitor&, Page>, Paging>) {
                if (visit(std::move(page)) == Paging::stop) return;
            } else {
                visit(std::move(page));
            }
        }
        if (bound.maximum && known.size() >= static_cast<std::size_t>(std::max(*bound.maximum, 0))) return;
        if (!links || !links->next) return;
        if (!links->next->starts_with("http") || known.size() == knownBefore)
            return endEarly(meta, known.size());
        request = ASCRequest::get({});
        request.absoluteURL = links->next;
    }
}

/// Cuts a list to its bound; the last page may have brought more.
template <typename Item>
void cutTo(ASCListBound bound, std::vector<Item>& items) {
    const auto most = static_cast<std::size_t>(std::max(bound.maximum.value_or(0), 0));
    if (bound.maximum && items.size() > most)
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(most), items.end());
}

/// All resources of a list, in order.
template <typename A>
[[nodiscard]] ASCList<A> listResources(const ASCClientProtocol& client, std::string path, ASCQuery query = {},
                                       ASCListBound bound = {}) {
    ASCList<A> all;
    forEachPage<ASCResponse<ASCList<A>>>(
        client, ASCRequest::get(std::move(path), query), bound, [&](ASCResponse<ASCList<A>>&& page) {
            std::move(page.data.begin(), page.data.end(), std::back_inserter(all));
        });
    cutTo(bound, all);
    return all;
}

/// A single resource that may not exist: null data, or 404, is none. `requireOwner` throws when it is the
/// owner in the path that does not exist.
template <typename A, typename Requirement>
[[nodiscard]] std::optional<ASCResource<A>> findResource(const ASCClientProtocol& client, std::string path,
                                                         Requirement&& requireOwner) {
    try {
        return client.send<ASCResponse<std::optional<ASCResource<A>>>>(ASCRequest::get(std::move(path))).data;
    } catch (const ASCError& error) {
        if (error.kind() != ASCError::Kind::notFound) throw;
    }
    requireOwner();
    return std::nullopt;
}

[[nodiscard]] inline ASCRelationshipRef refTo(std::string_view type, std::string_view id) {
    return {std::string(type), std::string(id)};
}

/// The relationship "to one resource" of a create document.
[[nodiscard]] inline ASCRelationshipBox relationTo(std::string_view type, std::string_view id) {
    return {refTo(type, id)};
}

/// Posts a create document to the collection of its type.
template <typename Envelope>
[[nodiscard]] ASCRequest createRequest(const Envelope& document) {
    return ASCRequest::post("v1/" + document.data.type, document);
}

/// Creates one resource from a document of any shape and returns it.
template <typename A, typename Envelope>
[[nodiscard]] ASCResource<A> createFrom(const ASCClientProtocol& client, const Envelope& document) {
    return client.send<ASCResponse<ASCResource<A>>>(createRequest(document)).data;
}

/// Creates one resource from its attributes and relationships and returns it.
template <typename A, typename Create>
[[nodiscard]] ASCResource<A> createResource(const ASCClientProtocol& client, std::string_view type,
                                            const Create& attributes, ASCCreateRelationships relationships) {
    return createFrom<A>(
        client, ASCCreateEnvelope<Create>{{std::string(type), attributes, std::move(relationships)}});
}

/// Patches the attributes of one resource.
template <typename Patch>
[[nodiscard]] ASCRequest patchRequest(std::string_view type, std::string_view id, const Patch& attributes) {
    return ASCRequest::patch(ascPath(type, id),
                             ASCPatchEnvelope<Patch>{{std::string(type), std::string(id), attributes}});
}

/// Patches the attributes of one resource and returns it as it is then.
template <typename A, typename Patch>
[[nodiscard]] ASCResource<A> patchResource(const ASCClientProtocol& client, std::string_view type,
                                           std::string_view id, const Patch& attributes) {
    return client.send<ASCResponse<ASCResource<A>>>(patchRequest(type, id, attributes)).data;
}

} // namespace quorvel::operations
