// Compares the local texts with the pulled copies.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/PendingChange.h"

#include <string>
#include <vector>

namespace quorvel {

struct MetadataDiff {
    /// The changes of the locales in `local`, in locale order and then in field order. Texts that are both
    /// blank do not differ.
    [[nodiscard]] static std::vector<PendingChange> compare(const LocaleTexts& pulled,
                                                            const LocaleTexts& local);
    /// Like `compare` for the tree of `store`. Throws what reading throws.
    [[nodiscard]] static std::vector<PendingChange> compare(const MetadataStore& store);

    /// What a change is and what a push makes of it, in one or two sentences.
    [[nodiscard]] static std::string explain(const PendingChange& change);
};

} // namespace quorvel
