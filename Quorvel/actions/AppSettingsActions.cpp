#include "Quorvel/actions/AppSettingsActions.h"

#include "Core/metadata/ContextsStore.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/text/Text.h"
#include "Quorvel/actions/Target.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <set>

namespace quorvel {

namespace {

// A record is shown also where its folder is lost or its settings are damaged.
std::optional<FinalLineBreak> finalLineBreakIn(const std::optional<MetadataFolder>& folder) {
    if (!folder) return std::nullopt;
    try {
        return finalLineBreakOf(*folder);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

ShowApp::Result show(Application& application, const ManagedApp& app) {
    const AppRecords apps = application.apps();
    const AppOverview overview = overviewsOf(application, {app}, PendingChanges::leave).front();
    const auto folder = application.folderOf(app);
    return {.app = app,
            .workspaceName = overview.workspaceName,
            .folder = overview.folder,
            .finalLineBreak = finalLineBreakIn(folder),
            .locales = apps.locales(app.id),
            .rules = apps.rules(app.id),
            .tree = folder ? folder->inPlace : std::nullopt,
            .gitIgnore = folder ? gitIgnoreAdvice(*folder) : std::nullopt};
}

// The platform whose texts a tree without platforms' folders holds.
ASCPlatform platformOfTree(Application& application, const ManagedApp& app) {
    std::vector<PlatformContext> contexts;
    if (const auto folder = application.folderOf(app))
        if (const auto saved = ContextsStore(*folder, application.clock()).load()) contexts = saved->contexts;
    if (contexts.empty() && !isBlank(app.appStoreId))
        contexts = contextsOf(application.client(ownerOf(app))->listAppStoreVersions(app.appStoreId));
    std::set<ASCPlatform> all;
    std::set<ASCPlatform> editable;
    for (const PlatformContext& context : contexts) {
        all.insert(context.platform);
        if (context.stateClass == AppStoreVersionStateClass::editable) editable.insert(context.platform);
    }
    const auto& candidates = editable.empty() ? all : editable;
    if (candidates.size() == 1) return *candidates.begin();
    std::vector<std::string_view> names;
    for (const ASCPlatform platform : candidates)
        names.push_back(platformFolderName(platform));
    throw ApplicationError(FailureKind::badRequest,
                           names.empty()
                               ? "the app has no version that tells the platform of the tree"
                               : fmt::format("the app has versions for {}, and the tree's locales are "
                                             "those of one",
                                             fmt::join(names, " and ")),
                           "Name the platform of the tree.");
}

MetadataFolder treeOf(Application& application, const ManagedApp& app, const SetApp::Request& request) {
    auto folder = application.absolutePath(*request.tree);
    if (!folder.has_filename()) folder = folder.parent_path(); // "tree/"
    const FoundLayout found = findLayout(folder);
    TreeInPlace inPlace{found.layout};
    if (found.layout == TreeLayout::locales)
        inPlace.platform =
            request.platform ? requirePlatform(*request.platform) : platformOfTree(application, app);
    else if (request.platform)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} has a folder per platform", escapeControls(folder.native())),
                               "Leave the platform out, or name the folder of that platform as the tree.");
    return {folder, inPlace};
}

// What the user named; nothing where the app keeps its folder.
std::optional<MetadataFolder> chosenFolder(Application& application, const SetApp::Request& request) {
    const bool namesTree = request.tree && !request.tree->empty();
    if (request.platform && !namesTree)
        throw ApplicationError(FailureKind::badRequest, "a platform is that of a tree",
                               "Name the tree, too.");
    if (request.folder && request.tree)
        throw ApplicationError(FailureKind::badRequest, "a folder and a tree were named",
                               "An app's texts lie in one of them. Leave one out.");
    if (request.folder) return MetadataFolder{application.absolutePath(*request.folder)};
    if (!namesTree) return std::nullopt;
    const ManagedApp app = AppDirectory(application, {{}, request.workspace}).require(request.app);
    return treeOf(application, app, request);
}

// The note would hold for the folder although no app is worked on in it.
void leaveTree(const std::optional<MetadataFolder>& before, const std::optional<MetadataFolder>& now) {
    if (before && before->inPlace && (!now || !now->inPlace || now->rootURL != before->rootURL))
        removeTreeNote(before->rootURL);
}

void clearSetting(ManagedApp& app, AppSetting setting) {
    switch (setting) {
    case AppSetting::brandVoice:
        return app.brandVoice.clear();
    case AppSetting::protectedTerms:
        return app.protectedTerms.clear();
    case AppSetting::folder:
        return app.metadataFolderBookmark.reset();
    case AppSetting::glossary:
        return app.glossary.clear();
    }
}

void requireGlossary(const decltype(SetApp::Request::glossary)& glossary) {
    for (const auto& [term, renderings] : glossary) {
        if (isBlank(term))
            throw ApplicationError(FailureKind::badRequest, "a term of the glossary is empty",
                                   "Name the term that the rendering is for.");
        for (const auto& [locale, rendering] : renderings)
            requireAppStoreLocale(locale);
    }
}

void addToGlossary(ManagedApp& app, const decltype(SetApp::Request::glossary)& glossary) {
    for (const auto& [term, renderings] : glossary) {
        auto& own = app.glossary[std::string(trim(term))];
        for (const auto& [locale, rendering] : renderings)
            if (isBlank(rendering))
                own.erase(locale);
            else
                own[locale] = trim(rendering);
        if (own.empty()) app.glossary.erase(std::string(trim(term)));
    }
}

template <typename Request>
ManagedApp requireApp(Application& application, const Request& request) {
    return AppDirectory(application, targetOf(request).choice).requireApp();
}

FieldRules rulesOf(Application& application, const ManagedApp& app) {
    return {referenceOf(app), application.apps().rules(app.id)};
}

} // namespace

ShowApp::Result ShowApp::perform(Application& application, const Request& request, const ActionProgress&) {
    return show(application, requireApp(application, request));
}

SetApp::Result SetApp::perform(Application& application, const Request& request, const ActionProgress&) {
    if (request.sourceLocale) requireAppStoreLocale(*request.sourceLocale);
    requireGlossary(request.glossary);
    const auto chosen = chosenFolder(application, request);
    std::optional<MetadataFolder> folderBefore;
    const AppRecords apps = application.apps();
    ManagedApp before;
    ManagedApp app;
    bool changesTree = false;
    apps.together([&] { // a folder that is refused leaves the rest as it was
        app = before = AppDirectory(application, {{}, request.workspace}).require(request.app);
        folderBefore = application.folderOf(app);
        if (request.tree && request.tree->empty() && folderBefore && folderBefore->inPlace)
            clearSetting(app, AppSetting::folder);
        for (const AppSetting setting : request.clear)
            clearSetting(app, setting);
        if (request.brandVoice) app.brandVoice = *request.brandVoice;
        if (request.protectedTerms) app.protectedTerms = *request.protectedTerms;
        if (request.sourceLocale) app.sourceLocale = *request.sourceLocale;
        addToGlossary(app, request.glossary);
        if (app != before) app = apps.update(app);
        if (chosen) {
            if (!chosen->inPlace) leaveTree(folderBefore, chosen); // else its note would count
            app = chooseAppFolder(app, *chosen, application.home(), apps);
        }
        if (request.finalLineBreak) {
            const MetadataFolder folder = appFolderOf(app, application.home(), apps);
            changesTree = finalLineBreakIn(folder) != request.finalLineBreak;
            if (changesTree) keepFinalLineBreak(folder, *request.finalLineBreak);
        }
    });
    if (app == before && !changesTree)
        throw ApplicationError(FailureKind::badRequest, "there is nothing to change",
                               "Say what to set or to clear, with a value that differs.");
    if (app.metadataFolderBookmark != before.metadataFolderBookmark) {
        leaveTree(folderBefore, application.folderOf(app));
        application.forgetSession(app.id);
    }
    return show(application, app);
}

ListRules::Result ListRules::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    return rulesOf(application, requireApp(application, request));
}

SetRule::Result SetRule::perform(Application& application, const Request& request, const ActionProgress&) {
    if (!isStoreText(request.field))
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("the {} takes no rule", rawValue(request.field)),
                               "Rules are for the texts of the store page: name to keywords.");
    const auto standard = static_cast<std::int64_t>(limitOf(request.field));
    if (request.maxLength && (*request.maxLength < 1 || *request.maxLength > standard))
        throw ApplicationError(
            FailureKind::badRequest,
            fmt::format("{} is no limit of the {}", *request.maxLength, rawValue(request.field)),
            fmt::format("It may be from 1 to {}.", standard));
    const ManagedApp app = requireApp(application, request);
    application.apps().setRule(app.id, FieldRule::of(request.field, request.translate, request.maxLength));
    return rulesOf(application, app);
}

ResetRule::Result ResetRule::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const ManagedApp app = requireApp(application, request);
    application.apps().removeRule(app.id, request.field);
    return rulesOf(application, app);
}

} // namespace quorvel
