#include "Core/screenshots/ScreenshotPreparation.h"

#include "Core/screenshots/ScreenshotError.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

constexpr std::size_t filesAtOnce = 4;

bool isAmong(const std::vector<std::string>& wanted, const std::string& one) {
    return wanted.empty() || std::ranges::find(wanted, one) != wanted.end();
}

ScreenshotsCatalog selected(const ScreenshotsCatalog& remote, const ScreenshotSelection& selection) {
    ScreenshotsCatalog catalog;
    for (const auto& [locale, types] : remote.sets)
        for (const auto& [type, set] : types)
            if (selection.takes(locale, type)) catalog.sets[locale][type] = set;
    return catalog;
}

// A file with what tells it from others, and what is wrong with it.
struct Inspected {
    LocalScreenshot local;
    std::string failure = {};
};

Inspected inspectChecked(const ScreenshotPushItem& item, const ScreenshotsCatalog& remote,
                         PictureCheck check) {
    std::optional<std::string> problem = problemOf(item, check);
    try {
        if (!problem) return {inspect(item, remote)};
    } catch (const ScreenshotFileError& error) {
        problem = error.what();
    }
    return {{.item = item, .fate = LocalScreenshot::Fate::withheld},
            fmt::format("{}: {}", item.text(), *problem)};
}

// A picture that could not be read might be of any set of its locale.
std::vector<LocalScreenshot> withheldOf(const ScreenshotPushScanner::Failure& failure,
                                        const ScreenshotsCatalog& remote) {
    std::vector<LocalScreenshot> withheld;
    if (const auto types = remote.sets.find(failure.locale); types != remote.sets.end())
        for (const auto& [type, set] : types->second)
            withheld.push_back(
                {.item = {failure.fileURL, failure.locale, type}, .fate = LocalScreenshot::Fate::withheld});
    return withheld;
}

// Nobody knows what is in an unreadable folder: each screenshot that no readable file has the name of may be
// of it.
std::vector<LocalScreenshot> withheldOf(const std::vector<ScreenshotPushScanner::Failure>& folders,
                                        const std::vector<ScreenshotPushItem>& readable,
                                        const ScreenshotsCatalog& remote) {
    std::set<std::string> names;
    for (const ScreenshotPushItem& item : readable)
        names.insert(item.text());
    std::vector<LocalScreenshot> withheld;
    for (const auto& [locale, types] : remote.sets) {
        const auto folder = std::ranges::find_if(folders, [&](const auto& unreadable) {
            return unreadable.locale.empty() || unreadable.locale == locale;
        });
        if (folder == folders.end()) continue;
        for (const auto& [type, set] : types)
            for (const ScreenshotsCatalog::Entry& entry : set) {
                const ScreenshotPushItem item{folder->fileURL / entry.fileName.value_or(""), locale, type};
                if (!names.contains(item.text()))
                    withheld.push_back({.item = item, .fate = LocalScreenshot::Fate::withheld});
            }
    }
    return withheld;
}

} // namespace

bool ScreenshotSelection::takes(const std::string& locale, const std::string& displayType) const {
    return isAmong(locales, locale) && isAmong(displayTypes, displayType);
}

ScreenshotPushScanner::ScanResult scanScreenshots(const std::filesystem::path& pictures,
                                                  const ScreenshotSelection& selection) {
    auto scan = ScreenshotPushScanner(pictures).scan();
    std::erase_if(scan.items, [&](const ScreenshotPushItem& item) {
        return !selection.takes(item.locale, item.displayType);
    });
    const auto isOfOthers = [&](const ScreenshotPushScanner::Failure& failure) {
        return !failure.locale.empty() && !isAmong(selection.locales, failure.locale);
    };
    std::erase_if(scan.failures, isOfOthers);
    std::erase_if(scan.unreadable, isOfOthers);
    std::set<std::string> paths;
    for (const ScreenshotPushItem& item : scan.items)
        paths.insert(shownPath(item.fileURL.lexically_relative(pictures)));
    std::erase_if(scan.guesses, [&](const auto& guess) { return !paths.contains(guess.path); });
    return scan;
}

std::vector<std::string> localesOf(const ScreenshotPushScanner::ScanResult& scan) {
    std::set<std::string> locales;
    for (const ScreenshotPushItem& item : scan.items)
        locales.insert(item.locale);
    return {locales.begin(), locales.end()};
}

PreparedScreenshots prepareScreenshots(ScreenshotPushScanner::ScanResult scan,
                                       const ScreenshotsCatalog& remote, ScreenshotPushMode mode,
                                       PictureCheck check, const ScreenshotSelection& selection) {
    const ScreenshotsCatalog catalog = selected(remote, selection);
    std::vector<LocalScreenshot> locals;
    std::vector<std::string> failures;
    for (const auto& failure : scan.failures) {
        failures.push_back(failure.text);
        std::ranges::move(withheldOf(failure, catalog), std::back_inserter(locals));
    }
    std::ranges::move(withheldOf(scan.unreadable, scan.items, catalog), std::back_inserter(locals));
    for (Inspected& one : parallelMap(scan.items, filesAtOnce, [&](const ScreenshotPushItem& item) {
             return inspectChecked(item, catalog, check);
         })) {
        locals.push_back(std::move(one.local));
        if (!one.failure.empty()) failures.push_back(std::move(one.failure));
    }
    std::ranges::stable_sort(
        locals, naturalLess, [](const auto& local) -> auto& { return local.item.fileURL.native(); });
    return {planScreenshots(locals, catalog, mode), std::move(scan.warnings), std::move(scan.guesses),
            std::move(failures), scan.unreadable.size()};
}

} // namespace quorvel
