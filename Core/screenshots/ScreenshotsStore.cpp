#include "Core/screenshots/ScreenshotsStore.h"

#include "Core/asc/ASCError.h"
#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <set>
#include <type_traits>
#include <variant>

namespace quorvel {

namespace {

constexpr std::size_t requestsAtOnce = 6;
constexpr int thumbnailSide = 512; // pixels
constexpr std::string_view thumbnailExtension = ".png";
constexpr std::size_t largestThumbnail = 16 << 20; // bytes

// What could not be read, and why.
struct Unread {
    std::string locale;
    std::string displayType; // empty: all of the locale
    ASCError error;
};

// What is gone since it was listed is nothing that could not be read.
void noteUnread(std::vector<Unread>& all, Unread unread) {
    if (unread.error.kind() != ASCError::Kind::notFound) all.push_back(std::move(unread));
}

struct RemoteSet {
    std::string locale;
    std::string displayType;
    std::string id;
};

bool concernsEverything(const ASCError& error) {
    return error.kind() != ASCError::Kind::serviceTrouble && error.kind() != ASCError::Kind::notFound &&
           error.kind() != ASCError::Kind::failed;
}

// Answers with a status were asked for again by the client already.
bool gotNoAnswer(const ASCError& error) {
    return mayHaveBeenDone(error) && !error.httpStatus();
}

// Asks again while a failure may pass, until a first request got through in none of its attempts: the service
// or the network is down then, and the others are made once.
class PatientReading {
  public:
    explicit PatientReading(const RetryOptions& retries) : retries_(retries) {}

    [[nodiscard]] int attempts() const { return isDown_ ? 1 : retries_.attempts; }
    void giveUp() { isDown_ = true; }

    // What the request yields, or why it does not. Throws an error that every further request would meet.
    template <typename Request>
    auto operator()(Request&& request) -> std::variant<std::invoke_result_t<Request>, ASCError> {
        RetryOptions now = retries_;
        now.attempts = attempts();
        try {
            return retry(now, request, gotNoAnswer);
        } catch (const ASCError& error) {
            if (concernsEverything(error)) throw;
            if (gotNoAnswer(error)) giveUp();
            return error;
        }
    }

  private:
    const RetryOptions& retries_;
    std::atomic<bool> isDown_ = false;
};

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

struct ScreenshotsStore::Reading {
    ScreenshotsCatalog catalog;
    std::vector<Unread> unread;
};

ScreenshotsStore::ScreenshotsStore(MetadataFolder folder, PlatformContext context, Clock clock,
                                   RetryOptions retries, AssetKind kind)
    : folder_(std::move(folder)),
      context_(std::move(context)),
      clock_(std::move(clock)),
      paths_(screenshotPaths(folder_, context_.contextID(), kind)),
      retries_(std::move(retries)),
      kind_(kind) {}

ScreenshotsStore::Reading ScreenshotsStore::read(const ASCClientProtocol& client,
                                                 const std::vector<std::string>& locales) const {
    Reading reading{.catalog = {.lastPulledAt = clock_(),
                                .versionString = context_.versionString,
                                .versionState = context_.appStoreState},
                    .unread = {}};
    auto localizations = retry(
        retries_, [&] { return client.listVersionLocalizations(context_.versionId); }, gotNoAnswer);
    PatientReading patient(retries_);
    const AssetOperations operations(client, kind_);
    std::erase_if(localizations, [&](const auto& one) {
        return !locales.empty() && std::ranges::find(locales, one.attributes.locale) == locales.end();
    });
    const auto setLists = parallelMap(localizations, requestsAtOnce, [&](const auto& localization) {
        return patient([&] { return operations.listSets(localization.id); });
    });
    std::vector<RemoteSet> sets;
    for (std::size_t at = 0; at < localizations.size(); ++at) {
        const std::string& locale = localizations[at].attributes.locale;
        if (const auto* error = std::get_if<ASCError>(&setLists[at]))
            noteUnread(reading.unread, {locale, {}, *error});
        else
            for (const auto& set : std::get<0>(setLists[at]))
                sets.push_back({locale, set.displayType, set.id});
    }
    const auto lists = parallelMap(sets, requestsAtOnce, [&](const RemoteSet& set) {
        return patient([&] { return operations.list(set.id); });
    });
    for (std::size_t at = 0; at < sets.size(); ++at) {
        const auto& [locale, displayType, id] = sets[at];
        if (const auto* error = std::get_if<ASCError>(&lists[at])) {
            noteUnread(reading.unread, {locale, displayType, *error});
            continue;
        }
        auto& entries = reading.catalog.sets[locale][displayType];
        for (const StoreAsset& asset : std::get<0>(lists[at]))
            entries.push_back(catalogEntryOf(asset, entries.size()));
    }
    if (!reading.unread.empty() && reading.catalog.sets.empty()) throw reading.unread.front().error;
    return reading;
}

ScreenshotsCatalog ScreenshotsStore::readRemote(const ASCClientProtocol& client,
                                                const std::vector<std::string>& locales) const {
    Reading reading = read(client, locales);
    if (!reading.unread.empty()) throw reading.unread.front().error;
    return std::move(reading.catalog);
}

ScreenshotsPullSummary ScreenshotsStore::pull(const ASCClientProtocol& client, HTTPClient& images) const {
    ScreenshotsPullSummary summary;
    std::optional<ScreenshotsCatalog> before;
    try {
        before = catalog();
    } catch (const ScreenshotError& error) {
        if (error.kind() != ScreenshotError::Kind::badCatalog) throw;
        summary.warnings.push_back(fmt::format("{}: the {} catalogue was damaged and has been replaced.",
                                               shownPath(paths_.catalog), traitsOf(kind_).one));
    }
    Reading reading = read(client, {});
    ScreenshotsCatalog& catalog = reading.catalog;
    if (before && before->versionString != catalog.versionString) before.reset();
    for (const auto& [locale, displayType, error] : reading.unread) {
        summary.failures.push_back(fmt::format(
            "{}: {}", displayType.empty() ? locale : setText(locale, displayType), error.description()));
        if (!before) continue;
        if (!displayType.empty())
            catalog.sets[locale][displayType] = before->setOf(locale, displayType);
        else if (const auto known = before->sets.find(locale); known != before->sets.end())
            catalog.sets.insert(*known);
    }
    createFolders(paths_.thumbnails);
    fetchThumbnails(images, catalog, summary);
    for (const auto& [locale, types] : catalog.sets) {
        summary.locales.push_back(locale);
        summary.totalSets += static_cast<std::int64_t>(types.size());
    }
    summary.totalScreenshots = static_cast<std::int64_t>(catalog.screenshotCount());
    saveCatalog(paths_.catalog, catalog);
    removeOtherThumbnails(catalog);
    logger_.info(fmt::format("Pulled {} {} of {} sets", summary.totalScreenshots, traitsOf(kind_).many,
                             summary.totalSets));
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
    std::error_code unreachable;
    for (auto& [locale, types] : catalog.sets)
        for (auto& [type, set] : types)
            for (auto& entry : set)
                if (const auto name = thumbnailNameOf(entry);
                    !name.empty() && std::filesystem::exists(paths_.thumbnails / name, unreachable))
                    entry.thumbnailFileName = name;
}

namespace {

// Nothing when none came that is a picture.
std::optional<std::string> fetchPicture(HTTPClient& images, const std::string& url, PatientReading& patient,
                                        const RetryOptions& retries) {
    for (int attempt = 1;; ++attempt) {
        bool mayPass = true;
        try {
            HTTPResponse response = images.send(
                {.url = url, .redirects = RedirectPolicy::follow, .maximumBodyBytes = largestThumbnail});
            mayPass = response.status == 200 || response.status == 429 || response.status >= 500;
            if (response.status == 200) {
                (void)imageHeaderOf(response.body, ImageReading::whole);
                return std::move(response.body);
            }
        } catch (const TransportError& error) {
            // What is no HTTP was asked for again already, or is too large.
            mayPass = error.kind() != TransportError::Kind::refusedURL &&
                      error.kind() != TransportError::Kind::notHTTP;
        } catch (const ImageError&) { // an answer that was cut off, or of something on the way
        }
        if (!mayPass) return std::nullopt;
        if (attempt >= patient.attempts()) {
            patient.giveUp();
            return std::nullopt;
        }
        retries.sleepFor(retries.backoff(attempt));
    }
}

} // namespace

void ScreenshotsStore::fetchThumbnails(HTTPClient& images, ScreenshotsCatalog& catalog,
                                       ScreenshotsPullSummary& summary) const {
    noteKnownThumbnails(catalog);
    std::vector<ScreenshotsCatalog::Entry*> missing;
    for (auto& [locale, types] : catalog.sets)
        for (auto& [type, set] : types)
            for (auto& entry : set)
                if (entry.imageURLTemplate.value_or("").empty())
                    summary.warnings.push_back("No image asset URL for " +
                                               escapeControls(entry.fileName.value_or(entry.id)));
                else if (!entry.thumbnailFileName)
                    missing.push_back(&entry);
    enum class Fetched { no, yes };
    PatientReading patient(retries_);
    const auto fetch = [&](ScreenshotsCatalog::Entry* entry) {
        const std::string name = thumbnailNameOf(*entry);
        if (name.empty()) return Fetched::no;
        const auto picture = fetchPicture(
            images, thumbnailURL(*entry->imageURLTemplate, entry->width, entry->height, thumbnailSide),
            patient, retries_);
        if (!picture) return Fetched::no;
        writeFileAtomically(paths_.thumbnails / name, *picture, FileMode::shared, Durability::later);
        entry->thumbnailFileName = name;
        return Fetched::yes;
    };
    const auto fetched = parallelMap(missing, requestsAtOnce, fetch);
    for (std::size_t at = 0; at < missing.size(); ++at)
        if (fetched[at] == Fetched::yes)
            ++summary.thumbnailsDownloaded;
        else
            summary.failures.push_back("Couldn't download thumbnail for " +
                                       escapeControls(missing[at]->fileName.value_or(missing[at]->id)));
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
