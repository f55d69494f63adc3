// The words about metadata that more than one face of the program shows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Beside the choice of a context.
inline constexpr std::string_view switchContextText =
    "Switch context — each (platform × Live/Next) is pulled into its own folder. "
    "Push is only enabled for editable Next contexts.";
inline constexpr std::string_view addLocaleText =
    "Creates the files on disk now; the next Push creates the localization on App Store Connect.";
/// The limits that editors restate; the long texts' are left out.
inline constexpr std::string_view shortLimitsText = "Name 30 · Subtitle 30 · Promo 170 · Keywords 100";

/// What is said of a text that a locale has of the folder of all locales.
inline constexpr std::string_view fromDefaultText = "From default/, as the locale has no text of its own.";

/// What is said of a context with texts but without anything pulled.
[[nodiscard]] std::string notPulledText(std::string_view context);

/// What is said of locales that were pulled and whose folders were removed.
[[nodiscard]] std::string noFolderText(const std::vector<std::string>& locales);
/// The same once a pull made the folders again.
[[nodiscard]] std::string backAgainText(const std::vector<std::string>& locales);

/// What is said of files and folders that no push takes; `reason` goes on behind their names.
[[nodiscard]] std::string misnamedText(const std::vector<std::string>& paths, std::string_view reason);

/// The first few of `names` and how many more there are, separated by commas.
[[nodiscard]] std::string someOf(const std::vector<std::string>& names);

/// What is said when a locale's folder or an app's metadata folder cannot be made, followed by the error.
[[nodiscard]] std::string localeFolderFailedText(std::string_view error);
[[nodiscard]] std::string metadataFolderFailedText(std::string_view folder, std::string_view error);

} // namespace quorvel
