#include "Quorvel/actions/LocaleActions.h"

#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace quorvel {

namespace {

// Makes the same change to each of the locales, which the app has to manage.
template <typename Request>
SwitchLocales::Result changeLocales(Application& application, const Request& request,
                                    const std::function<void(ManagedLocale&)>& change) {
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const AppRecords apps = application.apps();
    const auto known = apps.locales(app.id);
    SwitchLocales::Result result{referenceOf(app), {}};
    for (const std::string& code : request.locales) {
        if (std::ranges::find(result.locales, code, &ManagedLocale::code) != result.locales.end()) continue;
        const auto found = std::ranges::find(known, code, &ManagedLocale::code);
        if (found == known.end())
            throw ApplicationError(
                FailureKind::unmanagedLocale,
                fmt::format("{} does not manage the locale {}", app.displayName, quotedWord(code)));
        result.locales.push_back(*found);
        change(result.locales.back());
    }
    apps.setLocales(app.id, result.locales);
    return result;
}

} // namespace

AddLocale::Result AddLocale::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    requireAppStoreLocale(request.locale);
    OpenedApp opened = request.dryRun ? openUnchanged(application, targetOf(request))
                                      : openOrImport(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    Result result;
    result.added = opened.session->metadata->addLocale(request.locale, request.context, dryRunOf(request));
    result.imported = std::move(opened.imported);
    return result;
}

ListLocales::Result ListLocales::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    Result result{
        knownReferenceOf(opened.app), {}, opened.session->metadata->overviewOfLocales(request.context)};
    if (!opened.app.id.empty()) result.locales = application.apps().locales(opened.app.id);
    return result;
}

PlanLocaleRemoval::Result PlanLocaleRemoval::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    if (request.locales.empty())
        throw ApplicationError(FailureKind::badRequest, "no locale is named", "Name those to remove.");
    const OpenedApp opened = request.place == RemovalPlace::local
                                 ? openLocal(application, targetOf(request))
                                 : openUnchanged(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {opened.session->metadata->planRemoval(request.locales, request.place, request.context,
                                                  dryRunOf(request))};
}

RemoveLocales::Result RemoveLocales::perform(Application& application, const Request& request,
                                             const ActionProgress& progress) {
    const LocaleRemovalPlan& plan = request.plan;
    OpenedApp opened =
        plan.place == RemovalPlace::local
            ? openLocal(application,
                        {{plan.app.id ? plan.app.id : std::nullopt, request.workspace}, plan.folder})
            : openPlanned(application, plan.app, request.workspace, plan.folder);
    const ToldOperations told(*opened.session, progress);
    return {opened.session->metadata->removeLocales(plan), std::move(opened.imported)};
}

SwitchLocales::Result SwitchLocales::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    return changeLocales(application, request,
                         [&](ManagedLocale& locale) { locale.enabled = request.enabled; });
}

SetLocales::Result SetLocales::perform(Application& application, const Request& request,
                                       const ActionProgress&) {
    if (!request.safeMode && !request.script)
        throw ApplicationError(FailureKind::badRequest, "there is nothing to change",
                               "Say the safe mode or the script.");
    const bool forgetsScript = request.script && isBlank(*request.script);
    const auto script = request.script ? scriptCode(trim(*request.script)) : std::nullopt;
    if (request.script && !script && !forgetsScript)
        throw ApplicationError(FailureKind::badRequest,
                               fmt::format("{} is no script", quotedWord(*request.script)),
                               "Give its four-letter code or its English name, such as Latn or Cyrillic.");
    return changeLocales(application, request, [&](ManagedLocale& locale) {
        if (request.safeMode) locale.aiSafeMode = *request.safeMode;
        if (request.script) locale.preferredScript = script;
    });
}

} // namespace quorvel
