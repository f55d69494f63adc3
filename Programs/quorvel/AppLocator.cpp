#include "Programs/quorvel/AppLocator.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/Spelling.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

constexpr std::size_t namedAtMost = 20;

std::string slugOfText(std::string_view text) {
    std::string slug;
    for (const char character : asciiLowercase(text)) {
        const bool kept = (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
        if (kept)
            slug += character;
        else if (!slug.empty() && slug.back() != '-')
            slug += '-';
    }
    while (!slug.empty() && slug.back() == '-')
        slug.pop_back();
    return slug;
}

std::string listing(const std::vector<AppListEntry>& apps) {
    std::vector<std::string> names;
    for (const AppListEntry& app : apps)
        names.push_back(fmt::format("{} ({})", app.bundleID, app.name));
    if (names.size() > namedAtMost) {
        const std::size_t more = names.size() - namedAtMost;
        names.resize(namedAtMost);
        names.push_back(fmt::format("{} more", more));
    }
    return fmt::format("{}", fmt::join(names, ", "));
}

} // namespace

std::string slugOf(std::string_view name, std::string_view bundleID) {
    std::string slug = slugOfText(name);
    return slug.empty() ? slugOfText(bundleID) : slug;
}

std::vector<AppListEntry> withSlugs(const ASCList<ASCAppAttributes>& apps) {
    std::vector<AppListEntry> entries;
    std::map<std::string, int> uses;
    for (const auto& app : apps) {
        const auto& attributes = app.attributes;
        AppListEntry entry{app.id,
                           attributes.name.value_or(""),
                           {},
                           attributes.bundleId.value_or(""),
                           attributes.primaryLocale.value_or("")};
        entry.slug = slugOf(entry.name, entry.bundleID);
        ++uses[entry.slug];
        entries.push_back(std::move(entry));
    }
    for (AppListEntry& entry : entries)
        if (entry.slug.empty() || uses[entry.slug] > 1)
            entry.slug += (entry.slug.empty() ? "app-" : "-") + slugOfText(entry.id);
    return entries;
}

AppListEntry locateApp(const ASCClientProtocol& client, std::string_view wanted) {
    const auto apps = withSlugs(client.listApps());
    for (const auto member : {&AppListEntry::bundleID, &AppListEntry::id, &AppListEntry::slug})
        for (const AppListEntry& app : apps)
            if (!wanted.empty() && app.*member == wanted) return app;
    const std::string there =
        apps.empty() ? "The account has no app that this key may see." : "There are " + listing(apps) + ".";
    if (wanted.empty()) throw UsageError("say which app with --app", there);
    std::vector<std::string_view> known;
    for (const AppListEntry& app : apps)
        known.insert(known.end(), {app.bundleID, app.slug});
    const auto nearest = nearestSpelling(wanted, known);
    throw CommandError(ExitStatus::notFound, fmt::format("there is no app {}", quotedWord(wanted)),
                       nearest ? fmt::format("Did you mean {}? {}", *nearest, there) : there);
}

} // namespace quorvel
