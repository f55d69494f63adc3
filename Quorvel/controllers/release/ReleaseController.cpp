#include "Quorvel/controllers/release/ReleaseController.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TextComparison.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/metadata/MetadataController.h"

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

using Versions = std::vector<ASCVersionSummary>;

ASCList<AppStoreVersionAttributes> withoutDetails(const Versions& summaries) {
    ASCList<AppStoreVersionAttributes> versions;
    std::ranges::transform(summaries, std::back_inserter(versions), &ASCVersionSummary::version);
    return versions;
}

std::optional<AttachedBuild> attachedBuildOf(const ASCVersionSummary& version) {
    if (!version.build) return std::nullopt;
    const ASCBuildAttributes& build = version.build->attributes;
    return AttachedBuild{version.build->id, build.version.value_or(""), build.processingState.value_or(""),
                         build.usesNonExemptEncryption};
}

ReleaseFacts::ScreenshotCounts countScreenshots(const std::vector<ASCLocalizationSummary>& localizations) {
    ReleaseFacts::ScreenshotCounts counts;
    std::set<std::string> sizes;
    for (const ASCLocalizationSummary& one : localizations) {
        counts.localeSets += std::ssize(one.displayTypes);
        sizes.insert(one.displayTypes.begin(), one.displayTypes.end());
    }
    counts.displaySizes = std::ssize(sizes);
    return counts;
}

std::vector<std::string> withoutNotes(const std::vector<ASCLocalizationSummary>& localizations) {
    std::vector<std::string> locales;
    for (const ASCLocalizationSummary& one : localizations)
        if (isBlank(one.localization.attributes.whatsNew.value_or("")))
            locales.push_back(one.localization.attributes.locale);
    std::ranges::sort(locales);
    return locales;
}

} // namespace

std::optional<PlatformContext> contextOf(const ASCResource<AppStoreVersionAttributes>& version) {
    const auto contexts = contextsOf({version});
    return contexts.empty() ? std::nullopt : std::optional(contexts.front());
}

bool isProcessed(const ASCBuildAttributes& build) {
    return build.processingState == rawValue(BuildProcessingState::valid);
}

std::optional<ASCVersionSummary>
ReleaseController::versionOf(const Versions& versions, const MetadataFolder& folder,
                             const std::optional<std::string>& context) const {
    const AppContexts saved = access_.contexts(folder);
    auto wanted = saved.known(context);
    const auto contexts = contextsOf(withoutDetails(versions));
    // The version that is prepared goes before the one on sale that was pulled last.
    if (wanted && !saved.wanted(context) && wanted->stateClass == AppStoreVersionStateClass::live) {
        const ContextID next{wanted->platform, AppStoreVersionStateClass::editable};
        if (std::ranges::find(contexts, next.text(), &PlatformContext::id) != contexts.end()) wanted = next;
    }
    std::vector<std::string> ids;
    for (const ASCVersionSummary& version : versions)
        ids.push_back(version.version.id);
    if (!ids.empty()) saved.requireSameApp(ids, access_.record().displayName);
    const auto chosen = chooseContext(contexts, wanted ? std::optional(wanted->text()) : std::nullopt);
    if (!chosen || (context && chosen->id() != *context)) return std::nullopt;
    return *std::ranges::find_if(
        versions, [&](const ASCVersionSummary& version) { return version.version.id == chosen->versionId; });
}

// Texts that were pulled of another version say nothing of this one's.
void ReleaseController::addTexts(ReleaseFacts& facts, const ManagedApp& app, const MetadataFolder& folder,
                                 const std::vector<ASCLocalizationSummary>& localizations,
                                 Release release) const {
    const ContextID id = facts.context->contextID();
    if (!isFolder(folder.contextFolder(id))) return;
    const MetadataStore store(folder.contextFolder(id));
    const TextRules rules = access_.textRules(app, folder);
    const TextComparison texts = compareTexts(store, id, rules, {.release = release});
    facts.isPulled = texts.wasPulled && !texts.interruptedPull &&
                     store.pulledVersionID().value_or(facts.context->versionId) == facts.context->versionId;
    facts.localesOnDisk = std::ssize(texts.grid.locales);
    facts.overLimit = static_cast<std::int64_t>(texts.overLimit());
    facts.waiting = static_cast<std::int64_t>(texts.waiting());
    facts.missingLocales =
        std::ranges::count_if(localizations, [&](const ASCLocalizationSummary& localization) {
            const std::string& locale = localization.localization.attributes.locale;
            return !rules.disabledLocales.contains(locale) &&
                   !std::ranges::binary_search(texts.grid.locales, locale);
        });
}

ReleaseChecklist ReleaseController::checklist(const std::optional<std::string>& context,
                                              DryRun dryRun) const {
    const ManagedApp app = access_.record();
    if (isBlank(app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    const MetadataFolder folder = access_.folderToRead(app, *gate_, dryRun);
    const auto client = access_.client();
    if (context) (void)requireContextID(*context); // refuses a misspelt one before all else
    const Versions versions = client->listVersionSummaries(app.appStoreId);
    ReleaseChecklist checklist{.app = referenceOf(app)};
    ReleaseFacts facts;
    if (const auto version = versionOf(versions, folder, context)) {
        facts.context = contextOf(version->version);
        const auto localizations = client->listLocalizationSummaries(version->version.id);
        const Release release = releaseOf(facts.context->contextID(), contextsOf(withoutDetails(versions)));
        addTexts(facts, app, folder, localizations, release);
        facts.screenshots = countScreenshots(localizations);
        facts.reviewInfo = readinessOf(version->reviewDetail);
        checklist.releaseType = version->version.attributes.releaseType;
        checklist.build = attachedBuildOf(*version);
        if (version->build)
            facts.build = ReleaseFacts::Build{isProcessed(version->build->attributes),
                                              version->build->attributes.usesNonExemptEncryption};
        if (release == Release::update) checklist.localesWithoutNotes = withoutNotes(localizations);
    }
    checklist.pipeline = releasePipelineOf(facts);
    return checklist;
}

} // namespace quorvel
