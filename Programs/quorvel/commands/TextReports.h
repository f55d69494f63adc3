// How the commands show store texts, changes and apps.
#pragma once

#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/PlannedRequest.h"
#include "Core/metadata/PushSelection.h"
#include "Programs/quorvel/Output.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A change for a list.
struct ListedChange {
    std::string_view locale;
    FieldType field = FieldType::name;
    std::string explanation;
    bool isNewLocale = false;
    bool clears = false;
};
/// What is said of a change, and that its text was generated and not read since.
[[nodiscard]] std::string withReview(std::string explanation, const std::optional<ReviewMark>& review);
/// The changes with what each is, one a line, and one line for each new locale.
void printChanges(Output& output, const std::vector<ListedChange>& changes);
[[nodiscard]] std::vector<ListedChange> listedChangesOf(const std::vector<PendingChange>& changes);
enum class Detail { summary, each };
/// What a push leaves out and why, when there is anything: by reason, what was asked for first.
void printLeftOut(Output& output, const std::vector<LeftOutChange>& leftOut, Detail detail = Detail::summary);
void printWarnings(Output& output, const std::vector<PushWarning>& warnings);
/// Requests as they would be sent, with their bodies.
void printRequests(Output& output, const std::vector<PlannedRequest>& requests);
/// "de-DE Name, Keywords" for one locale, else "Name of de-DE, fr-FR; Keywords of it and 12 more".
[[nodiscard]] std::string placesOf(const std::vector<FieldKey>& keys);

enum class Backups { made, planned };
/// Where the edits were backed up that a run replaced, or that it would. `lead` comes first on each line.
void printBackups(Output& output, const std::vector<KeptEdit>& kept, Backups backups,
                  std::string_view lead = {});

/// "just now", "5 minutes ago", "1 day ago", "3 weeks ago".
[[nodiscard]] std::string relativeTime(Date then, Date now);
/// As much of a date as a table shows, in UTC: "2026-03-01 12:30Z".
[[nodiscard]] std::string shortTime(Date date);

/// "ios/next 3.5 PREPARE_FOR_SUBMISSION", in the colour of the state.
[[nodiscard]] Table::Cell contextCell(const PlatformContext& context);
/// The colour of a version's state.
[[nodiscard]] Style styleOfState(std::string_view appStoreState);
/// "2 versions need attention", or nothing.
[[nodiscard]] std::string attentionText(std::int64_t count);
/// "quorvel", with the --workspace that names this one where it has to be named.
[[nodiscard]] std::string callInWorkspace(const std::optional<std::string>& workspace);

/// "$0.12", or "less than $0.01".
[[nodiscard]] std::string priceText(double dollars);
/// The same as an upper bound where it is one: "at most $0.12".
[[nodiscard]] std::string priceText(double dollars, bool isAtMost);

} // namespace quorvel
