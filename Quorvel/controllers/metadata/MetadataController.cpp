#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

MetadataController::MetadataController(AppAccess access, std::shared_ptr<OperationGate> gate)
    : access_(std::move(access)), gate_(std::move(gate)) {}

AppReference referenceOf(const ManagedApp& app) {
    return {app.id.empty() ? std::nullopt : std::optional(app.id), app.appStoreId, app.bundleId,
            app.displayName};
}

std::string sourceLocaleOf(const ManagedApp& app) {
    return app.sourceLocale.empty() ? "en-US" : app.sourceLocale;
}

void refuseReadOnly(std::string_view appStoreState) {
    throw OperationRefused(Refusal::readOnlyContext,
                           appStoreState.empty() ? "" : MetadataError::readOnlyContext(appStoreState).what());
}

MetadataController::Target MetadataController::openForTransfer(Operation& operation, DryRun dryRun) const {
    if (isBlank(access_.record().appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    return access_.open(operation, dryRun);
}

MetadataFolder MetadataController::folder() const {
    return access_.folderToRead(access_.record(), *gate_);
}

void MetadataController::show(const ManagedApp& app, const MetadataFolder& folder) {
    // Read inside of the update: a slow reading must not replace what a pull showed meanwhile.
    published_.update([&](MetadataState& state) {
        const AppContexts contexts = access_.contexts(folder);
        const auto selected = contexts.known(std::nullopt);
        state.contexts = contexts.saved() ? contexts.saved()->contexts : std::vector<PlatformContext>();
        state.selectedContextId = selected ? std::optional(selected->text()) : std::nullopt;
        state.texts = {};
        state.missingLocales.clear();
        if (!selected || !isFolder(folder.contextFolder(*selected))) return;
        state.texts =
            compareTexts(MetadataStore(folder.contextFolder(*selected)), *selected,
                         access_.textRules(app, folder), {.release = contexts.releaseOf(*selected)});
        for (const ManagedLocale& locale : access_.locales(app))
            if (locale.enabled && !std::ranges::binary_search(state.texts.grid.locales, locale.code))
                state.missingLocales.push_back(locale.code);
    });
    if (const auto texts = state(); texts->texts.lacksCopies())
        for (const std::string& notice : texts->texts.notices())
            logger_.warningOnce(notice);
}

void MetadataController::showResult(const Target& target) {
    try {
        show(target.app, target.folder);
    } catch (const std::exception& error) {
        // What was done is done, and its report must reach the caller.
        logger_.warning(fmt::format("The state was not read anew: {}", error.what()));
    }
}

void MetadataController::refresh() {
    const ManagedApp app = access_.record();
    show(app, access_.folderToRead(app, *gate_));
}

MetadataStore MetadataController::pulledStore(const MetadataFolder& folder,
                                              const std::optional<std::string>& context) const {
    const ContextID wanted = access_.contexts(folder).known(context).value_or(ContextID{});
    const MetadataFolder contextFolder = folder.contextFolder(wanted);
    if (const auto& origin = access_.folderOrigin(); origin && !isFolder(folder))
        throw OperationRefused(Refusal::noContextSelected,
                               fmt::format("{}, which {} names, is no folder. Correct that line, or pull to "
                                           "have the folder made",
                                           escapeControls(folder.rootURL.native()), escapeControls(*origin)));
    if (!isFolder(contextFolder))
        throw OperationRefused(
            Refusal::noContextSelected,
            fmt::format("{} has not been pulled", escapeControls(contextFolder.rootURL.native())));
    return MetadataStore(contextFolder);
}

MetadataController::Editable MetadataController::editable(const std::optional<std::string>& context,
                                                          DryRun dryRun) const {
    const MetadataFolder folder = access_.folderToRead(access_.record(), *gate_, dryRun);
    const MetadataStore store = pulledStore(folder, context);
    const AppContexts contexts = access_.contexts(folder);
    const ContextID wanted = contexts.known(context).value_or(ContextID{});
    if (wanted.stateClass == AppStoreVersionStateClass::live) {
        const auto saved = contexts.savedContext(wanted);
        refuseReadOnly(saved ? saved->appStoreState : "");
    }
    return {wanted, store.folder()};
}

MetadataController::Comparison MetadataController::compare(const std::optional<std::string>& context,
                                                           const PushFilter& filter, DryRun dryRun) const {
    const ManagedApp app = access_.record();
    const MetadataFolder folder = access_.folderToRead(app, *gate_, dryRun);
    const MetadataStore store = pulledStore(folder, context);
    const AppContexts contexts = access_.contexts(folder);
    const ContextID wanted = contexts.known(context).value_or(ContextID{});
    PushFilter asked = filter;
    asked.release = contexts.releaseOf(wanted);
    Comparison comparison{wanted, store.folder(), contexts.savedContext(wanted), std::nullopt,
                          compareTexts(store, wanted, access_.textRules(app, folder), asked)};
    comparison.pulledAt = comparison.texts.pulledAt;
    if (!comparison.pulledAt && store.pulledVersionID() && contexts.saved())
        comparison.pulledAt = contexts.saved()->lastUpdated; // a tree of before each context noted it
    return comparison;
}

} // namespace quorvel
