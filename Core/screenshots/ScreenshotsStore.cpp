#include "Core/screenshots/ScreenshotsStore.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace quorvel {

namespace {

constexpr std::size_t requestsAtOnce = 6;
constexpr int thumbnailSide = 512; // pixels
constexpr std::string_view thumbnailExtension = ".png";
constexpr std::size_t largestThumbnail = 16 << 20; // bytes

struct RemoteSet {
    std::string locale;
    std::string displayType;
    std::string id;
};

std::vector<RemoteSet> listSets(const ASCClientProtocol& client, const std::string& versionID,
                                const std::vector<std::string>& locales) {
    auto localizations = client.listVersionLocalizations(versionID);
    std::erase_if(localizations, [&](const auto& one) {
        return !locales.empty() && std::ranges::find(locales, one.attributes.locale) == locales.end();
    });
    const auto lists = parallelMap(localizations, requestsAtOnce, [&](const auto& localization) {
        std::vector<RemoteSet> sets;
        for (const auto& set : client.listScreenshotSets(localization.id))
            sets.push_back({localization.attributes.locale, set.attributes.screenshotDisplayType, set.id});
        return sets;
    });
    std::vector<RemoteSet> all;
    for (const auto& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

bool looksLikePicture(std::string_view bytes) {
    return bytes.starts_with("\x89PNG") || bytes.starts_with("\xFF\xD8\xFF");
}

void replace(std::string& text, std::string_view what, const std::string& by) {
    if (const auto at = text.find(what); at != std::string::npos) text.replace(at, what.size(), by);
}

// Empty for an id that may not become a file's name.
std::string thumbnailNameOf(const ScreenshotsCatalog::Entry& entry) {
    std::string name = entry.id + std::string(thumbnailExtension);
    return isSafeName(name) ? name : std::string();
}

} // namespace

std::string thumbnailURL(std::string_view imageURLTemplate, std::optional<std::int64_t> width,
                         std::optional<std::int64_t> height, int longestSide) {
    double w = longestSide, h = longestSide;
    if (width.value_or(0) > 0 && height.value_or(0) > 0) {
        const auto longest = static_cast<double>(std::max(*width, *height));
        const double scale = std::min(1.0, longestSide / longest);
        w = static_cast<double>(*width) * scale;
        h = static_cast<double>(*height) * scale;
    }
    std::string url(imageURLTemplate);
    replace(url, "{w}", fmt::format("{}", std::max(1L, std::lround(w))));
    replace(url, "{h}", fmt::format("{}", std::max(1L, std::lround(h))));
    replace(url, "{f}", std::string(thumbnailExtension.substr(1)));
    return url;
}

ScreenshotsStore::ScreenshotsStore(MetadataFolder folder, PlatformContext context, Clock clock)
    : folder_(std::move(folder)),
      context_(std::move(context)),
      clock_(std::move(clock)),
      paths_(screenshotPaths(folder_, context_.contextID())) {}

ScreenshotsCatalog ScreenshotsStore::readRemote(const ASCClientProtocol& client,
                                                const std::vector<std::string>& locales) const {
    ScreenshotsCatalog catalog{.lastPulledAt = clock_(),
                               .versionString = context_.versionString,
                               .versionState = context_.appStoreState};
    const auto sets = listSets(client, context_.versionId, locales);
    const auto lists = parallelMap(sets, requestsAtOnce,
                                   [&](const RemoteSet& set) { return client.listScreenshots(set.id); });
    for (std::size_t at = 0; at < sets.size(); ++at) {
        auto& entries = catalog.sets[sets[at].locale][sets[at].displayType];
        for (const auto& screenshot : lists[at])
            entries.push_back(catalogEntryOf(screenshot, entries.size()));
    }
    return catalog;
}

ScreenshotsPullSummary ScreenshotsStore::pull(const ASCClientProtocol& client, HTTPClient& images) const {
    std::vector<std::string> warnings;
    try {
        (void)catalog();
    } catch (const ScreenshotError& error) {
        if (error.kind() != ScreenshotError::Kind::badCatalog) throw;
        warnings.push_back(fmt::format("{}: the screenshot catalogue was damaged and has been replaced.",
                                       shownPath(paths_.catalog)));
    }
    ScreenshotsCatalog catalog = readRemote(client);
    createFolders(paths_.thumbnails);
    ScreenshotsPullSummary summary = fetchThumbnails(images, catalog);
    summary.warnings.insert(summary.warnings.begin(), warnings.begin(), warnings.end());
    for (const auto& [locale, types] : catalog.sets) {
        summary.locales.push_back(locale);
        summary.totalSets += static_cast<std::int64_t>(types.size());
    }
    summary.totalScreenshots = static_cast<std::int64_t>(catalog.screenshotCount());
    saveCatalog(paths_.catalog, catalog);
    removeOtherThumbnails(catalog);
    logger_.info(
        fmt::format("Pulled {} screenshots of {} sets", summary.totalScreenshots, summary.totalSets));
    return summary;
}

void ScreenshotsStore::remember(const ScreenshotsCatalog& remote,
                                const std::vector<std::string>& locales) const {
    std::optional<ScreenshotsCatalog> known;
    try {
        known = catalog();
    } catch (const ScreenshotError& error) { // the next pull says so and mends it
        logger_.info(error.what());
    }
    if (!known || known->versionString != remote.versionString) return;
    for (const std::string& locale : locales) {
        const auto read = remote.sets.find(locale);
        known->sets.erase(locale);
        if (read != remote.sets.end()) known->sets.insert(*read);
    }
    noteKnownThumbnails(*known);
    saveCatalog(paths_.catalog, std::move(*known));
}

void ScreenshotsStore::noteKnownThumbnails(ScreenshotsCatalog& catalog) const {
    for (auto& [locale, types] : catalog.sets)
        for (auto& [type, set] : types)
            for (auto& entry : set)
                if (const auto name = thumbnailNameOf(entry);
                    !name.empty() && std::filesystem::exists(paths_.thumbnails / name))
                    entry.thumbnailFileName = name;
}

ScreenshotsPullSummary ScreenshotsStore::fetchThumbnails(HTTPClient& images,
                                                         ScreenshotsCatalog& catalog) const {
    noteKnownThumbnails(catalog);
    std::vector<ScreenshotsCatalog::Entry*> missing;
    for (auto& [locale, types] : catalog.sets)
        for (auto& [type, set] : types)
            for (auto& entry : set)
                if (!entry.thumbnailFileName) missing.push_back(&entry);
    const auto fetch = [&](ScreenshotsCatalog::Entry* entry) -> std::string {
        const std::string shown = escapeControls(entry->fileName.value_or(entry->id));
        if (entry->imageURLTemplate.value_or("").empty()) return "No image asset URL for " + shown;
        const std::string name = thumbnailNameOf(*entry);
        const std::string url =
            thumbnailURL(*entry->imageURLTemplate, entry->width, entry->height, thumbnailSide);
        try {
            const HTTPResponse response = images.send({.url = url, .redirects = RedirectPolicy::follow});
            if (name.empty() || response.status != 200 || response.body.size() > largestThumbnail ||
                !looksLikePicture(response.body))
                return "Couldn't download thumbnail for " + shown;
            writeFileAtomically(paths_.thumbnails / name, response.body, FileMode::shared, Durability::later);
        } catch (const TransportError&) {
            return "Couldn't download thumbnail for " + shown;
        }
        entry->thumbnailFileName = name;
        return {};
    };
    ScreenshotsPullSummary summary;
    for (std::string& warning : parallelMap(missing, requestsAtOnce, fetch))
        if (warning.empty())
            ++summary.thumbnailsDownloaded;
        else
            summary.warnings.push_back(std::move(warning));
    return summary;
}

void ScreenshotsStore::removeOtherThumbnails(const ScreenshotsCatalog& catalog) const {
    std::set<std::string> known;
    for (const auto& [locale, types] : catalog.sets)
        for (const auto& [type, set] : types)
            for (const auto& entry : set)
                if (entry.thumbnailFileName) known.insert(*entry.thumbnailFileName);
    for (const FolderEntry& entry : listFolder(paths_.thumbnails).value_or(std::vector<FolderEntry>()))
        if (entry.kind == FolderEntry::Kind::file && entry.name.ends_with(thumbnailExtension) &&
            !known.contains(entry.name))
            (void)removeFile(paths_.thumbnails / entry.name);
}

} // namespace quorvel
