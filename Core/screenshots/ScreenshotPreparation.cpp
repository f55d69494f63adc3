#include "Core/screenshots/ScreenshotPreparation.h"

#include "Platform/task/Task.h"

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

// A file with what tells it from others, or what is wrong with it.
struct Inspected {
    std::optional<LocalScreenshot> local;
    std::string failure;
};

Inspected inspectChecked(const ScreenshotPushItem& item, const ScreenshotsCatalog& remote,
                         PictureCheck check) {
    std::optional<std::string> problem = problemOf(item, check);
    try {
        if (!problem) return {inspect(item, remote), {}};
    } catch (const ScreenshotFileError& error) {
        problem = error.what();
    }
    return {std::nullopt, fmt::format("{}: {}", item.text(), *problem)};
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
    std::erase_if(scan.failures,
                  [&](const auto& failure) { return !isAmong(selection.locales, failure.locale); });
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
    std::ranges::transform(scan.failures, std::back_inserter(failures),
                           &ScreenshotPushScanner::Failure::text);
    for (Inspected& one : parallelMap(scan.items, filesAtOnce, [&](const ScreenshotPushItem& item) {
             return inspectChecked(item, catalog, check);
         })) {
        if (one.local)
            locals.push_back(std::move(*one.local));
        else
            failures.push_back(std::move(one.failure));
    }
    return {planScreenshots(locals, catalog, mode), std::move(scan.warnings), std::move(scan.guesses),
            std::move(failures)};
}

} // namespace quorvel
