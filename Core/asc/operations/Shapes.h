// The shapes that operations share: lists whose pages are followed, creates, patches.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/asc/ASCError.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace quorvel::operations {

/// The most that App Store Connect gives on one page.
inline constexpr int pageLimit = 200;

/// The "limit" to send for a list of at most `bound` resources.
[[nodiscard]] inline std::string limitFor(ASCListBound bound) {
    return std::to_string(std::clamp(bound.maximum.value_or(pageLimit), 1, pageLimit));
}

/// Hands each page of the list that `first` begins to `visit`, which returns how many resources are had by
/// then; follows `links.next` as given until it is absent or no URL, or the bound is reached.
template <typename Page, typename Visitor>
void forEachPage(const ASCClientProtocol& client, ASCRequest first, ASCListBound bound, Visitor&& visit) {
    std::set<std::string> followed;
    for (ASCRequest request = std::move(first);;) {
        Page page = client.send<Page>(request);
        const std::optional<ASCLinks> links = page.links;
        const std::size_t had = visit(std::move(page));
        if (bound.maximum && had >= static_cast<std::size_t>(std::max(*bound.maximum, 0))) return;
        if (!links || !links->next || !links->next->starts_with("http")) return;
        if (!followed.insert(*links->next).second)
            throw ASCError(
                ASCError::DecodingFailed{"the link to the next page leads back to a page already read"});
        request = ASCRequest::get({});
        request.absoluteURL = links->next;
    }
}

/// Leaves no more than `bound` allows; the last page may have brought more.
template <typename Item>
void cutTo(ASCListBound bound, std::vector<Item>& items) {
    const auto most = static_cast<std::size_t>(std::max(bound.maximum.value_or(0), 0));
    if (bound.maximum && items.size() > most)
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(most), items.end());
}

/// All resources of the list that `first` begins, in order.
template <typename A>
[[nodiscard]] ASCList<A> collect(const ASCClientProtocol& client, ASCRequest first, ASCListBound bound = {}) {
    ASCList<A> all;
    forEachPage<ASCResponse<ASCList<A>>>(
        client, std::move(first), bound, [&](ASCResponse<ASCList<A>>&& page) {
            std::move(page.data.begin(), page.data.end(), std::back_inserter(all));
            return all.size();
        });
    cutTo(bound, all);
    return all;
}

/// The relationship "to one resource" of a create document.
[[nodiscard]] inline ASCRelationshipBox relationTo(std::string_view type, std::string_view id) {
    return {{std::string(type), std::string(id)}};
}

/// Patches the attributes of one resource and returns it as it is then.
template <typename A, typename Patch>
[[nodiscard]] ASCResource<A> patchResource(const ASCClientProtocol& client, std::string_view type,
                                           std::string_view id, const Patch& attributes) {
    return client
        .send<ASCResponse<ASCResource<A>>>(ASCRequest::patch(
            ascPath(type, id), ASCPatchEnvelope<Patch>{{std::string(type), std::string(id), attributes}}))
        .data;
}

/// Creates one resource and returns it.
template <typename A, typename Create>
[[nodiscard]] ASCResource<A> createResource(const ASCClientProtocol& client, std::string_view type,
                                            const Create& attributes, ASCCreateRelationships relationships) {
    return client
        .send<ASCResponse<ASCResource<A>>>(ASCRequest::post(
            "v1/" + std::string(type),
            ASCCreateEnvelope<Create>{{std::string(type), attributes, std::move(relationships)}}))
        .data;
}

/// A single resource that may not exist: null data, or 404, is none.
template <typename A>
[[nodiscard]] std::optional<ASCResource<A>> findOne(const ASCClientProtocol& client,
                                                    const ASCRequest& request) {
    try {
        return client.send<ASCResponse<std::optional<ASCResource<A>>>>(request).data;
    } catch (const ASCError& error) {
        if (error.httpStatus() == 404) return std::nullopt;
        throw;
    }
}

} // namespace quorvel::operations
