#include "Core/records/AppImporter.h"

#include "Core/metadata/ContextsStore.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <set>

namespace quorvel {

namespace {

std::string slugOfText(std::string_view text) {
    std::string slug;
    for (const char character : asciiLowercase(transliterateToASCII(text))) {
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

using App = ASCResource<ASCAppAttributes>;

// One that is not taken, and that no record has; the id comes from outside and is made folder-safe like the
// rest.
std::string freeSlug(const AppRecords& apps, const App& app, std::set<std::string> taken) {
    for (const ManagedApp& recorded : apps.all())
        taken.insert(recorded.slug);
    std::string slug = slugOf(app.attributes.name.value_or(""), app.attributes.bundleId.value_or(""));
    if (slug.empty() || taken.contains(slug)) slug += (slug.empty() ? "app-" : "-") + slugOfText(app.id);
    while (taken.contains(slug))
        slug += "-2";
    return slug;
}

// The short names that the app would have but for the texts of another app in their folders.
std::set<std::string> foreignSlugs(const ASCClientProtocol& client, const AppRecords& apps, const Home& home,
                                   const App& app) {
    std::set<std::string> foreign;
    std::optional<std::vector<std::string>> versionIDs;
    for (;;) {
        std::string slug = freeSlug(apps, app, foreign);
        const auto saved = ContextsStore(defaultAppFolder(home, slug), systemClock()).load();
        if (!saved) return foreign;
        if (!versionIDs) {
            versionIDs.emplace();
            for (const auto& version : client.listAppStoreVersions(app.id))
                versionIDs->push_back(version.id);
        }
        if (saved->areOf(*versionIDs)) return foreign;
        foreign.insert(std::move(slug));
    }
}

// The locales of all app infos: the one on sale and the one being prepared may differ.
std::vector<std::string> localesOf(const ASCClientProtocol& client, std::string_view appStoreID,
                                   const std::optional<std::string>& primary) {
    const auto infos = client.listAppInfos(appStoreID);
    const auto lists = parallelMap(infos, infos.size(), [&](const ASCResource<AppInfoAttributes>& info) {
        return client.listAppInfoLocalizations(info.id);
    });
    std::set<std::string> codes;
    if (primary) codes.insert(*primary);
    for (const auto& list : lists)
        for (const auto& localization : list)
            codes.insert(localization.attributes.locale);
    codes.erase("");
    return {codes.begin(), codes.end()};
}

std::optional<ManagedApp> findByAppStoreID(const AppRecords& apps, std::string_view id) {
    for (ManagedApp& app : apps.all())
        if (app.appStoreId == id) return std::move(app);
    return std::nullopt;
}

} // namespace

std::string slugOf(std::string_view name, std::string_view bundleID) {
    std::string slug = slugOfText(name);
    return slug.empty() ? slugOfText(bundleID) : slug;
}

AppImporter::AppImporter(const ASCClientProtocol& client, AppRecords apps, Home home)
    : client_(client), apps_(std::move(apps)), home_(std::move(home)) {}

ImportedApp AppImporter::importApp(const App& app, const std::optional<std::string>& workspaceID) const {
    const auto& attributes = app.attributes;
    // Everything is asked for before anything is stored.
    const auto codes = localesOf(client_, app.id, attributes.primaryLocale);
    std::set<std::string> foreign;
    if (!findByAppStoreID(apps_, app.id)) foreign = foreignSlugs(client_, apps_, home_, app);
    ImportedApp imported;
    apps_.together([&] {
        const auto existing = findByAppStoreID(apps_, app.id);
        imported.wasThere = existing.has_value();
        ManagedApp record = existing.value_or(ManagedApp{});
        record.appStoreId = app.id;
        if (attributes.bundleId) record.bundleId = *attributes.bundleId;
        if (attributes.name) record.displayName = *attributes.name;
        if (workspaceID) record.workspace = workspaceID;
        if (existing) {
            imported.app = record == *existing ? record : apps_.update(record);
        } else {
            if (record.displayName.empty()) record.displayName = record.bundleId;
            record.slug = freeSlug(apps_, app, foreign);
            record.sourceLocale = attributes.primaryLocale.value_or("");
            imported.app = apps_.add(record);
            if (!foreign.empty()) imported.avoidedFolder = defaultAppFolder(home_, *foreign.begin());
        }
        apps_.addMissingLocales(imported.app.id, codes);
        imported.locales = apps_.locales(imported.app.id);
    });
    return imported;
}

} // namespace quorvel
