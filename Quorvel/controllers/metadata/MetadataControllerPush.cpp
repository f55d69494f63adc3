#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/PulledCopies.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/metadata/PushRecorder.h"
#include "Quorvel/controllers/metadata/SecretExposure.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

// The context whose texts are pushed; the answer of App Store Connect decides on all others than live ones.
ContextID contextToPush(const AppContexts& contexts, const MetadataFolder& appFolder,
                        const std::optional<std::string>& given) {
    const ContextID context = contexts.known(given).value_or(ContextID{});
    const MetadataFolder folder = appFolder.contextFolder(context);
    if (!isFolder(folder))
        throw OperationRefused(
            Refusal::noContextSelected,
            fmt::format("{} has not been pulled", escapeControls(folder.rootURL.native())));
    if (context.stateClass == AppStoreVersionStateClass::live) {
        const auto saved = contexts.savedContext(context);
        refuseReadOnly(saved ? saved->appStoreState : "");
    }
    return context;
}

// `known` are those with a folder, or with texts of the folder "default" in place of one.
void requireLocales(const MetadataStore& store, const std::vector<std::string>& known,
                    const std::vector<std::string>& locales) {
    for (const std::string& locale : locales)
        if (locale != shownPageLocale && !std::ranges::binary_search(known, locale))
            throw MetadataError::unknownLocale(locale, store.folder().rootURL, known);
}

void takeComparison(PushPlan& plan, TextComparison texts) {
    plan.notices = texts.notices();
    if (texts.changes.empty() && texts.selection.leftOut.empty())
        plan.nothing = textOf(Refusal::noPendingChanges);
    else if (texts.selection.chosen.empty())
        plan.nothing = textOf(Refusal::nothingSelected);
    plan.changes = std::move(texts.selection.chosen);
    plan.leftOut = std::move(texts.selection.leftOut);
    plan.warnings = std::move(texts.selection.warnings);
}

} // namespace

PushPlan MetadataController::planPush(const PushFilter& filter, const std::optional<std::string>& context,
                                      DryRun dryRun, Requests requests) {
    PushPlan plan;
    gate_->run(OperationKind::push, [&](Operation& operation) {
        const ManagedApp app = access_.record();
        if (isBlank(app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
        const MetadataFolder found = access_.folder(app);
        // Where nothing was pulled no folder is made, not even for the lock.
        if (!holdsOlderLayout(found)) (void)contextToPush(access_.contexts(found), found, context);
        // The lock: half of a pull's texts would look like edits.
        const Target target = access_.open(operation, dryRun);
        const AppContexts contexts = access_.contexts(target.folder);
        const ContextID wanted = contextToPush(contexts, target.folder, context);
        const MetadataStore store(target.folder.contextFolder(wanted));
        PushFilter asked = filter;
        const TextRules rules = access_.textRules(app, target.folder);
        // Before anybody is asked, unless App Store Connect tells which locales there are.
        if (filter.overwriting == Overwriting::no && !filter.locales.empty())
            requireLocales(store, compareTexts(store, wanted, rules).grid.locales, filter.locales);
        operation.status(std::string(discoveringText));
        const auto client = access_.client();
        const auto versions = client->listAppStoreVersions(app.appStoreId);
        plan.app = referenceOf(app);
        plan.folder = target.folder.rootURL.string();
        plan.contexts = contextsOf(versions);
        plan.version = contexts.current(versions, wanted.text(), app.displayName);
        plan.context = plan.version.id();
        if (!plan.version.takesPushes()) refuseReadOnly(plan.version.appStoreState);
        const MetadataPusher pusher(*client, store, app.displayName);
        asked.release = releaseOf(wanted, plan.contexts);
        plan.overwrites =
            filter.overwriting == Overwriting::yes && !hasCopiesOf(store, plan.version.versionId);
        if (plan.overwrites) {
            operation.status("Reading what App Store Connect holds…");
            const ReadTexts remote = pusher.remoteTexts(app.appStoreId, plan.version);
            TextComparison texts = compareWithRemote(store, wanted, rules, asked, remote);
            requireLocales(store, texts.grid.locales, filter.locales);
            // Nothing is sent, so nobody is asked: the copies are all that is missing for the next push.
            if (texts.selection.chosen.empty() && dryRun == DryRun::no)
                takeCopies(target, plan, store, remote, texts);
            takeComparison(plan, std::move(texts));
        } else {
            pusher.requireChangeable(plan.version);
            TextComparison texts = compareTexts(store, wanted, rules, asked);
            requireLocales(store, texts.grid.locales, filter.locales);
            takeComparison(plan, std::move(texts));
        }
        if (auto exposed = exposedSecret(store.folder())) plan.notices.push_back(std::move(exposed->text));
        if (requests == Requests::include && !plan.changes.empty()) {
            operation.status("Resolving ASC IDs…");
            auto planned = pusher.plan(app.appStoreId, plan.version, plan.changes,
                                       plan.overwrites ? MetadataPusher::Base::remoteTexts
                                                       : MetadataPusher::Base::pulledCopies);
            plan.requests = std::move(planned.requests);
            plan.conflicts = std::move(planned.failures);
        }
        operation.status({});
    });
    return plan;
}

PushReport MetadataController::push(const PushPlan& plan) {
    PushReport result{plan.app,      plan.context, plan.version, {}, plan.leftOut,
                      plan.warnings, {},           makeUUID(),   {}};
    gate_->run(OperationKind::push, [&](Operation& operation) {
        if (plan.changes.empty()) throw OperationRefused(Refusal::nothingSelected);
        const Target target = openForTransfer(operation);
        const MetadataStore store(target.folder.contextFolder(plan.version.contextID()));
        store.restrictSecrets();
        if (!plan.overwrites) requireCurrent(plan, target, store);
        operation.status("Resolving ASC IDs…");
        const auto client = access_.client();
        const auto tellProgress = [&](std::size_t done, std::size_t total) {
            if (done == 0) operation.status("Pushing…");
            operation.progress(done, total);
        };
        PushRecorder recorder(access_.history(), access_.clock(), plan, result.run);
        PushRecording recording = recorder.recording();
        if (plan.overwrites)
            recording.resolved = [&](const ReadTexts& remote) {
                takeCopies(target, plan, store, remote, requireCurrent(plan, target, store, &remote));
            };
        result.outcomes =
            MetadataPusher(*client, store, target.app.displayName)
                .push(target.app.appStoreId, plan.version, plan.changes, tellProgress, recording);
        result.historyProblem = recorder.problem();
        result.report = pushReport(result.outcomes);
        operation.status(result.report);
        published_.update([&](MetadataState& state) { state.lastPush = result.outcomes; });
        if (std::ranges::any_of(result.outcomes, &PushOutcome::success)) saveLostContexts(target, plan);
        showResult(target);
    });
    return result;
}

// A plan may come back later, and from elsewhere: only texts that still are as they were shown are sent, and
// only over those of App Store Connect's that were shown, where they are `remote`.
TextComparison MetadataController::requireCurrent(const PushPlan& plan, const Target& target,
                                                  const MetadataStore& store, const ReadTexts* remote) const {
    const TextRules rules = access_.textRules(target.app, target.folder);
    const ContextID context = plan.version.contextID();
    TextComparison now =
        remote ? compareWithRemote(store, context, rules, {}, *remote) : compareTexts(store, context, rules);
    const auto isCurrent = [&](const PendingChange& change) {
        return std::ranges::find(now.changes, change) != now.changes.end();
    };
    if (plan.app.appStoreId != target.app.appStoreId || !std::ranges::all_of(plan.changes, isCurrent))
        throw OperationRefused(Refusal::stalePlan);
    return now;
}

// What App Store Connect holds is known from here on, as after a pull that leaves all local texts in place.
void MetadataController::takeCopies(const Target& target, const PushPlan& plan, const MetadataStore& store,
                                    const ReadTexts& remote, const TextComparison& compared) const {
    writePulledCopies(store, remote, compared, plan.version.versionId, access_.clock()());
    saveLostContexts(target, plan);
}

// What a lost or damaged file said is known again once App Store Connect was asked.
void MetadataController::saveLostContexts(const Target& target, const PushPlan& plan) const {
    if (plan.contexts.empty() || access_.contexts(target.folder).saved()) return;
    try {
        access_.saveContexts(target.app, target.folder, plan.contexts, plan.context);
    } catch (const FileError& error) {
        logger_.warning(error.what());
    }
}

} // namespace quorvel
