#include "Core/metadata/PendingChange.h"

#include "Platform/text/Counted.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <set>

namespace quorvel {

bool PendingChange::clears() const {
    return isBlank(local) && !isBlank(remote);
}

std::string_view PendingChange::textToSend() const {
    return isBlank(local) ? std::string_view() : std::string_view(local);
}

std::string pushReport(const std::vector<PushOutcome>& outcomes) {
    std::size_t fields = 0;
    std::size_t failed = 0;
    std::set<std::string_view> locales;
    const PushOutcome* firstFailure = nullptr;
    for (const PushOutcome& outcome : outcomes) {
        if (outcome.success) {
            ++fields;
            if (outcome.change.locale != pageLocale) locales.insert(outcome.change.locale);
        } else if (outcome.wasSent()) {
            ++failed;
            if (!firstFailure) firstFailure = &outcome;
        }
    }
    const bool isOfPage = fields > 0 && locales.empty();
    std::string report =
        fmt::format("Pushed {} · {}", counted(fields, "field"),
                    isOfPage ? std::string(shownPageLocale) : counted(locales.size(), "locale"));
    if (const std::size_t unsent = outcomes.size() - fields - failed; unsent > 0)
        report += fmt::format(". {} not sent", unsent);
    if (firstFailure)
        report += fmt::format(". {} failed.\nFirst error: {}", failed,
                              firstFailure->errorMessage.value_or("unknown"));
    return report;
}

} // namespace quorvel
