#include "Quorvel/controllers/metadata/MetadataController.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataTexts.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>

namespace quorvel {

namespace {

// Of a tree with a folder per platform.
std::vector<ContextID> contextsIn(const std::filesystem::path& tree, const FoundLayout& layout,
                                  const std::optional<std::string>& given) {
    std::vector<ContextID> contexts;
    std::vector<std::string> names;
    for (const ASCPlatform platform : layout.platforms) {
        contexts.push_back({platform, AppStoreVersionStateClass::editable});
        names.push_back(contexts.back().text());
    }
    if (!given) return contexts;
    const ContextID wanted = requireContextID(*given);
    if (std::ranges::find(layout.platforms, wanted.platform) == layout.platforms.end())
        throw MetadataError(MetadataError::Kind::unknownContext,
                            fmt::format("{} has no folder for {}. It has the texts for {}.",
                                        escapeControls(tree.native()), platformLabel(wanted.platform),
                                        fmt::join(names, ", ")),
                            {tree, {}, {}});
    return {wanted};
}

} // namespace

ContextID MetadataController::contextToFill(const Target& target, const std::optional<std::string>& given,
                                            DryRun dryRun) const {
    const AppContexts folder = access_.contexts(target.folder);
    const auto wanted = folder.wanted(given);
    const auto known = folder.known(given);
    if (known && (!wanted || folder.savedContext(*known))) return *known;
    if (isBlank(target.app.appStoreId)) throw OperationRefused(Refusal::noAppStoreID);
    const auto contexts = contextsOf(access_.client()->listAppStoreVersions(target.app.appStoreId));
    if (contexts.empty()) throw OperationRefused(Refusal::noVersions);
    const PlatformContext chosen = AppContexts::choose(contexts, wanted, std::nullopt);
    if (dryRun == DryRun::no) {
        const auto selected = folder.saved() ? folder.saved()->selectedContextId : std::nullopt;
        access_.saveContexts(target.app, target.folder, contexts, selected ? selected : chosen.id());
    }
    return chosen.contextID();
}

MetadataController::AddedLocale MetadataController::addLocale(std::string_view locale,
                                                              const std::optional<std::string>& context,
                                                              DryRun dryRun) {
    AddedLocale added;
    gate_->run(OperationKind::addLocale, [&](Operation& operation) {
        if (!isAppStoreLocale(locale)) throw MetadataError::invalidLocale(locale);
        const Target target = access_.open(operation, dryRun);
        const ContextID wanted = contextToFill(target, context, dryRun);
        if (wanted.stateClass == AppStoreVersionStateClass::live) {
            const auto saved = access_.contexts(target.folder).savedContext(wanted);
            refuseReadOnly(saved ? saved->appStoreState : "");
        }
        const MetadataStore store(target.folder.contextFolder(wanted));
        const auto folder = store.folder().localeFolder(locale);
        added = {std::string(locale), folder.native(), isFolder({folder})};
        if (dryRun == DryRun::yes) return;
        try {
            store.createLocaleLocally(locale);
        } catch (const FileError& error) {
            logger_.error(fmt::format("Add locale failed: {}", error.what()));
            throw MetadataError(MetadataError::Kind::failed, localeFolderFailedText(error.what()),
                                {folder, std::string(locale), {}});
        }
        access_.records().addMissingLocales(target.app.id, std::vector{std::string(locale)});
        operation.status(fmt::format("Added {}", locale));
        showResult(target);
    });
    return added;
}

std::vector<MetadataController::Import>
MetadataController::importTexts(const std::filesystem::path& tree, const std::optional<std::string>& context,
                                DryRun dryRun) {
    std::vector<Import> imports;
    gate_->run(OperationKind::importTexts, [&](Operation& operation) {
        const FoundLayout layout = findLayout(tree);
        const Target target = access_.open(operation, dryRun);
        std::vector<std::pair<ContextID, MetadataFolder>> sources;
        if (layout.layout == TreeLayout::locales)
            sources.emplace_back(contextToFill(target, context, dryRun), treeToImport(tree));
        else
            for (const ContextID& one : contextsIn(tree, layout, context))
                sources.emplace_back(contextToFill(target, one.text(), dryRun),
                                     MetadataFolder{tree, TreeInPlace{layout.layout}}.contextFolder(
                                         {one.platform, AppStoreVersionStateClass::editable}));
        for (const auto& [into, source] : sources) {
            const MetadataFolder folder = target.folder.contextFolder(into);
            imports.push_back(
                {into, folder, importTree(source, MetadataStore(folder), access_.clock(), dryRun)});
        }
        if (dryRun == DryRun::no) showResult(target);
    });
    return imports;
}

TidyReport MetadataController::tidy(const std::optional<std::string>& context, DryRun dryRun) {
    TidyReport tidied;
    gate_->run(OperationKind::tidy, [&](Operation& operation) {
        const MetadataFolder found = access_.folder(access_.record());
        // Where nothing was pulled no folder is made, not even for the lock.
        if (!holdsOlderLayout(found)) (void)pulledStore(found, context);
        const Target target = access_.open(operation, dryRun);
        tidied = tidyTree(pulledStore(target.folder, context), dryRun);
        if (dryRun == DryRun::no) showResult(target);
    });
    return tidied;
}

void MetadataController::change(
    OperationKind kind, const std::optional<std::string>& context,
    const std::function<void(OperationGate::Operation&, const MetadataStore&)>& work) {
    gate_->run(kind, [&](Operation& operation) {
        const Target target = access_.open(operation);
        work(operation, pulledStore(target.folder, context));
        showResult(target);
    });
}

MetadataController::OpenConflicts
MetadataController::conflicts(const std::optional<std::string>& context) const {
    const MetadataFolder folder = access_.folderToRead(access_.record(), *gate_);
    const MetadataStore store = pulledStore(folder, context);
    return {access_.contexts(folder).known(context).value_or(ContextID{}), store.folder(),
            finalLineBreakOf(folder), TextConflicts(store.folder()).all()};
}

void MetadataController::settle(
    const std::optional<std::string>& context,
    const std::function<void(const ConflictSettling&, const TextConflicts&)>& work) {
    gate_->run(OperationKind::resolve, [&](Operation& operation) {
        const Target target = access_.open(operation);
        const MetadataStore store = pulledStore(target.folder, context);
        if (store.hasInterruptedPull()) throw MetadataError::interruptedPull(store.folder().rootURL);
        work(ConflictSettling(store, finalLineBreakOf(target.folder), access_.clock()()),
             TextConflicts(store.folder()));
        showResult(target);
    });
}

RevertReport MetadataController::revert(std::string_view run, DryRun dryRun) {
    RevertReport report;
    gate_->run(OperationKind::revert, [&](Operation& operation) {
        const ManagedApp app = access_.record();
        const auto entries = access_.history().entriesOfRun(app.id, run);
        if (entries.empty())
            throw MetadataError(
                MetadataError::Kind::unknownRun,
                fmt::format("There is no push \"{}\" in this app's history.", escapeControls(run)));
        const PlatformContext ofRun = contextOfRun(entries);
        const MetadataFolder found = access_.folder(app);
        const MetadataStore store(found.contextFolder(ofRun.contextID()));
        const auto requireFolder = [&] {
            if (!isFolder(store.folder())) throw MetadataError::notAFolder(store.folder().rootURL);
        };
        if (!holdsOlderLayout(found)) requireFolder();
        const Target target = access_.open(operation, dryRun);
        requireFolder();
        report = revertEntries(entries, store, access_.textRules(app, found), access_.clock()(), dryRun);
        const auto now = access_.contexts(target.folder).savedContext(ofRun.contextID());
        report.version = now.value_or(ofRun);
        report.context = report.version.id();
        if (now && now->versionString != ofRun.versionString)
            report.warnings.insert(report.warnings.begin(),
                                   fmt::format("The push was of version {}; {} is now {}.",
                                               ofRun.versionString, ofRun.id(), now->versionString));
        if (dryRun == DryRun::yes) return;
        std::vector<std::string> locales; // that were removed are the app's again
        for (const FieldKey& key : report.reverted)
            locales.push_back(key.locale);
        access_.records().addMissingLocales(app.id, locales);
        operation.status(fmt::format("Reverted {} fields", report.reverted.size()));
        showResult(target);
    });
    return report;
}

} // namespace quorvel
