// What the commands of AI features share.
#pragma once

#include "Core/ai/ASOClaudeStack.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Programs/quorvel/Invocation.h"

#include <string>

namespace quorvel {

/// --fresh, of the commands that ask the model.
[[nodiscard]] ArgumentSpec freshArgument();
/// What --fresh says.
[[nodiscard]] KeptAnswers keptAnswersOf(const Invocation& invocation);

/// The stack of this home with the relay of the build or the endpoints file. Throws
/// `ClaudeError::MissingAPIKey` when no relay is configured, `EndpointsError`, `FileError`.
[[nodiscard]] ASOClaudeStack::Components aiStack(Invocation& invocation);

/// What the records of an app say about translating it.
[[nodiscard]] TranslationPipeline::Settings translationSettings(Invocation& invocation,
                                                                const ManagedApp& app);

/// "$0.12", or "less than $0.01".
[[nodiscard]] std::string priceText(double dollars);

/// On a terminal asks before a request that is estimated to cost more than half a dollar, unless --yes is
/// given. Throws `CommandError` when the answer is no.
void confirmCost(Invocation& invocation, double dollars);

} // namespace quorvel
