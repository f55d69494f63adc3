#include "Quorvel/actions/LocaleActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

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
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    return {referenceOf(app), application.apps().locales(app.id)};
}

SwitchLocales::Result SwitchLocales::perform(Application& application, const Request& request,
                                             const ActionProgress&) {
    const ManagedApp app = AppDirectory(application, targetOf(request).choice).requireApp();
    const AppRecords apps = application.apps();
    const auto known = apps.locales(app.id);
    Result result{referenceOf(app), {}};
    for (const std::string& code : request.locales) {
        if (std::ranges::find(result.locales, code, &ManagedLocale::code) != result.locales.end()) continue;
        const auto found = std::ranges::find(known, code, &ManagedLocale::code);
        if (found == known.end())
            throw ApplicationError(
                FailureKind::unmanagedLocale,
                fmt::format("{} does not manage the locale {}", app.displayName, quotedWord(code)));
        result.locales.push_back(*found);
        result.locales.back().enabled = request.enabled;
    }
    apps.setLocales(app.id, result.locales);
    return result;
}

} // namespace quorvel
