#include "Sandbox/relay/RelayModel.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"
#include "Sandbox/relay/PseudoLocale.h"
#include "Sandbox/relay/ReviewModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <variant>

namespace quorvel::sandbox {
namespace {

/// The text between two others; empty when they are not there.
std::string_view between(std::string_view text, std::string_view begin, std::string_view end) {
    const std::size_t start = text.find(begin);
    if (start == text.npos) return {};
    text.remove_prefix(start + begin.size());
    const std::size_t stop = text.find(end);
    return stop == text.npos ? std::string_view() : text.substr(0, stop);
}

std::vector<std::string> splitTexts(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (const auto part = trim(text.substr(0, end)); !part.empty()) parts.emplace_back(part);
        if (end == text.size()) return parts;
        text.remove_prefix(end + 1);
    }
}

std::size_t numberAfter(std::string_view text, std::string_view lead) {
    const std::string_view digits = between(text, lead, " characters");
    std::size_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return number;
}

std::size_t limitIn(std::string_view user) {
    return numberAfter(user, "Reminder: ≤ ");
}

std::string cutToWords(std::string text, std::size_t limit) {
    if (graphemeCount(text) <= limit) return text;
    const std::string_view start = graphemePrefix(text, limit);
    const std::size_t blank = start.rfind(' ');
    return std::string(trim(start.substr(0, blank == start.npos ? start.size() : blank)));
}

std::string joinWithin(const std::vector<std::string>& terms, std::size_t limit) {
    std::string joined;
    for (const std::string& term : terms) {
        const std::string longer = joined.empty() ? term : joined + "," + term;
        if (graphemeCount(longer) <= limit) joined = longer;
    }
    return joined;
}

std::string exceed(std::string text, std::string_view separator, std::size_t limit) {
    while (graphemeCount(text) < limit + 12)
        text += std::string(separator) + "ẹẋṭṛạ";
    return text;
}

// The keywords of the base locale are the first line with commas.
std::string_view baseKeywords(std::string_view user) {
    while (!user.empty()) {
        const std::size_t end = std::min(user.find('\n'), user.size());
        if (const auto line = user.substr(0, end); line.find(',') != line.npos) return line;
        user.remove_prefix(std::min(end + 1, user.size()));
    }
    return {};
}

std::string expandEnglish(std::string_view user, bool tooLong) {
    const auto base = splitTexts(baseKeywords(user), ',');
    JSONValue::Array entries;
    for (const std::string_view locale : {"en-US", "en-GB", "en-AU", "en-CA"}) {
        std::vector<std::string> terms(base.begin(),
                                       base.begin() + std::min<std::ptrdiff_t>(2, std::ssize(base)));
        for (std::size_t at = terms.size(); at < base.size(); ++at)
            terms.push_back(locale == "en-US" ? base[at] : base[at] + " " + asciiLowercase(locale.substr(3)));
        std::string field = joinWithin(terms, 100);
        if (tooLong) field = exceed(field, ",", 100);
        entries.push_back(JSONValue::object({{"locale", locale}, {"keywords_field", field}}));
    }
    return encodeJSON(JSONValue::object(
        {{"entries", JSONValue(std::move(entries))},
         {"rationale", "The first terms stay everywhere; each storefront has long-tail terms of its own."}}));
}

Renderings renderingsIn(std::string_view system) {
    constexpr std::string_view arrow = " → ";
    Renderings renderings;
    for (const std::string& term :
         splitTexts(between(system, "(keep verbatim, do not translate):\n", "\n\n"), '\n'))
        renderings[term] = term;
    for (const std::string& entry : splitTexts(between(system, "when the source matches):\n", "\n\n"), '\n'))
        if (const std::size_t at = entry.find(arrow); at != entry.npos)
            renderings[entry.substr(0, at)] = entry.substr(at + arrow.size());
    renderings.erase("(none)");
    return renderings;
}

// What a retry asks for begins with the prompt that it repeats.
std::string firstPrompt(const std::string& user) {
    std::size_t end = user.size();
    for (const std::string_view more : {"\nThe previous attempt ", "\nPrevious attempt was rejected: ",
                                        "\nJSON parse failed; ", "\nReturn the JSON object now."})
        end = std::min(end, user.find(more));
    return user.substr(0, end);
}

// Nothing but the subjects of the commits.
std::string draftReleaseNotes(std::string_view user, bool tooLong) {
    std::string whatsNew;
    std::string first;
    for (const std::string& line :
         splitTexts(between(user, "(sorted by importance):\n", "\n\nLimits:"), '\n')) {
        const std::string subject = line.substr(std::min(line.find("] ") + 2, line.size()));
        if (first.empty()) first = subject;
        whatsNew += (whatsNew.empty() ? "• " : "\n• ") + subject;
    }
    const std::size_t limit = numberAfter(user, "- promotionalText: up to ");
    std::string promotionalText = cutToWords("Now: " + first, limit);
    if (tooLong) promotionalText = exceed(std::move(promotionalText), " ", limit);
    return encodeJSON(JSONValue::object(
        {{"whatsNew", cutToWords(std::move(whatsNew), numberAfter(user, "- whatsNew: up to "))},
         {"promotionalText", promotionalText}}));
}

std::string amountText(const JSONValue& figures, std::string_view name) {
    const JSONValue* amount = figures.find(name);
    if (!amount) return "0.00";
    if (const auto* whole = amount->integer()) return fmt::format("{}.00", *whole);
    const auto* number = std::get_if<double>(&amount->value);
    return fmt::format("{:.2f}", number ? *number : 0);
}

std::string textIn(const JSONValue& document, std::string_view name) {
    const JSONValue* text = document.find(name);
    return text && text->text() ? *text->text() : "";
}

// Says what the figures show, and invents nothing.
std::string commentOnRevenue(std::string_view user) {
    const std::string_view begun = user.substr(std::min(user.find('{'), user.size()));
    const JSONValue figures = decodeJSON<JSONValue>(begun.substr(0, begun.rfind('}') + 1));
    const std::string currency = textIn(figures, "currency");
    JSONValue::Array observations;
    const std::string sums = fmt::format("{} {} after {} {}", amountText(figures, "proceeds"), currency,
                                         amountText(figures, "proceedsOfDaysBefore"), currency);
    observations.emplace_back(fmt::format("Proceeds were {} in as many days before.", sums));
    const JSONValue* apps = figures.find("apps");
    if (apps && apps->items() && !apps->items()->empty()) {
        const JSONValue& first = apps->items()->front();
        observations.emplace_back(fmt::format("{} brought the most, {} {}.", textIn(first, "name"),
                                              amountText(first, "proceeds"), currency));
    }
    return encodeJSON(JSONValue::object(
        {{"headline", fmt::format("From {} to {} you were paid {} {}.", textIn(figures, "firstDay"),
                                  textIn(figures, "lastDay"), amountText(figures, "proceeds"), currency)},
         {"observations", JSONValue(std::move(observations))},
         {"suggestions", JSONValue::array({"Look up on which days a new version came out."})}}));
}

// The text to translate, between its two lines of hyphens.
std::string_view sourceIn(std::string_view user) {
    const std::size_t begin = user.find("---\n") + 4;
    const std::size_t end = user.rfind("\n---\n\nOutput ONLY");
    return end == user.npos || end < begin ? std::string_view() : user.substr(begin, end - begin);
}

std::string halfOf(std::string_view text) {
    return std::string(graphemePrefix(text, graphemeCount(text) / 2));
}

struct ScriptedAnswer {
    std::string_view name;
    ModelAnswer (*make)(const std::string& usual, std::string_view source);
};
constexpr ScriptedAnswer scriptedAnswers[] = {
    {"usual", [](const std::string& usual, std::string_view) { return ModelAnswer{usual}; }},
    {"brokenOff",
     [](const std::string& usual, std::string_view) {
         return ModelAnswer{halfOf(usual), "length"};
     }},
    {"filtered",
     [](const std::string& usual, std::string_view) {
         return ModelAnswer{std::string(graphemePrefix(usual, 6)), "content_filter"};
     }},
    {"badJSON",
     [](const std::string& usual, std::string_view) {
         return ModelAnswer{(usual.starts_with('{') ? "" : "{\"text\": \"") + halfOf(usual)};
     }},
    {"rightToLeft",
     [](const std::string& usual, std::string_view) { return ModelAnswer{fromRightToLeft(usual)}; }},
    {"remark",
     [](const std::string& usual, std::string_view) {
         return ModelAnswer{usual + "\n\nNote: I kept the tone of the source and stayed within the limit."};
     }},
    {"refusal",
     [](const std::string&, std::string_view) {
         return ModelAnswer{"I'm sorry, but I can't help with that request."};
     }},
    {"echo", [](const std::string&, std::string_view source) { return ModelAnswer{std::string(source)}; }},
    {"careless",
     [](const std::string& usual, std::string_view) { return ModelAnswer{withoutFixedParts(usual)}; }}};

} // namespace

void RelayModel::setManner(ModelManner manner) {
    manner_ = std::move(manner);
    tooLong_.clear();
    scripted_.clear();
}

bool RelayModel::knows(std::string_view scriptedAnswer) {
    return std::ranges::find(scriptedAnswers, scriptedAnswer, &ScriptedAnswer::name) !=
           std::end(scriptedAnswers);
}

std::string_view RelayModel::nextOfScript(const std::string& user) {
    if (user.find(manner_.only) == std::string::npos) return "usual";
    std::size_t& given = scripted_[firstPrompt(user)];
    return given < manner_.script.size() ? std::string_view(manner_.script[given++]) : "usual";
}

bool RelayModel::exceeds(const std::string& user) {
    if (manner_.tooLongAnswers == 0) return false;
    int& given = tooLong_[firstPrompt(user)];
    if (given >= manner_.tooLongAnswers) return false;
    ++given;
    return true;
}

std::string RelayModel::wrap(std::string text) const {
    if (manner_.wrapping == "fence") return fmt::format("```text\n{}\n```", text);
    if (manner_.wrapping == "prose") return fmt::format("Here is the result:\n\n{}", text);
    if (manner_.wrapping == "proseAndFence")
        return fmt::format("Here is the result:\n\n```\n{}\n```\n\nIt keeps to the limit.", text);
    if (manner_.wrapping == "quotes") return fmt::format("“{}”", text);
    return text;
}

std::string RelayModel::translate(const ModelPrompt& prompt, const std::string& user) {
    const std::string_view head = between(user, "Translate the following ", ":\n\n---\n");
    const std::size_t to = head.rfind(" to ");
    const std::string_view locale = to == head.npos ? std::string_view() : head.substr(to + 4);
    if (locale.empty()) return "";
    const std::size_t limit = limitIn(user);
    std::string text = pseudoLocalise(sourceIn(user), locale, renderingsIn(prompt.system));
    return exceeds(user) ? exceed(std::move(text), " ", limit) : cutToWords(std::move(text), limit);
}

std::string RelayModel::generateKeywords(const ModelPrompt& prompt, const std::string& user) {
    const std::string_view locale = between(user, "keywords field for the ", " App Store.");
    const std::string_view reference = between(prompt.system, "actually search):\n", "\n\nRules:");
    std::vector<std::string> terms;
    for (const std::string& term : splitTexts(reference, ','))
        terms.push_back(pseudoLocalise(term, locale));
    const std::size_t limit = limitIn(user);
    std::string text = joinWithin(terms, limit);
    return exceeds(user) ? exceed(std::move(text), ",", limit) : text;
}

ModelAnswer RelayModel::answer(const ModelPrompt& prompt) {
    const std::string user = prompt.userTexts.empty() ? "" : prompt.userTexts.back();
    const auto scripted = std::ranges::find(scriptedAnswers, nextOfScript(user), &ScriptedAnswer::name);
    const bool isReview = asksForSentiment(prompt.system) || asksForReply(prompt.system);
    return scripted->make(usualAnswer(prompt, user), isReview ? reviewBodyIn(user) : sourceIn(user));
}

std::string RelayModel::usualAnswer(const ModelPrompt& prompt, const std::string& user) {
    if (prompt.system.find("**English locale expansion**") != std::string::npos)
        return wrap(expandEnglish(user, exceeds(user)));
    if (prompt.system.starts_with("You write App Store release notes"))
        return wrap(draftReleaseNotes(user, exceeds(user)));
    if (asksForSentiment(prompt.system)) return wrap(sentimentOf(user));
    if (asksForReply(prompt.system)) return wrap(replyTo(user));
    if (prompt.system.starts_with("You read the sales figures")) return wrap(commentOnRevenue(user));
    if (user.starts_with("Translate the following ")) return wrap(translate(prompt, user));
    if (user.starts_with("Generate the optimized keywords field"))
        return wrap(generateKeywords(prompt, user));
    if (prompt.wantsJSON) return wrap(R"({"answer":"The sandbox's model knows no answer to this."})");
    return wrap("The sandbox's model read: " + std::string(graphemePrefix(user, 200)));
}

} // namespace quorvel::sandbox
