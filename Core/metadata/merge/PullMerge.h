// What a pull does with one text: the edit there is, what App Store Connect changed, and a conflict of
// before.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/merge/TextConflicts.h"

#include <optional>
#include <string>

namespace quorvel {

/// A field that a pull has a text for. An absent text has no file.
struct PulledField {
    FieldKey key;
    std::optional<std::string> copy; // of the last pull
    std::optional<std::string> local;
    std::string incoming;
    std::optional<TextConflict> open; // a conflict of before
};

/// The steps in their order: the edit is backed up, the record kept, the local file written, the pulled copy
/// written, the record removed. An end in between loses nothing, and the next pull goes on from there.
struct TextDecision {
    PullDecision writes;
    std::string text;                   // what the local file takes
    std::optional<TextConflict> record; // what is to be known of the conflict
    bool settles = false;               // the open conflict is none any more
    bool isMerged = false;
    bool isConflict = false; // afterwards

    [[nodiscard]] bool changesAnything() const {
        return writes.writesLocal || writes.writesPulled || record || settles;
    }
};

/// A second pull over an open conflict keeps the text that both sides began with and takes the newer one of
/// App Store Connect; a text that was edited since the first pull takes the place of the one that it met. One
/// that replaces edits (`LocalEdits::keepBeside`) settles it with App Store Connect's text. A secret in
/// conflict stays in its local file, as its text is kept nowhere else.
[[nodiscard]] TextDecision decideText(const PulledField& field, const PullOptions& options, Date moment);

} // namespace quorvel
