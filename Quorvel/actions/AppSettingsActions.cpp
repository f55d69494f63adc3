#include "Quorvel/actions/AppSettingsActions.h"

#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/workspace/AppFolder.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// A record is shown also where its folder is lost or its settings are damaged.
std::optional<FinalLineBreak> finalLineBreakIn(const std::string& folder) {
    if (folder.empty()) return std::nullopt;
    try {
        return finalLineBreakOf({folder});
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

ShowApp::Result show(Application& application, const ManagedApp& app) {
    const AppRecords apps = application.apps();
    const AppOverview overview = overviewsOf(application, {app}, PendingChanges::leave).front();
    return {.app = app,
            .workspaceName = overview.workspaceName,
            .folder = overview.folder,
            .finalLineBreak = finalLineBreakIn(overview.folder),
            .locales = apps.locales(app.id),
            .rules = apps.rules(app.id)};
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
    const AppRecords apps = application.apps();
    ManagedApp before;
    ManagedApp app;
    bool changesTree = false;
    apps.together([&] { // a folder that is refused leaves the rest as it was
        app = before = AppDirectory(application, {{}, request.workspace}).require(request.app);
        for (const AppSetting setting : request.clear)
            clearSetting(app, setting);
        if (request.brandVoice) app.brandVoice = *request.brandVoice;
        if (request.protectedTerms) app.protectedTerms = *request.protectedTerms;
        if (request.sourceLocale) app.sourceLocale = *request.sourceLocale;
        addToGlossary(app, request.glossary);
        if (app != before) app = apps.update(app);
        if (request.folder)
            app = chooseAppFolder(app, MetadataFolder{application.absolutePath(*request.folder)},
                                  application.home(), apps);
        if (request.finalLineBreak) {
            const MetadataFolder folder = appFolderOf(app, application.home(), apps);
            changesTree = finalLineBreakIn(folder.rootURL.string()) != request.finalLineBreak;
            if (changesTree) keepFinalLineBreak(folder, *request.finalLineBreak);
        }
    });
    if (app == before && !changesTree)
        throw ApplicationError(FailureKind::badRequest, "there is nothing to change",
                               "Say what to set or to clear, with a value that differs.");
    if (app.metadataFolderBookmark != before.metadataFolderBookmark) application.forgetSession(app.id);
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
