// Asking the user before something is changed that cannot simply be taken back.
//
// The rule for every command that changes App Store Connect, or deletes something: --yes agrees; without it
// the question is asked on the terminal itself, whatever is redirected; where there is no terminal the
// command is refused before it does anything. `Command::asksFirst` marks such a command, and `perform` takes
// such an action only with a `Consent`.
#pragma once

#include "Programs/quorvel/Invocation.h"

#include <functional>
#include <string>
#include <string_view>

namespace quorvel {

struct Question {
    std::string text; // such as "Remove Garden Journal?"
    std::string declined = "Nothing was changed.";
    std::function<void(Output& terminal)> details = {}; // shown before the question where it is asked
};

/// That the user agreed; only the functions below make one.
class Consent {
    Consent() = default;
    friend Consent askConsent(Invocation&, const Question&);
    friend Consent consentToNothing();
};

/// Throws `UsageError` when a command asks first and nobody can be asked. A dry run asks nobody.
void requireSomebodyToAsk(const Invocation& invocation);

/// Throws `CommandError` when the answer is no, and what `requireSomebodyToAsk` throws.
[[nodiscard]] Consent askConsent(Invocation& invocation, const Question& question);

/// For a plan that changes nothing, so that there is nothing to ask about.
[[nodiscard]] Consent consentToNothing();

/// Asks about an estimated cost above $0.50 where somebody can be asked, unless --yes is given. Throws
/// `CommandError` when the answer is no.
void confirmCost(Invocation& invocation, double dollars, bool isAtMost);

} // namespace quorvel
