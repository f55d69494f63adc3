#include "Programs/quorvel/Consent.h"

#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

void requireSomebodyToAsk(const Invocation& invocation) {
    const Command& command = invocation.command;
    if (!command.asksFirst || invocation.global.dryRun || invocation.global.yes || invocation.output.canAsk())
        return;
    const bool hasDryRun = std::ranges::find(command.heeds, "--dry-run") != command.heeds.end();
    throw UsageError(fmt::format("\"{}\" needs --yes where nobody can be asked", command.name),
                     fmt::format("Nothing was changed.{}",
                                 hasDryRun ? " --dry-run shows what it would do and needs no --yes." : ""));
}

Consent askConsent(Invocation& invocation, const Question& question) {
    requireSomebodyToAsk(invocation);
    if (invocation.global.yes) return {};
    if (question.details) invocation.output.showOnTerminal(question.details);
    if (!invocation.output.confirm(question.text)) throw CommandError(ExitStatus::failed, question.declined);
    return {};
}

Consent consentToNothing() {
    return {};
}

void confirmCost(Invocation& invocation, std::string_view question, std::string_view declined) {
    Output& output = invocation.output;
    if (invocation.global.yes || !output.canAsk()) return;
    if (!output.confirm(question)) throw CommandError(ExitStatus::failed, std::string(declined));
}

} // namespace quorvel
