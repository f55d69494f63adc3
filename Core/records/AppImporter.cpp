#include "Core/records/AppImporter.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <set>

namespace quorvel {

namespace {

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

// One that no record has; `id` comes from outside and is made folder-safe like the rest.
std::string freeSlug(const AppRecords& apps, std::string_view name, std::string_view bundleID,
                     std::string_view id) {
    std::set<std::string> taken;
    for (const ManagedApp& app : apps.all())
        taken.insert(app.slug);
    std::string slug = slugOf(name, bundleID);
    if (slug.empty() || taken.contains(slug)) slug += (slug.empty() ? "app-" : "-") + slugOfText(id);
    while (taken.contains(slug))
        slug += "-2";
    return slug;
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

AppImporter::AppImporter(const ASCClientProtocol& client, AppRecords apps)
    : client_(client), apps_(std::move(apps)) {}

ImportedApp AppImporter::importApp(const ASCResource<ASCAppAttributes>& app,
                                   const std::optional<std::string>& workspaceID) const {
    const auto& attributes = app.attributes;
    // Everything is asked for before anything is stored.
    const auto codes = localesOf(client_, app.id, attributes.primaryLocale);
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
            record.slug = freeSlug(apps_, record.displayName, record.bundleId, app.id);
            record.sourceLocale = attributes.primaryLocale.value_or("");
            imported.app = apps_.add(record);
        }
        apps_.addMissingLocales(imported.app.id, codes);
        imported.locales = apps_.locales(imported.app.id);
    });
    return imported;
}

} // namespace quorvel
