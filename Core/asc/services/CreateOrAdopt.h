// Creating a resource that may exist already, or whose creation's answer may be lost.
#pragma once

#include "Core/asc/ASCError.h"

#include <optional>
#include <string>

namespace quorvel {

/// Whether a request that failed so may have been carried out all the same.
[[nodiscard]] bool mayHaveBeenDone(const ASCError& error);

/// Runs `create`. When that is refused because the resource exists ("INVALID.DUPLICATE"), or may have been
/// carried out although it failed, `find` looks for the resource's id and `adopt` is run with it; where there
/// is none, the failure of the create stands. All three are functions; `create` and `adopt` return the same
/// type.
template <typename Create, typename Find, typename Adopt>
auto createOrAdopt(Create&& create, Find&& find, Adopt&& adopt) {
    try {
        return create();
    } catch (const ASCError& error) {
        if (!error.hasCodeContaining("INVALID.DUPLICATE") && !mayHaveBeenDone(error)) throw;
        std::optional<std::string> id;
        try {
            id = find();
        } catch (const ASCError&) {
            // the failure of the create says more
        }
        if (!id) throw;
        return adopt(*id);
    }
}

} // namespace quorvel
