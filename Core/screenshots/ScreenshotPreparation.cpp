#include "Core/screenshots/ScreenshotPreparation.h"

#include "Core/metadata/MetadataTexts.h"
#include "Core/screenshots/ImageHeader.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/PreviewFile.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
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
    bool isOnlyAlphaChannel = false; // that is wrong
};

// Where copies without an alpha channel are made; nothing where none shall be.
using Copies = std::shared_ptr<const TemporaryCopies>;

bool isToBeFlattened(const ScreenshotPushItem& item, const Copies& copies) {
    try {
        return copies && readImageHeader(item.fileURL).alpha == ImageAlpha::present;
    } catch (const ImageError&) { // which only a check would mind
        return false;
    }
}

// Reads the poster frame of a preview too, as it belongs to what is checked.
std::optional<PictureProblem> problemOfAsset(ScreenshotPushItem& item, const ScreenshotChoice& choice) {
    if (choice.selection.kind == AssetKind::screenshot) return problemOf(item, choice.check, choice.alpha);
    item.posterFrame = readPosterFrame(item.fileURL);
    const auto problem = problemOfPreview(item, choice.check);
    return problem ? std::optional(PictureProblem{*problem}) : std::nullopt;
}

Inspected inspectChecked(ScreenshotPushItem item, std::size_t number, const ScreenshotsCatalog& remote,
                         const ScreenshotChoice& choice, const Copies& copies) {
    std::optional<PictureProblem> problem;
    try {
        problem = problemOfAsset(item, choice);
        if (!problem && isToBeFlattened(item, copies)) {
            const auto copy = copies->place(number, item.fileURL);
            writeWithoutAlpha(item.fileURL, copy);
            item.copy = copy;
        }
        if (!problem) return {inspect(item, remote)};
    } catch (const ScreenshotFileError& error) {
        problem = PictureProblem{error.what()};
    } catch (const ImageError& error) {
        problem = PictureProblem{error.what()};
    } catch (const PosterFrameError& error) {
        problem = PictureProblem{error.what()};
    }
    return {{.item = item, .fate = LocalScreenshot::Fate::refused},
            fmt::format("{}: {}", item.text(), problem->text),
            problem->isOnlyAlphaChannel};
}

// A picture that could not be read might be of any set of its locale.
std::vector<LocalScreenshot> withheldOf(const ScreenshotPushScanner::Failure& failure,
                                        const ScreenshotsCatalog& remote) {
    std::vector<LocalScreenshot> withheld;
    if (const auto types = remote.sets.find(failure.locale); types != remote.sets.end())
        for (const auto& [type, set] : types->second)
            withheld.push_back(
                {.item = {failure.fileURL, failure.locale, type}, .fate = LocalScreenshot::Fate::supposed});
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
                    withheld.push_back({.item = item, .fate = LocalScreenshot::Fate::supposed});
            }
    }
    return withheld;
}

// Says once for all pictures of a reason that they are left out. Who names a disabled locale waits for it.
void tellLeftOut(ScreenshotPushScanner::ScanResult& scan, const std::filesystem::path& pictures,
                 const ScreenshotSelection& selection) {
    std::map<std::string, std::vector<const ScreenshotPushScanner::LeftOut*>> byReason;
    for (const auto& one : scan.leftOut)
        byReason[one.reason].push_back(&one);
    for (const auto& [reason, all] : byReason) {
        std::vector<std::string> paths;
        for (const auto* one : all)
            paths.push_back(shownPath(one->fileURL.lexically_relative(pictures)));
        std::ranges::sort(paths, naturalLess);
        std::string text =
            fmt::format("{} {} {} left out: {}", counted(all.size(), traitsOf(selection.kind).file), reason,
                        all.size() == 1 ? "is" : "are", someOf(paths));
        const auto& first = *all.front();
        if (!selection.locales.empty() && selection.disabledLocales.contains(first.locale))
            scan.failures.push_back({first.fileURL, first.locale, std::move(text)});
        else
            scan.warnings.push_back(std::move(text));
    }
}

} // namespace

bool ScreenshotSelection::takes(const std::string& locale, const std::string& displayType) const {
    return !disabledLocales.contains(locale) && isAmong(locales, locale) &&
           isAmong(displayTypes, displayType);
}

ScreenshotPushScanner::ScanResult scanScreenshots(const std::filesystem::path& pictures,
                                                  const ScreenshotSelection& selection) {
    auto scan = ScreenshotPushScanner(pictures, selection.platform, selection.kind).scan();
    std::erase_if(scan.leftOut, [&](const ScreenshotPushScanner::LeftOut& one) {
        return selection.disabledLocales.contains(one.locale);
    });
    for (const ScreenshotPushItem& item : scan.items)
        if (selection.disabledLocales.contains(item.locale))
            scan.leftOut.push_back({item.fileURL, item.locale, item.displayType,
                                    fmt::format("of {}, which is disabled,", item.locale)});
    std::erase_if(scan.items, [&](const ScreenshotPushItem& item) {
        return !selection.takes(item.locale, item.displayType);
    });
    const auto isOfOthers = [&](const ScreenshotPushScanner::Failure& failure) {
        return !failure.locale.empty() && (!isAmong(selection.locales, failure.locale) ||
                                           selection.disabledLocales.contains(failure.locale));
    };
    std::erase_if(scan.leftOut, [&](const auto& one) {
        return !isAmong(selection.locales, one.locale) || !isAmong(selection.displayTypes, one.displayType);
    });
    std::erase_if(scan.failures, isOfOthers);
    std::erase_if(scan.unreadable, isOfOthers);
    tellLeftOut(scan, pictures, selection);
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
                                       const ScreenshotsCatalog& remote, const ScreenshotChoice& choice) {
    const ScreenshotsCatalog catalog = selected(remote, choice.selection);
    PreparedScreenshots prepared;
    std::vector<LocalScreenshot> locals;
    std::vector<std::string>& failures = prepared.failures;
    for (const auto& failure : scan.failures) {
        failures.push_back(failure.text);
        std::ranges::move(withheldOf(failure, catalog), std::back_inserter(locals));
    }
    std::ranges::move(withheldOf(scan.unreadable, scan.items, catalog), std::back_inserter(locals));
    if (choice.alpha == AlphaChannel::dropped && !scan.items.empty())
        prepared.copies = std::make_shared<const TemporaryCopies>();
    for (Inspected& one : parallelMap(scan.items, filesAtOnce, [&](const ScreenshotPushItem& item) {
             const auto number = static_cast<std::size_t>(&item - scan.items.data());
             return inspectChecked(item, number, catalog, choice, prepared.copies);
         })) {
        if (!one.local.item.copy.empty()) prepared.flattened.push_back(one.local.item.text());
        locals.push_back(std::move(one.local));
        if (!one.failure.empty()) failures.push_back(std::move(one.failure));
        prepared.flattenable += one.isOnlyAlphaChannel;
    }
    std::ranges::stable_sort(
        locals, naturalLess, [](const auto& local) -> auto& { return local.item.fileURL.native(); });
    const bool hasPictures = scan.pictures > 0;
    prepared.plan =
        planScreenshots(locals, catalog, choice.mode,
                        hasPictures ? choice.withoutFiles : SetsWithoutFiles::leave, choice.selection.kind);
    for (const ScreenshotSetStatus& set : prepared.plan.sets)
        if (set.problem)
            failures.push_back(fmt::format("{}: {}", setText(set.locale, set.displayType), *set.problem));
    prepared.warnings = std::move(scan.warnings);
    prepared.guesses = std::move(scan.guesses);
    prepared.unreadableFolders = scan.unreadable.size();
    prepared.leftOut = scan.leftOut.size();
    return prepared;
}

} // namespace quorvel
