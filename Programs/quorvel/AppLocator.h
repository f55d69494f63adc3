// Finds the app that --app names.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct AppListEntry {
    std::string id; // App Store id
    std::string name;
    std::string slug;
    std::string bundleID;
    std::string primaryLocale;
};

/// The folder-safe short name of an app: the ASCII letters and digits of its name, else of its bundle id,
/// with "-" for what stands between.
[[nodiscard]] std::string slugOf(std::string_view name, std::string_view bundleID);

/// The apps with short names that are unique among them.
[[nodiscard]] std::vector<AppListEntry> withSlugs(const ASCList<ASCAppAttributes>& apps);

/// The app with this bundle id, App Store id or short name, in one listing. Throws `CommandError` that names
/// the apps there are.
[[nodiscard]] AppListEntry locateApp(const ASCClientProtocol& client, std::string_view wanted);

} // namespace quorvel
