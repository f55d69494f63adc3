#include "Tests/support/ScreenshotTree.h"

#include "Core/screenshots/PNGChecksum.h"
#include "Core/screenshots/ScreenshotError.h"

#include <algorithm>

namespace quorvel::test {

namespace {

std::string textOf(const JSONValue& resource, std::string_view attribute) {
    const JSONValue* value = resource.at("attributes", attribute);
    return value && value->text() ? *value->text() : "";
}

std::string linkOf(const JSONValue& resource, std::string_view name) {
    return *resource.at("links", name)->text();
}

} // namespace

std::string paddedPicture(const std::string& png, std::size_t count) {
    std::string body = "teXt"; // a private chunk
    for (std::size_t at = 0; at < count; ++at)
        body.push_back(static_cast<char>((at * 2'654'435'761U) >> 13));
    const auto number = [](std::uint32_t value) {
        return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    std::string padded = png;
    padded.insert(png.size() - 12,
                  number(static_cast<std::uint32_t>(count)) + body + number(pngChecksum(body)));
    return padded;
}

std::string Drawings::picture(const std::string& displayType, unsigned number) {
    auto& base = drawn_[displayType];
    if (base.empty()) base = pictureFor(displayType, 3);
    return paddedPicture(base, number % 7 == 0 ? 180'000 + number : number);
}

void putThirtySixSets(const std::filesystem::path& pictures, Drawings& drawings) {
    unsigned number = 0;
    for (const char* locale :
         {"en-US", "de-DE", "fr-FR", "ja", "it", "ko", "nl-NL", "pt-BR", "ru", "es-ES", "zh-Hans", "sv"})
        for (const char* type : {"APP_IPHONE_67", "APP_IPHONE_65", "APP_IPAD_PRO_3GEN_129"})
            for (const char* name : {"1.png", "2.png", "3.png", "10.png", "20.png"})
                put(pictures / locale / type / name, drawings.picture(type, ++number));
}

std::vector<sandbox::Fault> faultsOfABadDay() {
    return {{.route = "*", .status = 503, .probability = 0.03},
            {.route = "*", .status = 429, .probability = 0.03, .retryAfter = 1},
            {.route = "*", .status = 503, .action = "statusAfter", .probability = 0.03},
            {.route = "PUT /upload/**", .action = "resetDuring", .probability = 0.06},
            {.route = "*", .action = "reset", .probability = 0.03},
            {.route = "*", .action = "resetAfter", .probability = 0.03}};
}

HeldSets heldSets(const sandbox::SandboxServer& server, std::string_view versionID, AssetKind kind) {
    const bool areVideos = kind == AssetKind::preview;
    const JSONValue state = server.state();
    const auto all = [&](std::string_view type) { return state.find(type)->members(); };
    std::map<std::string, std::string> locales, names; // by localization, by set
    for (const auto& [id, localization] : *all("appStoreVersionLocalizations"))
        if (linkOf(localization, "appStoreVersion") == versionID)
            locales[id] = textOf(localization, "locale");
    for (const auto& [id, set] : *all(areVideos ? "appPreviewSets" : "appScreenshotSets"))
        if (const auto locale = locales.find(linkOf(set, "appStoreVersionLocalization"));
            locale != locales.end())
            names[id] =
                setText(locale->second, textOf(set, areVideos ? "previewType" : "screenshotDisplayType"));
    std::map<std::string, std::vector<std::pair<std::int64_t, HeldScreenshot>>> placed;
    for (const auto& [id, shot] : *all(areVideos ? "appPreviews" : "appScreenshots"))
        if (const auto set = names.find(linkOf(shot, areVideos ? "appPreviewSet" : "appScreenshotSet"));
            set != names.end())
            placed[set->second].emplace_back(
                *shot.find("order")->integer(),
                HeldScreenshot{
                    id, textOf(shot, "fileName"), textOf(shot, "sourceFileChecksum"),
                    *shot.at("attributes", areVideos ? "videoDeliveryState" : "assetDeliveryState", "state")
                         ->text()});
    HeldSets sets;
    for (const auto& [id, name] : names)
        sets[name];
    for (auto& [name, shots] : placed) {
        std::ranges::sort(shots, {}, [](const auto& one) { return one.first; });
        for (auto& [order, shot] : shots)
            sets[name].push_back(std::move(shot));
    }
    return sets;
}

HeldSets expectedSets(const std::vector<ScreenshotPushItem>& items) {
    HeldSets sets;
    for (const ScreenshotPushItem& item : items)
        sets[setText(item.locale, item.displayType)].push_back(
            {{}, item.fileName(), fileChecksum(item.fileURL), {}});
    return sets;
}

HeldSets namesAndChecksums(HeldSets sets) {
    std::erase_if(sets, [](const auto& set) { return set.second.empty(); });
    for (auto& [name, shots] : sets)
        for (HeldScreenshot& shot : shots)
            shot = {{}, shot.fileName, shot.checksum, {}};
    return sets;
}

} // namespace quorvel::test
