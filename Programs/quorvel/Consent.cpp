#include "Programs/quorvel/Consent.h"

#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/TextReports.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

void requireTerminal(const Invocation& invocation) {
    if (invocation.output.canAsk()) return;
    const auto& heeds = invocation.command.heeds;
    const bool hasDryRun = std::ranges::find(heeds, "--dry-run") != heeds.end();
    throw UsageError(fmt::format("\"{}\" needs --yes where nobody can be asked", invocation.command.name),
                     fmt::format("Nothing was changed.{}",
                                 hasDryRun ? " --dry-run shows what it would do and needs no --yes." : ""));
}

} // namespace

void requireSomebodyToAsk(const Invocation& invocation) {
    const GlobalOptions& global = invocation.global;
    if (invocation.command.asksFirst && !global.dryRun && !global.yes) requireTerminal(invocation);
}

Consent askConsent(Invocation& invocation, const Question& question) {
    if (invocation.global.yes) return {};
    requireTerminal(invocation);
    if (question.details) invocation.output.showOnTerminal(question.details);
    if (!invocation.output.confirm(question.text)) throw CommandError(ExitStatus::failed, question.declined);
    return {};
}

Consent consentToNothing() {
    return {};
}

void confirmCost(Invocation& invocation, double dollars, bool isAtMost) {
    constexpr double threshold = 0.5;
    Output& output = invocation.output;
    if (dollars <= threshold || invocation.global.yes || !output.canAsk()) return;
    if (!output.confirm(fmt::format("This is estimated to cost {}. Go on?", priceText(dollars, isAtMost))))
        throw CommandError(ExitStatus::failed, "Nothing was sent.");
}

} // namespace quorvel
