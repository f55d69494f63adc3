#include "Quorvel/controllers/screenshots/ScreenshotsController.h"

#include "Core/asc/ASCError.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotImport.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"
#include "Quorvel/controllers/metadata/MetadataController.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

namespace quorvel {

namespace {

std::uint64_t bytesToSend(const std::vector<ScreenshotSetEdit>& edits) {
    std::uint64_t bytes = 0;
    for (const ScreenshotSetEdit& edit : edits)
        for (const ScreenshotPushItem& item : edit.localsToUpload) {
            std::error_code unknown;
            const auto size = std::filesystem::file_size(item.sentFile(), unknown);
            if (!unknown) bytes += size;
        }
    return bytes;
}

// The locales whose sets a plan is about, for reading App Store Connect.
std::vector<std::string> localesOf(const PreparedScreenshots& prepared) {
    std::vector<std::string> locales;
    for (const ScreenshotSetStatus& set : prepared.plan.sets)
        if ((set.local > 0 || set.differs()) && (locales.empty() || locales.back() != set.locale))
            locales.push_back(set.locale);
    return locales;
}

void takePrepared(ScreenshotPushPlan& plan, PreparedScreenshots found) {
    for (const ScreenshotSetEdit& edit : found.plan.edits) {
        plan.uploads += std::ssize(edit.localsToUpload);
        plan.deletions += std::ssize(edit.ascIdsToDelete);
    }
    plan.uploadBytes = static_cast<std::int64_t>(bytesToSend(found.plan.edits));
    plan.changedSets = std::ssize(found.plan.edits);
    plan.sets = found.plan.sets;
    plan.guesses = found.guesses;
    plan.warnings = found.warnings;
    plan.failures = found.failures;
    plan.unreadableFolders = static_cast<std::int64_t>(found.unreadableFolders);
    plan.leftOut = static_cast<std::int64_t>(found.leftOut);
    plan.flattened = found.flattened;
    plan.flattenable = static_cast<std::int64_t>(found.flattenable);
    plan.prepared = std::make_shared<const PreparedScreenshots>(std::move(found));
}

// Sets that the push leaves as they are may change meanwhile.
std::vector<ScreenshotSetStatus> concernedOf(std::vector<ScreenshotSetStatus> sets) {
    std::erase_if(sets,
                  [](const ScreenshotSetStatus& set) { return set.isWithoutFiles() && !set.differs(); });
    return sets;
}

bool isPreview(AssetKind kind) {
    return kind == AssetKind::preview;
}

// What was sent and is not shown yet, or never will be.
std::vector<std::string> unfinishedOf(const ScreenshotsCatalog& catalog,
                                      const ScreenshotSelection& selection) {
    std::vector<std::string> texts;
    for (const auto& [locale, types] : catalog.sets)
        for (const auto& [type, set] : types)
            for (const auto& entry : set) {
                if (!selection.takes(locale, type)) continue;
                const std::string name = fmt::format("{} {}", setText(locale, type),
                                                     escapeControls(entry.fileName.value_or(entry.id)));
                const std::string state = entry.assetState.value_or(std::string(assetComplete));
                if (state == assetFailed)
                    texts.push_back(fmt::format("{}: App Store Connect could not process it — {}", name,
                                                entry.problem.value_or("it gave no reason.")));
                else if (state == assetAwaitsUpload)
                    texts.push_back(name + ": its upload was cut off; pushing again takes it up.");
                else if (state != assetComplete)
                    texts.push_back(name + ": App Store Connect was still processing it at the last pull.");
            }
    return texts;
}

bool arePartlyThere(const ScreenshotPushReport& report, const std::vector<ScreenshotSetStatus>& sets) {
    return report.uploaded > 0 || report.deleted > 0 || !report.uploadedFiles.empty() ||
           std::ranges::any_of(sets, [](const auto& set) { return set.local > 0 && set.unchanged > 0; });
}

} // namespace

PlatformContext ScreenshotsController::currentContext(const ASCClientProtocol& client, const Target& target,
                                                      const std::optional<std::string>& context) const {
    const auto versions = client.listAppStoreVersions(target.app.appStoreId);
    return access_.contexts(target.folder).current(versions, context, target.app.displayName);
}

std::filesystem::path ScreenshotsController::pictures(const MetadataFolder& folder,
                                                      const ContextID& context) const {
    const auto own = screenshotPaths(folder, context, kind_).pictures;
    return isPreview(kind_) ? own : access_.pictures().value_or(own);
}

ScreenshotsPull ScreenshotsController::pull(const std::optional<std::string>& context) {
    ScreenshotsPull pulled;
    gate_->run(isPreview(kind_) ? OperationKind::pullPreviews : OperationKind::pullScreenshots,
               [&](Operation& operation) {
                   const Target target = access_.open(operation);
                   operation.status(
                       fmt::format("Pulling the {} of {}…", traitsOf(kind_).many, target.app.displayName));
                   const auto client = access_.client();
                   pulled.version = currentContext(*client, target, context);
                   const ScreenshotsStore store = storeOf(target, pulled.version);
                   pulled.app = referenceOf(target.app);
                   pulled.context = pulled.version.id();
                   pulled.thumbnails = store.paths().thumbnails.string();
                   pulled.summary = store.pull(*client, *access_.http());
                   operation.status(
                       fmt::format("Pulled {} {}", pulled.summary.totalScreenshots, traitsOf(kind_).many));
               });
    return pulled;
}

ScreenshotChoice ScreenshotsController::within(const ContextID& context, const ManagedApp& app,
                                               ScreenshotChoice choice) const {
    choice.selection.platform = context.platform;
    choice.selection.kind = kind_;
    choice.selection.disabledLocales = access_.disabledLocales(app);
    return choice;
}

ScreenshotImport ScreenshotsController::importPictures(const std::filesystem::path& tree,
                                                       const std::optional<std::string>& context,
                                                       DryRun dryRun) {
    ScreenshotImport imported;
    gate_->run(isPreview(kind_) ? OperationKind::importPreviews : OperationKind::importScreenshots,
               [&](Operation& operation) {
                   const Target target = access_.open(operation, dryRun);
                   const ContextID id = access_.contexts(target.folder).known(context).value_or(ContextID{});
                   const auto destination = pictures(target.folder, id);
                   imported = {
                       destination.string(), id.text(),
                       importScreenshots(tree,
                                         {destination, newKeptFolder(target.folder, access_.clock()()) /
                                                           destination.filename()},
                                         {.platform = id.platform, .kind = kind_}, dryRun)};
                   operation.status(
                       fmt::format("Imported {} {}", imported.report.imported.size(), traitsOf(kind_).many));
               });
    return imported;
}

ScreenshotStatus ScreenshotsController::status(const std::optional<std::string>& context,
                                               const ScreenshotChoice& wanted, DryRun dryRun) const {
    const ManagedApp app = access_.record();
    const MetadataFolder folder = access_.folderToRead(app, *gate_, dryRun);
    const ContextID id = access_.contexts(folder).known(context).value_or(ContextID{});
    const ScreenshotChoice choice = within(id, app, wanted);
    const auto local = pictures(folder, id);
    const auto catalog = loadCatalog(screenshotPaths(folder, id, kind_).catalog, kind_);
    if (!catalog)
        throw OperationRefused(isPreview(kind_) ? Refusal::previewsNotPulled : Refusal::screenshotsNotPulled,
                               fmt::format("the {} of {} have not been pulled into {}", traitsOf(kind_).many,
                                           id.text(), escapeControls(folder.rootURL.native())));
    std::error_code unreachable;
    const bool hasFolder = std::filesystem::is_directory(local, unreachable);
    auto scan = hasFolder ? scanScreenshots(local, choice.selection) : ScreenshotPushScanner::ScanResult();
    auto prepared = prepareScreenshots(std::move(scan), *catalog, choice);
    if (isPreview(kind_))
        std::ranges::move(unfinishedOf(*catalog, choice.selection), std::back_inserter(prepared.warnings));
    return {.folder = local.string(),
            .hasFolder = hasFolder,
            .context = id.text(),
            .mode = choice.mode,
            .lastPulledAt = catalog->lastPulledAt,
            .versionString = catalog->versionString,
            .sets = std::move(prepared.plan.sets),
            .guesses = std::move(prepared.guesses),
            .warnings = std::move(prepared.warnings),
            .failures = std::move(prepared.failures),
            .flattened = std::move(prepared.flattened),
            .flattenable = static_cast<std::int64_t>(prepared.flattenable)};
}

PreparedScreenshots ScreenshotsController::compare(const ASCClientProtocol& client, const Target& target,
                                                   const PlatformContext& version,
                                                   ScreenshotPushScanner::ScanResult scan,
                                                   const ScreenshotChoice& choice) const {
    // Replacing also tells of the sets that have no local file.
    const bool addsOnly = choice.mode == ScreenshotPushMode::append;
    const auto locales = addsOnly ? quorvel::localesOf(scan) : choice.selection.locales;
    ScreenshotsCatalog remote;
    if (!scan.items.empty() || (!addsOnly && scan.pictures > 0))
        remote = storeOf(target, version).readRemote(client, locales);
    return prepareScreenshots(std::move(scan), remote, choice);
}

// A plan may come back later, and from elsewhere; only what still is as it was shown is done.
PreparedScreenshots ScreenshotsController::compareAgain(const ASCClientProtocol& client, const Target& target,
                                                        const ScreenshotPushPlan& plan) const {
    const PlatformContext version = currentContext(client, target, plan.context);
    if (version.versionId != plan.version.versionId) throw OperationRefused(Refusal::stalePlan);
    if (!version.takesPushes()) throw ScreenshotError::readOnlyVersion(version.versionString);
    const auto local = pictures(target.folder, plan.version.contextID());
    const ScreenshotChoice choice = within(version.contextID(), target.app, plan.choice());
    auto found = compare(client, target, plan.version, scanScreenshots(local, choice.selection), choice);
    if (concernedOf(found.plan.sets) != concernedOf(plan.sets)) throw OperationRefused(Refusal::stalePlan);
    return found;
}

ScreenshotPushPlan ScreenshotsController::planPush(const std::optional<std::string>& context,
                                                   const ScreenshotChoice& wanted, DryRun dryRun) {
    ScreenshotPushPlan plan{.mode = wanted.mode,
                            .locales = wanted.selection.locales,
                            .displayTypes = wanted.selection.displayTypes,
                            .checked = wanted.check == PictureCheck::full,
                            .flatten = wanted.alpha == AlphaChannel::dropped,
                            .prune = wanted.withoutFiles == SetsWithoutFiles::empty};
    gate_->run(isPreview(kind_) ? OperationKind::pushPreviews : OperationKind::pushScreenshots,
               [&](Operation& operation) {
                   const ManagedApp app = access_.record();
                   const auto client = access_.client();
                   plan.app = referenceOf(app);
                   plan.version = currentContext(*client, {app, access_.folder(app), std::nullopt}, context);
                   plan.context = plan.version.id();
                   if (!plan.version.takesPushes())
                       throw ScreenshotError::readOnlyVersion(plan.version.versionString);
                   const ScreenshotChoice choice = within(plan.version.contextID(), app, wanted);
                   auto scan = scanScreenshots(pictures(access_.folder(app), plan.version.contextID()),
                                               choice.selection);
                   const Target target = access_.open(operation, dryRun);
                   plan.folder = target.folder.rootURL.string();
                   operation.status("Comparing with App Store Connect…");
                   takePrepared(plan, compare(*client, target, plan.version, std::move(scan), choice));
                   operation.status({});
               });
    return plan;
}

ScreenshotPushReport ScreenshotsController::push(const ScreenshotPushPlan& plan,
                                                 const ScreenshotPusher::Observer& observer,
                                                 const ScreenshotPushOptions& options) {
    std::shared_ptr<const PreparedScreenshots> prepared = plan.prepared;
    ScreenshotPushReport report{.app = plan.app, .context = plan.context, .version = plan.version};
    report.warnings = plan.warnings;
    report.failures = plan.failures;
    report.notDone = std::ssize(plan.failures) + plan.unreadableFolders;
    if (!prepared || !prepared->plan.edits.empty())
        gate_->run(isPreview(kind_) ? OperationKind::pushPreviews : OperationKind::pushScreenshots,
                   [&](Operation& operation) {
                       // Another push of this folder would take our reservations for its own leftovers.
                       const Target target = access_.open(operation);
                       const auto client = access_.client();
                       const auto http = access_.http();
                       // Another push since the comparison: what it added is recognised, what it deleted is
                       // not.
                       if (!prepared || plan.deletions > 0)
                           prepared = std::make_shared<const PreparedScreenshots>(
                               compareAgain(*client, target, plan));
                       operation.status(fmt::format("Pushing {}…", traitsOf(kind_).many));
                       ScreenshotPushOptions ofKind = options;
                       ofKind.kind = kind_;
                       const auto summary = ScreenshotPusher(*client, *http, plan.version,
                                                             target.app.appStoreId, std::move(ofKind))
                                                .push(prepared->plan.edits, observer);
                       report.uploaded = summary.uploaded;
                       report.deleted = summary.deleted;
                       report.setsCreated = summary.setsCreated;
                       if (isPreview(kind_)) report.posterFrames = summary.posterFrames;
                       for (const auto& file : summary.successfullyUploadedLocalURLs)
                           report.uploadedFiles.push_back(repairUTF8(file.native()));
                       report.notDone += std::ssize(summary.failures) + std::ssize(summary.warnings);
                       report.warnings.insert(report.warnings.end(), summary.warnings.begin(),
                                              summary.warnings.end());
                       report.failures.insert(report.failures.end(), summary.failures.begin(),
                                              summary.failures.end());
                       remember(*client, storeOf(target, plan.version), *prepared, report.warnings);
                       operation.status(fmt::format("Uploaded {} {}", report.uploaded, traitsOf(kind_).many));
                   });
    for (const ScreenshotPushItem& item : prepared->plan.inProcessing)
        report.warnings.push_back(
            fmt::format("{}: was there, but App Store Connect was still processing it when the push began; "
                        "pull to see the outcome.",
                        item.text()));
    report.somethingIsThere = arePartlyThere(report, plan.sets);
    return report;
}

// What was pushed is done and is told, whatever becomes of the catalogue.
void ScreenshotsController::remember(const ASCClientProtocol& client, const ScreenshotsStore& store,
                                     const PreparedScreenshots& prepared,
                                     std::vector<std::string>& warnings) const {
    const auto warn = [&](std::string_view problem) {
        warnings.push_back(fmt::format(
            "The push is done, but the catalogue could not be brought up to date: {} Pull the {}.", problem,
            traitsOf(kind_).many));
    };
    try {
        const auto locales = localesOf(prepared);
        store.remember(store.readRemote(client, locales), locales);
    } catch (const ASCError& error) {
        warn(error.description());
    } catch (const FileError& error) {
        warn(error.what());
    }
}

} // namespace quorvel
