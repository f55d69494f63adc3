#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/check/SharedFieldCheck.h"
#include "Core/metadata/check/TreeCheck.h"
#include "Core/screenshots/ScreenshotCheck.h"
#include "Core/screenshots/ScreenshotsCatalog.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/metadata/SecretExposure.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

namespace quorvel {

namespace {

Presence presenceOf(bool isLocal, bool isOnStore) {
    if (isLocal) return isOnStore ? Presence::both : Presence::local;
    return isOnStore ? Presence::appStoreConnect : Presence::missing;
}

bool isText(const std::optional<std::string>& text) {
    return text && !isBlank(*text);
}

LocaleSet localesWithPictures(const std::filesystem::path& pictures, ASCPlatform platform) {
    LocaleSet locales;
    std::error_code unreachable;
    if (!std::filesystem::is_directory(pictures, unreachable)) return locales;
    for (const ScreenshotPushItem& item : ScreenshotPushScanner(pictures, platform).scan().items)
        locales.insert(item.locale);
    return locales;
}

LocaleSet localesWithScreenshots(const std::filesystem::path& catalogFile) {
    LocaleSet locales;
    if (const auto catalog = loadCatalog(catalogFile))
        for (const auto& [locale, types] : catalog->sets)
            if (std::ranges::any_of(types, [](const auto& set) { return !set.second.empty(); }))
                locales.insert(locale);
    return locales;
}

// A password that a repository takes is known to everybody who clones it.
std::optional<CheckFinding> findSecret(const MetadataFolder& folder) {
    auto exposed = exposedSecret(folder);
    if (!exposed) return std::nullopt;
    return CheckFinding{CheckSeverity::warning,
                        CheckRule::secretInRepository,
                        {},
                        std::nullopt,
                        std::move(exposed->file),
                        {},
                        {},
                        std::move(exposed->text)};
}

// Against the next versions of the app's other platforms.
std::vector<CheckFinding> findDifferences(const MetadataFolder& root, const ContextID& wanted,
                                          const TextRules& rules, const PushFilter& filter) {
    std::vector<CheckFinding> findings;
    if (wanted.stateClass != AppStoreVersionStateClass::editable) return findings;
    const MetadataStore store(root.contextFolder(wanted));
    for (const ASCPlatform platform : allPlatforms) {
        const MetadataFolder other = root.contextFolder({platform, wanted.stateClass});
        if (platform == wanted.platform || !isFolder(other)) continue;
        try {
            auto found = differencesOfSharedFields(store, MetadataStore(other), rules, filter);
            findings.insert(findings.end(), std::make_move_iterator(found.begin()),
                            std::make_move_iterator(found.end()));
        } catch (const MetadataError&) { // which the check of that platform tells
        }
    }
    return findings;
}

// Pictures where they would lie if the repository did not name another folder.
std::optional<CheckFinding> findPassedOver(const std::filesystem::path& own,
                                           const std::filesystem::path& place) {
    std::error_code unreachable;
    if (own == place || !std::filesystem::is_directory(own, unreachable) ||
        std::filesystem::equivalent(own, place, unreachable))
        return std::nullopt;
    return CheckFinding{
        CheckSeverity::warning,
        CheckRule::unusedPicture,
        {},
        std::nullopt,
        own.native(),
        {},
        {},
        fmt::format("No push takes these pictures, but those in {}.", escapeControls(place.native()))};
}

} // namespace

MetadataController::Check MetadataController::check(const std::optional<std::string>& context,
                                                    const PushFilter& filter) const {
    const ManagedApp app = access_.record();
    const MetadataFolder root = access_.folderToRead(app, *gate_);
    const MetadataStore store = pulledStore(root, context);
    const AppContexts contexts = access_.contexts(root);
    const ContextID wanted = contexts.known(context).value_or(ContextID{});
    const TextRules rules = access_.textRules(app, root);
    LocaleSet expected;
    for (const ManagedLocale& locale : access_.locales(app))
        expected.insert(locale.code);
    PushFilter asked = filter;
    asked.release = contexts.releaseOf(wanted);
    CheckedTree texts = checkTree(store, rules, asked, expected, access_.clock()());
    const auto own = screenshotPaths(root, wanted).pictures;
    const auto place = access_.pictures().value_or(own);
    const auto isAsked = [&](const std::string& locale) {
        return filter.fields.empty() && filter.takes({locale, {}}) && !rules.disabledLocales.contains(locale);
    };
    CheckedPictures pictures = checkPictures(place, wanted.platform, isAsked);
    Check check{wanted,
                store.folder(),
                contexts.savedContext(wanted),
                std::move(texts.findings),
                store.localesOnDisk(),
                texts.texts,
                pictures.pictures};
    check.findings.insert(check.findings.end(), std::make_move_iterator(pictures.findings.begin()),
                          std::make_move_iterator(pictures.findings.end()));
    auto differences = findDifferences(root, wanted, rules, filter);
    check.findings.insert(check.findings.end(), std::make_move_iterator(differences.begin()),
                          std::make_move_iterator(differences.end()));
    if (isAsked("")) {
        if (auto secret = findSecret(store.folder())) check.findings.push_back(*std::move(secret));
        if (auto passedOver = findPassedOver(own, place)) check.findings.push_back(*std::move(passedOver));
    }
    sortFindings(check.findings);
    return check;
}

std::optional<LocaleOverview>
MetadataController::overviewOfLocales(const std::optional<std::string>& context) const {
    const ManagedApp app = access_.record();
    const MetadataFolder root = access_.folderToRead(app, *gate_);
    const ContextID wanted = access_.contexts(root).known(context).value_or(ContextID{});
    const MetadataStore store(root.contextFolder(wanted));
    if (!isFolder(store.folder())) return std::nullopt;
    const ReadContext read = readContext(store, access_.textRules(app, root));
    const ScreenshotPaths paths = screenshotPaths(root, wanted);
    const LocaleSet pictures =
        localesWithPictures(access_.pictures().value_or(paths.pictures), wanted.platform);
    const LocaleSet screenshots = localesWithScreenshots(paths.catalog);
    std::set<std::string> locales;
    for (const auto* side : {&read.local.texts, &read.pulled.texts})
        for (const auto& [locale, texts] : *side)
            locales.insert(locale);
    LocaleOverview overview{wanted.text(), store.folder().rootURL.string(), store.wasPulled(), {}};
    static const FieldTexts nothing;
    for (const std::string& locale : locales) {
        const auto local = read.local.texts.find(locale);
        const auto pulled = read.pulled.texts.find(locale);
        const FieldTexts& here = local == read.local.texts.end() ? nothing : local->second;
        const FieldTexts& there = pulled == read.pulled.texts.end() ? nothing : pulled->second;
        LocalePresence presence{.locale = locale,
                                .hasFolder = local != read.local.texts.end() &&
                                             !std::ranges::binary_search(read.withoutFolder, locale)};
        for (const FieldType field : localeFields)
            presence.texts[std::string(rawValue(field))] =
                presenceOf(isText(here[field]), isText(there[field]));
        presence.screenshots = presenceOf(pictures.contains(locale), screenshots.contains(locale));
        overview.locales.push_back(std::move(presence));
    }
    return overview;
}

} // namespace quorvel
