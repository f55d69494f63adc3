#include "Core/metadata/PushSelection.h"

#include "Core/metadata/FieldValue.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/PageTexts.h"
#include "Core/metadata/PushChoice.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>

namespace quorvel {

namespace {

bool names(const auto& list, const auto& item) {
    return std::ranges::find(list, item) != list.end();
}

bool differsInFinalLineBreakOnly(const PendingChange& change) {
    return !isBlank(change.local) &&
           withoutFinalLineBreak(change.local) == withoutFinalLineBreak(change.remote);
}

// App Store Connect may take locales that are newer than the list here: one that is named and is no slip in
// the spelling of another is up to App Store Connect.
bool mayBeLocale(std::string_view locale, const PushFilter& filter) {
    return isAppStoreLocale(locale) ||
           (names(filter.locales, locale) && looksLikeLocale(locale) && !nearestAppStoreLocale(locale));
}

std::optional<std::string> faultOf(const PendingChange& change) {
    return isSecret(change.field) ? change.secretFault
                                  : valueFault(change.field, change.local, change.remote);
}

std::optional<LeftOutReason> reasonToLeaveOut(const PendingChange& change, const PushFilter& filter) {
    if (change.isNewLocale && !mayBeLocale(change.locale, filter)) return LeftOutReason::notAnAppStoreLocale;
    if (withoutByteOrderMark(change.local).size() < change.local.size()) return LeftOutReason::byteOrderMark;
    if (findControlCharacter(change.local) && !isBlank(change.local)) return LeftOutReason::controlCharacter;
    const bool isNamed =
        names(filter.locales, shownLocale(change.locale)) && names(filter.fields, change.field);
    if (differsInFinalLineBreakOnly(change) && !isNamed) return LeftOutReason::onlyFinalLineBreak;
    if (filter.release == Release::first && change.field == FieldType::releaseNotes)
        return LeftOutReason::firstVersion;
    if (change.isOverLimit) return LeftOutReason::overLimit;
    if (faultOf(change)) return LeftOutReason::invalidValue;
    if (change.clears() && change.field == FieldType::name) return LeftOutReason::clearsName;
    if (change.clears() && !canBeCleared(change.field)) return LeftOutReason::cannotBeCleared;
    if (change.clears() && filter.clearing == Clearing::leaveOut) return LeftOutReason::clearsField;
    if (change.review && filter.unreviewed == Unreviewed::leaveOut) return LeftOutReason::unreviewed;
    return std::nullopt;
}

std::string explainFinalLineBreak(const PendingChange& change) {
    if (withoutFinalLineBreak(change.local).size() == change.local.size())
        return "Differs from App Store Connect only by a final line break there; "
               "naming this locale and field in the push removes it there.";
    return "Differs from App Store Connect only by a final line break. Tidying removes it, "
           "finalLineBreak = strip ignores it; naming this locale and field pushes it.";
}

std::string explainControlCharacter(const PendingChange& change) {
    const std::size_t place = findControlCharacter(change.local).value_or(0);
    const auto line = 1 + std::ranges::count(std::string_view(change.local).substr(0, place), '\n');
    return fmt::format(
        "{} holds the control character {} in line {}, which App Store Connect refuses. Remove it.",
        fileNameOf(change.field), escapeControls(change.local.substr(place, 1)), line);
}

std::string explainLocale(std::string_view locale) {
    if (const auto nearest = nearestAppStoreLocale(locale))
        return fmt::format("\"{}\" is no App Store locale. Did you mean \"{}\"? Rename the folder.",
                           escapeControls(locale), *nearest);
    if (!looksLikeLocale(locale))
        return fmt::format("\"{}\" is no App Store locale, so none of its texts are pushed. "
                           "Each locale needs a folder of its own.",
                           escapeControls(locale));
    return fmt::format("\"{}\" is no known App Store locale, so its folder is pushed only when it is named.",
                       escapeControls(locale));
}

constexpr std::string_view firstVersionText =
    "A first version takes no release notes (\"What's New\"). They stay here for the next version.";

std::string explainUnread(ReviewMark mark) {
    return fmt::format("Was generated{} and not read since.",
                       mark == ReviewMark::cut ? ", cut to its limit" : "");
}

std::string explain(const PendingChange& change, LeftOutReason reason) {
    switch (reason) {
    case LeftOutReason::localeDisabled:
        return fmt::format(
            "{} is disabled for this app, so none of its texts are pushed. Enable the locale to push it.",
            change.locale);
    case LeftOutReason::notAnAppStoreLocale:
        return explainLocale(change.locale);
    case LeftOutReason::byteOrderMark:
        return std::string(explain(TextRemark::byteOrderMark));
    case LeftOutReason::controlCharacter:
        return explainControlCharacter(change);
    case LeftOutReason::onlyFinalLineBreak:
        return explainFinalLineBreak(change);
    case LeftOutReason::overLimit:
        return explainOverLimit(change.local, change.field);
    case LeftOutReason::clearsField:
        return fmt::format("Would remove the {}{} from App Store Connect. "
                           "Allow that in the push, or pull to get the text back.",
                           shortLabelOf(change.field),
                           isPageField(change.field) ? "" : fmt::format(" of {}", change.locale));
    case LeftOutReason::clearsName:
        return "A name cannot be removed; write one, or pull to get it back.";
    case LeftOutReason::unreviewed:
        return explainUnread(change.review.value_or(ReviewMark::generated)) +
               " Read it and accept it, or allow unread texts in the push.";
    case LeftOutReason::unreadableFile:
        return "The file cannot be taken as a text.";
    case LeftOutReason::firstVersion:
        return std::string(firstVersionText);
    case LeftOutReason::cannotBeCleared:
        return fmt::format(
            "App Store Connect takes no removal of the {}. Write another value, or pull to get it "
            "back.",
            shortLabelOf(change.field));
    case LeftOutReason::invalidValue:
        return faultOf(change).value_or("");
    case LeftOutReason::inConflict:
        return std::string(inConflictText);
    }
    return {};
}

// What is asked for by name is missed, also where it would be left out without a word otherwise.
bool isMissed(const PendingChange& change, LeftOutReason reason, const PushFilter& filter) {
    switch (reason) {
    case LeftOutReason::localeDisabled:
        return names(filter.locales, change.locale);
    case LeftOutReason::notAnAppStoreLocale:
        return names(filter.locales, change.locale) || nearestAppStoreLocale(change.locale).has_value();
    case LeftOutReason::firstVersion:
        return names(filter.fields, change.field);
    default:
        return waitsForUser(reason);
    }
}

// The words for several changes at once; none where each one's own tell what to do.
std::string_view explainTogether(LeftOutReason reason) {
    switch (reason) {
    case LeftOutReason::localeDisabled:
        return "The locales are disabled for this app. Enable a locale to push it.";
    case LeftOutReason::controlCharacter:
        return "The files hold control characters, which App Store Connect refuses. Remove them.";
    case LeftOutReason::overLimit:
        return "The texts are over their limits. Shorten them.";
    case LeftOutReason::clearsField:
        return "Would remove these texts from App Store Connect. "
               "Allow that in the push, or pull to get them back.";
    case LeftOutReason::clearsName:
        return "Names cannot be removed; write them, or pull to get them back.";
    case LeftOutReason::unreviewed:
        return "The texts were generated and not read since. "
               "Read them and accept them, or allow unread texts in the push.";
    case LeftOutReason::unreadableFile:
        return "The files cannot be taken as texts.";
    case LeftOutReason::firstVersion:
        return firstVersionText;
    case LeftOutReason::invalidValue:
    case LeftOutReason::cannotBeCleared:
    case LeftOutReason::byteOrderMark:
    case LeftOutReason::onlyFinalLineBreak:
    case LeftOutReason::notAnAppStoreLocale:
    case LeftOutReason::inConflict:
        return {};
    }
    return {};
}

// A locale that App Store Connect gets with nothing but release notes cannot be submitted.
void warnOfBareLocales(PushSelection& selection) {
    std::map<std::string_view, bool> hasMore; // new locale → has another field of the version
    for (const PendingChange& change : selection.chosen)
        if (change.isNewLocale && homeOf(change.field) == FieldHome::versionLocalization)
            hasMore[change.locale] |= change.field != FieldType::releaseNotes;
    for (const auto& [locale, more] : hasMore)
        if (!more)
            selection.warnings.push_back(
                {std::string(locale), std::nullopt,
                 "This new locale gets release notes only; without a description the version cannot be "
                 "submitted."});
}

} // namespace

bool PushFilter::takes(const FieldKey& key) const {
    return (locales.empty() || names(locales, shownLocale(key.locale))) &&
           (fields.empty() || names(fields, key.field));
}

bool waitsForUser(LeftOutReason reason) {
    switch (reason) {
    case LeftOutReason::byteOrderMark:
    case LeftOutReason::controlCharacter:
    case LeftOutReason::overLimit:
    case LeftOutReason::clearsField:
    case LeftOutReason::clearsName:
    case LeftOutReason::unreviewed:
    case LeftOutReason::unreadableFile:
    case LeftOutReason::invalidValue:
    case LeftOutReason::cannotBeCleared:
    case LeftOutReason::inConflict:
        return true;
    case LeftOutReason::localeDisabled:
    case LeftOutReason::notAnAppStoreLocale:
    case LeftOutReason::onlyFinalLineBreak:
    case LeftOutReason::firstVersion:
        return false;
    }
    return false;
}

std::vector<LeftOutGroup> groupsOf(const std::vector<LeftOutChange>& leftOut) {
    std::vector<LeftOutGroup> groups;
    for (const LeftOutChange& one : leftOut) {
        const bool isToldTogether = !explainTogether(one.reason).empty();
        auto group = std::ranges::find_if(groups, [&](const LeftOutGroup& known) {
            return known.reason == one.reason && (isToldTogether || known.explanation == one.explanation);
        });
        if (group == groups.end()) group = groups.insert(group, {one.reason, {}, one.explanation});
        group->changes.push_back(one);
    }
    for (LeftOutGroup& group : groups)
        if (const auto words = explainTogether(group.reason); group.changes.size() > 1 && !words.empty())
            group.explanation = words;
    std::ranges::stable_sort(groups, std::greater{}, [](const LeftOutGroup& group) {
        return std::ranges::any_of(group.changes, &LeftOutChange::isMissed);
    });
    return groups;
}

namespace {

// Of fields that App Store Connect takes together none is sent while one of them waits.
void leaveOutCompanions(PushSelection& selection) {
    std::map<FieldType, FieldType> waiting; // by the first of the fields that go together
    for (const LeftOutChange& one : selection.leftOut)
        if (isPageField(one.change.field) && waitsForUser(one.reason))
            waiting.emplace(leaderOf(one.change.field), one.change.field);
    std::erase_if(selection.chosen, [&](const PendingChange& change) {
        const auto found = isPageField(change.field) ? waiting.find(leaderOf(change.field)) : waiting.end();
        if (found == waiting.end()) return false;
        selection.leftOut.push_back({change, LeftOutReason::invalidValue,
                                     fmt::format("Goes together with the field {}, which is left out.",
                                                 shortLabelOf(found->second))});
        return true;
    });
}

} // namespace

PushSelection chooseForPush(std::vector<PendingChange> changes, const PushFilter& filter,
                            const LocaleSet& disabledLocales) {
    PushSelection selection;
    for (PendingChange& change : changes) {
        if (!filter.takes(change.key())) continue;
        const auto reason = disabledLocales.contains(change.locale)
                                ? std::optional(LeftOutReason::localeDisabled)
                                : reasonToLeaveOut(change, filter);
        if (reason) {
            selection.leftOut.push_back(
                {change, *reason, explain(change, *reason), isMissed(change, *reason, filter)});
            continue;
        }
        selection.chosen.push_back(std::move(change));
    }
    leaveOutCompanions(selection);
    return selection;
}

PushSelection selectForPush(const std::vector<PendingChange>& changes, const PushFilter& filter,
                            const LocaleSet& disabledLocales) {
    PushSelection selection = chooseForPush(changes, filter, disabledLocales);
    for (const PendingChange& change : selection.chosen) {
        if (change.review)
            selection.warnings.push_back({change.locale, change.field, explainUnread(*change.review)});
        for (const TextRemark remark : remarksOn(change.local, change.field))
            selection.warnings.push_back({change.locale, change.field, std::string(explain(remark))});
    }
    warnOfBareLocales(selection);
    return selection;
}

} // namespace quorvel
