#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/asc/ASCError.h"
#include "Core/asc/services/CreateOrAdopt.h"
#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/LocalizationAttributes.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Core/metadata/RemovedLocales.h"
#include "Core/metadata/merge/TextConflicts.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/metadata/PushRecorder.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace quorvel {

namespace {

bool holdsTexts(const FieldTexts& texts, FieldType field) {
    return !isBlank(texts[field].value_or(""));
}

std::vector<FieldType> fieldsWithText(const FieldTexts& texts) {
    std::vector<FieldType> fields;
    for (const FieldType field : localeFields)
        if (holdsTexts(texts, field)) fields.push_back(field);
    return fields;
}

std::string primaryLocaleOf(const ASCClientProtocol& client, const ManagedApp& app) {
    for (const auto& one : client.listApps(app.bundleId))
        if (one.id == app.appStoreId) return one.attributes.primaryLocale.value_or("");
    return {};
}

// What App Store Connect holds of the locales of one context.
struct StoreLocales {
    PlatformContext version;
    std::vector<PlatformContext> contexts;
    std::string primaryLocale;
    RemoteLocalizations versionLocalizations;
    std::map<std::string, std::vector<std::string>, std::less<>> screenshotSets; // by locale
    RemoteLocalizations appInfoLocalizations;
    std::map<std::string, std::vector<std::string>, std::less<>> sharedWith; // by locale
};

// Open versions of other platforms use the same app info.
void readSharing(const ASCClientProtocol& client, StoreLocales& store) {
    for (const PlatformContext& other : store.contexts) {
        if (other.platform == store.version.platform ||
            other.stateClass != AppStoreVersionStateClass::editable)
            continue;
        for (const auto& [locale, one] :
             listLocalizations(client, FieldHome::versionLocalization, other.versionId))
            store.sharedWith[locale].push_back(other.id());
    }
}

void readLocales(const ASCClientProtocol& client, const ManagedApp& app, StoreLocales& store) {
    store.primaryLocale = primaryLocaleOf(client, app);
    for (const auto& [localization, displayTypes] :
         client.listLocalizationSummaries(store.version.versionId)) {
        const std::string& locale = localization.attributes.locale;
        store.versionLocalizations[locale] = {localization.id, textsIn(localization.attributes)};
        store.screenshotSets[locale] = displayTypes;
    }
    if (const auto info = chooseAppInfo(client.listAppInfos(app.appStoreId), store.version.stateClass))
        store.appInfoLocalizations = listLocalizations(client, FieldHome::appInfoLocalization, info->id);
    readSharing(client, store);
}

void takeStore(PlannedLocaleRemoval& removal, const StoreLocales& store) {
    const auto take = [&](const RemoteLocalizations& localizations) {
        const auto found = localizations.find(removal.locale);
        if (found == localizations.end()) return false;
        const auto fields = fieldsWithText(found->second.texts);
        removal.storeTexts.insert(removal.storeTexts.end(), fields.begin(), fields.end());
        return true;
    };
    removal.hasVersionLocalization = take(store.versionLocalizations);
    removal.hasAppInfoLocalization = take(store.appInfoLocalizations);
    std::ranges::sort(removal.storeTexts);
    if (const auto sets = store.screenshotSets.find(removal.locale); sets != store.screenshotSets.end())
        removal.screenshotSets = sets->second;
    if (const auto others = store.sharedWith.find(removal.locale);
        removal.hasAppInfoLocalization && others != store.sharedWith.end())
        removal.sharedWith = others->second;
    if (removal.locale == store.primaryLocale) removal.refusal = RemovalRefusal::primaryLocale;
}

// Removes one locale on App Store Connect, localization by localization.
class StoreRemover {
  public:
    StoreRemover(const ASCClientProtocol& client, const MetadataStore& store, const StoreLocales& onStore,
                 PushRecorder& recorder)
        : client_(client), store_(store), onStore_(onStore), recording_(recorder.recording()) {}

    // Throws `ASCError`, `CancellationError`. The version's localization goes first: what is left after a
    // failure is a locale without texts of the version, and not one without a name.
    void remove(const PlannedLocaleRemoval& removal) const {
        removeOne(removal.locale, FieldHome::versionLocalization, onStore_.versionLocalizations,
                  [&](const std::string& id) { client_.deleteVersionLocalization(id); });
        if (removal.deletesAppInfo())
            removeOne(removal.locale, FieldHome::appInfoLocalization, onStore_.appInfoLocalizations,
                      [&](const std::string& id) { client_.deleteAppInfoLocalization(id); });
    }

  private:
    template <typename Delete>
    void removeOne(const std::string& locale, FieldHome home, const RemoteLocalizations& localizations,
                   Delete&& deleteLocalization) const {
        if (const auto found = localizations.find(locale); found != localizations.end()) {
            checkCancellation();
            std::vector<PushOutcome> entries;
            for (const FieldType field : fieldsWithText(found->second.texts))
                if (homeOf(field) == home)
                    entries.push_back({.change = {.locale = locale,
                                                  .field = field,
                                                  .remote = *found->second.texts[field]}});
            if (!entries.empty()) recording_.begin(entries);
            try {
                deleteLocalization(found->second.id);
            } catch (const ASCError& error) {
                if (error.kind() != ASCError::Kind::notFound) { // else somebody, or we before, deleted it
                    for (PushOutcome& entry : entries)
                        entry.errorMessage = mayHaveBeenDone(error)
                                                 ? fmt::format("{} {}", error.description(), mayHaveTakenText)
                                                 : error.description();
                    if (!entries.empty()) recording_.end(entries);
                    throw;
                }
            }
            for (PushOutcome& entry : entries)
                entry.success = true;
            if (!entries.empty()) recording_.end(entries);
        }
        for (const FieldType field : localeFields)
            if (homeOf(field) == home) (void)store_.remove(locale, field, TextSide::pulled);
    }

    const ASCClientProtocol& client_;
    const MetadataStore& store_;
    const StoreLocales& onStore_;
    PushRecording recording_;
};

bool isOnDisk(const MetadataStore& store, const std::string& locale) {
    return std::ranges::binary_search(store.localesOnDisk(), locale);
}

// Why the files alone cannot go, as far as is known without asking.
std::optional<RemovalRefusal> localRefusal(const std::string& locale, const ManagedApp& app,
                                           const MetadataFolder& folder, const ReadContext& read,
                                           const TextRules& rules) {
    if (!app.id.empty() && locale == sourceLocaleOf(app) && read.local.texts.contains(locale))
        return RemovalRefusal::sourceLocale;
    const auto copies = read.pulled.texts.find(locale);
    if (copies == read.pulled.texts.end() || copies->second.isAbsent() ||
        rules.disabledLocales.contains(locale))
        return std::nullopt;
    ReadTexts without;
    return FallbackTexts(folder).fill(without, {locale}).empty()
               ? std::nullopt
               : std::optional(RemovalRefusal::takesFallbacks);
}

// The folder goes as it is, with whatever else is in it.
std::string moveAway(const MetadataStore& store, const std::string& locale,
                     const std::filesystem::path& kept) {
    const std::filesystem::path target = kept / locale;
    createFolders(target.parent_path());
    std::error_code failure;
    std::filesystem::rename(store.folder().localeFolder(locale), target, failure);
    if (failure)
        throw FileError(store.folder().localeFolder(locale),
                        fmt::format("cannot be moved to {}: {}", target.native(), failure.message()),
                        failure.value());
    return target.native();
}

} // namespace

std::string_view textOf(RemovalRefusal refusal) {
    switch (refusal) {
    case RemovalRefusal::primaryLocale:
        return "is the app's primary locale, which App Store Connect keeps. "
               "Choose another primary locale there first.";
    case RemovalRefusal::sourceLocale:
        return "is the app's source locale, which is its primary one unless another was set. Set another "
               "source locale first.";
    case RemovalRefusal::takesFallbacks:
        return "would take the texts of default/, and the next push would send them. Disable the locale first: "
               "then it is left out of pulls and pushes.";
    case RemovalRefusal::nowhere:
        return "is neither here nor on App Store Connect.";
    }
    return {};
}

struct MetadataController::RemovalBasis {
    LocaleRemovalPlan plan;
    StoreLocales onStore;
};

MetadataController::RemovalBasis MetadataController::removalOf(const std::vector<std::string>& locales,
                                                               RemovalPlace place,
                                                               const std::optional<std::string>& context,
                                                               const Target& target) const {
    LocaleRemovalPlan plan{.app = referenceOf(target.app),
                           .folder = target.folder.rootURL.string(),
                           .context = {},
                           .version = {},
                           .place = place,
                           .locales = {}};
    const AppContexts contexts = access_.contexts(target.folder);
    ContextID wanted = contexts.known(context).value_or(ContextID{});
    StoreLocales onStore;
    if (place != RemovalPlace::local) {
        if (isBlank(target.app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
        const auto client = access_.client();
        const auto versions = client->listAppStoreVersions(target.app.appStoreId);
        onStore.version = contexts.current(versions, wanted.text(), target.app.displayName);
        if (!onStore.version.takesPushes()) refuseReadOnly(onStore.version.appStoreState);
        onStore.contexts = contextsOf(versions);
        readLocales(*client, target.app, onStore);
        wanted = onStore.version.contextID();
        plan.version = onStore.version;
    }
    plan.context = wanted.text();
    const MetadataStore store(target.folder.contextFolder(wanted));
    const TextRules rules = access_.textRules(target.app, target.folder);
    const ReadContext read = readContext(store, rules);
    const TextComparison compared = compareTexts(read, store, wanted, rules);
    for (const std::string& locale : locales) {
        if (std::ranges::find(plan.locales, locale, &PlannedLocaleRemoval::locale) != plan.locales.end())
            continue;
        PlannedLocaleRemoval removal{.locale = locale};
        const auto found = read.local.texts.find(locale);
        // A locale that only texts of all locales stand for has no folder.
        const bool hasFolder =
            found != read.local.texts.end() && !std::ranges::binary_search(read.withoutFolder, locale);
        if (place != RemovalPlace::appStoreConnect && hasFolder) {
            removal.hasFolder = true;
            removal.localTexts = fieldsWithText(found->second);
            for (const PendingChange& change : compared.changes)
                if (change.locale == locale && !isBlank(change.local)) removal.unsent.push_back(change.field);
        }
        if (place != RemovalPlace::local)
            takeStore(removal, onStore);
        else
            removal.refusal = localRefusal(locale, target.app, store.folder(), read, rules);
        if (!removal.refusal && !removal.hasFolder && !removal.hasVersionLocalization &&
            !removal.deletesAppInfo())
            removal.refusal = RemovalRefusal::nowhere;
        plan.locales.push_back(std::move(removal));
    }
    return {std::move(plan), std::move(onStore)};
}

LocaleRemovalPlan MetadataController::planRemoval(const std::vector<std::string>& locales, RemovalPlace place,
                                                  const std::optional<std::string>& context, DryRun dryRun) {
    LocaleRemovalPlan plan;
    gate_->run(OperationKind::removeLocales, [&](Operation& operation) {
        for (const std::string& locale : locales)
            if (!isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
        const Target target = access_.open(operation, dryRun);
        if (place == RemovalPlace::local) (void)pulledStore(target.folder, context);
        if (place != RemovalPlace::local) operation.status(std::string(discoveringText));
        plan = removalOf(locales, place, context, target).plan;
        operation.status({});
    });
    return plan;
}

LocaleRemovalReport MetadataController::removeLocales(const LocaleRemovalPlan& plan) {
    LocaleRemovalReport report{.app = plan.app, .context = plan.context, .outcomes = {}, .run = {}};
    gate_->run(OperationKind::removeLocales, [&](Operation& operation) {
        const Target target = access_.open(operation);
        std::vector<std::string> locales;
        for (const PlannedLocaleRemoval& removal : plan.locales)
            locales.push_back(removal.locale);
        operation.status(std::string(discoveringText));
        const auto [now, onStore] = removalOf(locales, plan.place, plan.context, target);
        if (now.locales != plan.locales || now.app.appStoreId != plan.app.appStoreId)
            throw OperationRefused(Refusal::stalePlan);
        const auto context = parseContextID(now.context).value_or(ContextID{});
        const MetadataStore store(target.folder.contextFolder(context));

        const bool onAppStoreConnect = plan.place != RemovalPlace::local;
        const auto client = onAppStoreConnect ? access_.client() : nullptr;
        PushPlan recorded;
        recorded.app = referenceOf(target.app);
        recorded.version = now.version.value_or(PlatformContext());
        const std::string run = makeUUID();
        PushRecorder recorder(access_.history(), access_.clock(), recorded, run);
        const auto kept = newKeptFolder(store.folder(), access_.clock()());
        std::size_t done = 0;
        for (const PlannedLocaleRemoval& removal : now.locales) {
            operation.status(fmt::format("Removing {}…", removal.locale));
            operation.progress(done++, now.locales.size());
            LocaleRemovalOutcome outcome{
                .locale = removal.locale, .movedTo = {}, .refusal = removal.refusal, .error = {}};
            try {
                if (!removal.refusal && onAppStoreConnect) {
                    StoreRemover(*client, store, onStore, recorder).remove(removal);
                    outcome.removedFromAppStoreConnect =
                        removal.hasVersionLocalization || removal.deletesAppInfo();
                    if (outcome.removedFromAppStoreConnect) report.run = run;
                }
                // What other platforms keep of it is not this context's any more.
                const bool leavesContext =
                    !removal.refusal && onAppStoreConnect &&
                    (plan.place == RemovalPlace::everywhere || !isOnDisk(store, removal.locale));
                if (leavesContext && !removal.sharedWith.empty())
                    RemovedLocales(store.folder()).add(removal.locale);
                if (!removal.refusal && plan.place != RemovalPlace::appStoreConnect)
                    for (const FieldType field : localeFields)
                        TextConflicts(store.folder()).remove({removal.locale, field}); // each is backed up
                if (!removal.refusal && removal.hasFolder)
                    outcome.movedTo = moveAway(store, removal.locale, kept);
                if (leavesContext)
                    for (const FieldType field : localeFields)
                        (void)store.remove(removal.locale, field, TextSide::pulled);
                if (!removal.refusal && plan.place == RemovalPlace::everywhere && !target.app.id.empty())
                    (void)access_.records().removeLocale(target.app.id, removal.locale);
            } catch (const CancellationError&) {
                outcome.error = "Not removed: cancelled.";
                outcome.failure = ASCError::Kind::cancelled;
            } catch (const ASCError& error) {
                outcome.error = error.description();
                outcome.failure = error.kind();
                report.run = run; // a first localization may be gone
            } catch (const FileError& error) {
                outcome.error = error.what();
            } catch (const MetadataError& error) {
                outcome.error = error.what();
            }
            report.outcomes.push_back(std::move(outcome));
        }
        report.historyProblem = recorder.problem();
        operation.status(
            fmt::format("Removed {} of {} locales",
                        std::ranges::count_if(report.outcomes,
                                              [](const auto& one) { return !one.error && !one.refusal; }),
                        report.outcomes.size()));
        showResult(target);
    });
    return report;
}

} // namespace quorvel
