#include "Core/screenshots/ScreenshotCheck.h"

#include "Core/screenshots/AssetKind.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Platform/task/Task.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace quorvel {

namespace {

constexpr std::size_t picturesAtOnce = 4;

CheckFinding pictureFinding(CheckSeverity severity, CheckRule rule, const std::string& locale,
                            const std::filesystem::path& file, std::string text) {
    return {severity, rule, locale, std::nullopt, file.native(), {}, {}, std::move(text)};
}

// Only what is there is counted; what App Store Connect holds beside it is the push's to say.
void checkSets(const std::vector<ScreenshotPushItem>& items, std::vector<CheckFinding>& findings) {
    std::map<std::pair<std::string, std::string>, std::vector<const ScreenshotPushItem*>> sets;
    for (const ScreenshotPushItem& item : items)
        sets[{item.locale, item.displayType}].push_back(&item);
    const std::size_t most = traitsOf(AssetKind::screenshot).mostPerSet;
    for (const auto& [set, members] : sets) {
        if (members.size() <= most) continue;
        findings.push_back(pictureFinding(
            CheckSeverity::error, CheckRule::tooManyPictures, set.first, members[most]->fileURL,
            fmt::format("{} has {} pictures, and App Store Connect takes {} in a set. Remove {}.",
                        setText(set.first, set.second), members.size(), most,
                        counted(members.size() - most, "file"))));
    }
}

} // namespace

CheckedPictures checkPictures(const std::filesystem::path& pictures, ASCPlatform platform,
                              const std::function<bool(const std::string& locale)>& isAsked) {
    CheckedPictures checked;
    std::error_code unreachable;
    if (!std::filesystem::is_directory(pictures, unreachable)) return checked;
    auto scan = ScreenshotPushScanner(pictures, platform).scan();
    const auto isOther = [&](const auto& one) { return !isAsked(one.locale); };
    const std::size_t ofOthers = std::erase_if(scan.items, isOther) + std::erase_if(scan.leftOut, isOther) +
                                 std::erase_if(scan.failures, isOther);
    std::erase_if(scan.unreadable, isOther);
    checked.pictures = scan.pictures - ofOthers;
    const bool isOfNone = isAsked("");
    if (!isOfNone) checked.pictures = scan.items.size() + scan.leftOut.size() + scan.failures.size();
    const auto problems = parallelMap(scan.items, picturesAtOnce, [](const ScreenshotPushItem& item) {
        return problemOf(item, PictureCheck::full);
    });
    for (std::size_t at = 0; at < problems.size(); ++at)
        if (problems[at])
            checked.findings.push_back(pictureFinding(
                CheckSeverity::error, CheckRule::pictureRefused, scan.items[at].locale,
                scan.items[at].fileURL, fmt::format("{}: {}", scan.items[at].text(), problems[at]->text)));
    checkSets(scan.items, checked.findings);
    for (const auto& failures : {scan.failures, scan.unreadable})
        for (const auto& failure : failures)
            checked.findings.push_back(pictureFinding(CheckSeverity::error, CheckRule::pictureRefused,
                                                      failure.locale, failure.fileURL, failure.text));
    for (const auto& one : scan.leftOut)
        checked.findings.push_back(
            pictureFinding(CheckSeverity::warning, CheckRule::unusedPicture, one.locale, one.fileURL,
                           fmt::format("The picture is left out of a push: it is {}.", one.reason)));
    if (!isOfNone) return checked;
    for (const std::string& warning : scan.warnings)
        if (!warning.starts_with("Folder unreadable")) // an error above
            checked.findings.push_back(
                pictureFinding(CheckSeverity::warning, CheckRule::unusedPicture, {}, pictures, warning));
    return checked;
}

} // namespace quorvel
