// Creating a resource that may exist already, or whose creation's answer may be lost.
#pragma once

#include "Core/asc/ASCError.h"

#include <optional>
#include <string>

namespace quorvel {

/// Whether App Store Connect may have carried out a request that failed with this error.
[[nodiscard]] bool mayHaveBeenDone(const ASCError& error);

/// Runs `create`. When it fails because the resource exists ("INVALID.DUPLICATE"), or may have been carried
/// out all the same, `find` looks for the resource's id and `adopt` is run with it. When there is none, the
/// error of the create is thrown. `create` and `adopt` return the same type.
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
            // The error of the create says more.
        }
        if (!id) throw;
        return adopt(*id);
    }
}

} // namespace quorvel
