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
    /// The changes of the page, in field order. A field without a file is not compared; the texts of a secret
    /// are replaced by what is done to it.
    [[nodiscard]] static std::vector<PendingChange> comparePage(const FieldTexts& pulled,
                                                                const FieldTexts& local);
    /// The changes of the page, then those of all locales.
    [[nodiscard]] static std::vector<PendingChange> compare(const ReadTexts& pulled, const ReadTexts& local);
    /// The changes of the page and of all locales for the tree of `store`. Throws what reading throws.
    [[nodiscard]] static std::vector<PendingChange> compare(const MetadataStore& store);

    /// What a change is and what a push makes of it, in one or two sentences.
    [[nodiscard]] static std::string explain(const PendingChange& change);
};

} // namespace quorvel
