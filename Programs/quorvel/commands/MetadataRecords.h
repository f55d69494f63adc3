// How the metadata commands print changes, and their JSON forms.
#pragma once

#include "Core/metadata/DryRun.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/PushSelection.h"
#include "Platform/text/Counted.h"
#include "Programs/quorvel/Output.h"

#include <optional>
#include <string>
#include <vector>

namespace quorvel {

struct ChangeRecord {
    std::string locale;
    FieldType field = FieldType::name;
    std::string remote;
    std::string local;
    bool isOverLimit = false;
    bool isNewLocale = false;
    std::string explanation;
    QUORVEL_RECORD(ChangeRecord, locale, field, remote, local, isOverLimit, isNewLocale, explanation)
};

[[nodiscard]] ChangeRecord recordOf(const PendingChange& change);
[[nodiscard]] std::vector<ChangeRecord> recordsOf(const std::vector<PendingChange>& changes);

/// The first few of `names` and how many more there are, separated by commas.
[[nodiscard]] std::string someOf(const std::vector<std::string>& names);

/// The changes with what each is, one a line, and one line for each new locale.
void printChanges(Output& output, const std::vector<PendingChange>& changes);
/// What a push leaves out and why, when there is anything.
void printLeftOut(Output& output, const std::vector<LeftOutChange>& leftOut);
void printWarnings(Output& output, const std::vector<PushWarning>& warnings);
/// Where the edits were put aside that a run replaced, or that it would. `lead` comes first on each line.
void printKept(Output& output, const std::vector<KeptEdit>& kept, DryRun dryRun, std::string_view lead = {});

} // namespace quorvel
