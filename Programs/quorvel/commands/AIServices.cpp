#include "Programs/quorvel/commands/AIServices.h"

#include "Core/ai/ClaudeError.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

namespace quorvel {

ArgumentSpec freshArgument() {
    return {"--fresh", "", "Ask the model again, also where an answer of it is kept"};
}

KeptAnswers keptAnswersOf(const Invocation& invocation) {
    return invocation.arguments.has("--fresh") ? KeptAnswers::renewed : KeptAnswers::taken;
}

ASOClaudeStack::Components aiStack(Invocation& invocation) {
    Composition& composition = invocation.composition;
    const RelayAccess relay = PenwiseConfig::relayAccess(composition.endpoints());
    if (relay.proxyURL.empty() || relay.sharedSecret.isEmpty())
        throw ClaudeError(ClaudeError::MissingAPIKey{});
    return ASOClaudeStack::make({.loader = {composition.keychain()},
                                 .home = composition.home(),
                                 .relay = relay,
                                 .http = std::make_shared<URLSessionHTTPClient>(composition.session()),
                                 .clock = composition.clock(),
                                 .keptAnswers = keptAnswersOf(invocation)});
}

TranslationPipeline::Settings translationSettings(Invocation& invocation, const ManagedApp& app) {
    const AppRecords apps = invocation.composition.apps();
    TranslationPipeline::Settings settings{.brand = BrandContext::of(app), .rules = apps.rules(app.id)};
    for (const ManagedLocale& locale : apps.locales(app.id))
        settings.locales[locale.code] = LocaleSettings::of(locale);
    return settings;
}

std::string priceText(double dollars) {
    constexpr double cent = 0.01;
    return dollars > 0 && dollars < cent ? "less than $0.01" : fmt::format("${:.2f}", dollars);
}

void confirmCost(Invocation& invocation, double dollars) {
    constexpr double threshold = 0.5;
    Output& output = invocation.output;
    if (dollars <= threshold || invocation.global.yes || !output.canAsk()) return;
    if (!output.confirm(fmt::format("This is estimated to cost {}. Go on?", priceText(dollars))))
        throw CommandError(ExitStatus::failed, "Nothing was sent.");
}

} // namespace quorvel
