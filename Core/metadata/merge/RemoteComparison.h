// Compares the local texts, and those of the last pull, with what App Store Connect holds now.
#pragma once

#include "Core/metadata/MetadataStore.h"
#include "Core/metadata/TextComparison.h"
#include "Core/metadata/merge/FieldMerge.h"

#include <string>
#include <vector>

namespace quorvel {

/// A field that somebody changed since the last pull. Of a secret the texts are not those, but what is done
/// to it.
struct RemoteDifference {
    FieldKey key;
    std::string base; // as it was pulled; empty when it was not
    std::string local;
    std::string remote; // as App Store Connect holds it now
    ChangedBy changedBy = ChangedBy::nobody;
    bool merges = false; // a pull would merge both changes
};

struct RemoteComparison {
    std::vector<RemoteDifference> differences; // in locale order and then in field order
    std::vector<UnreadableText> unreadable;    // which are not compared
    std::vector<FieldKey> conflicts;           // of earlier pulls, not settled yet
    std::vector<std::string> removedLocales; // pulled and enabled, without a folder; a pull brings them back
    std::vector<std::string> locales;        // of either side, disabled ones included; sorted
    bool wasPulled = false;
    std::optional<Date> pulledAt;
};

/// Compares the page and the enabled locales; `remote` holds the texts of App Store Connect. A text is the
/// local one of a field only where its locale has a folder. Throws `MetadataError` when the folder itself
/// cannot be read, `FileError`.
[[nodiscard]] RemoteComparison compareWithRemote(const MetadataStore& store, const TextRules& rules,
                                                 ReadTexts remote);

} // namespace quorvel
