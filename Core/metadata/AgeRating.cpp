#include "Core/metadata/AgeRating.h"

#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/WebAddress.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Spelling.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <vector>

namespace quorvel {

namespace {

constexpr std::string_view levels = "NONE|INFREQUENT_OR_MILD|FREQUENT_OR_INTENSE|INFREQUENT|FREQUENT";
constexpr std::string_view yesOrNo; // no choices: a boolean
constexpr std::string_view anyAddress = "https://";

struct Question {
    std::string_view name;
    std::string_view choices; // joined by "|"
};

constexpr Question questions[] = {
    {"advertising", yesOrNo},
    {"ageAssurance", yesOrNo},
    {"ageRatingOverride", "NONE|NINE_PLUS|THIRTEEN_PLUS|SIXTEEN_PLUS|SEVENTEEN_PLUS|UNRATED"},
    {"ageRatingOverrideV2", "NONE|NINE_PLUS|THIRTEEN_PLUS|SIXTEEN_PLUS|EIGHTEEN_PLUS|UNRATED"},
    {"alcoholTobaccoOrDrugUseOrReferences", levels},
    {"contests", levels},
    {"developerAgeRatingInfoUrl", anyAddress},
    {"gambling", yesOrNo},
    {"gamblingSimulated", levels},
    {"gunsOrOtherWeapons", levels},
    {"healthOrWellnessTopics", yesOrNo},
    {"horrorOrFearThemes", levels},
    {"kidsAgeBand", "FIVE_AND_UNDER|SIX_TO_EIGHT|NINE_TO_ELEVEN"},
    {"koreaAgeRatingOverride", "NONE|FIFTEEN_PLUS|NINETEEN_PLUS"},
    {"lootBox", yesOrNo},
    {"matureOrSuggestiveThemes", levels},
    {"medicalOrTreatmentInformation", levels},
    {"messagingAndChat", yesOrNo},
    {"parentalControls", yesOrNo},
    {"profanityOrCrudeHumor", levels},
    {"sexualContentGraphicAndNudity", levels},
    {"sexualContentOrNudity", levels},
    {"socialMedia", yesOrNo},
    {"socialMediaAgeRestricted", yesOrNo},
    {"unrestrictedWebAccess", yesOrNo},
    {"userGeneratedContent", yesOrNo},
    {"violenceCartoonOrFantasy", levels},
    {"violenceRealistic", levels},
    {"violenceRealisticProlongedGraphicOrSadistic", levels},
};

constexpr auto questionNames = [] {
    std::array<std::string_view, std::size(questions)> names{};
    for (std::size_t row = 0; row < std::size(questions); ++row)
        names[row] = questions[row].name;
    return names;
}();

std::vector<std::string_view> choicesOf(std::string_view joined) {
    std::vector<std::string_view> choices;
    while (!joined.empty()) {
        const std::size_t end = std::min(joined.find('|'), joined.size());
        choices.push_back(joined.substr(0, end));
        joined.remove_prefix(std::min(end + 1, joined.size()));
    }
    return choices;
}

// A name that the object in a text, of which nothing else is known, holds more than once; as it is written.
std::optional<std::string_view> nameGivenTwice(std::string_view text) {
    std::set<std::string_view> names;
    int depth = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        depth += (text[at] == '{' || text[at] == '[') - (text[at] == '}' || text[at] == ']');
        if (text[at] != '"') continue;
        const std::size_t start = ++at;
        while (at < text.size() && text[at] != '"')
            at += text[at] == '\\' ? 2 : 1;
        if (at >= text.size()) break;
        const std::string_view name = text.substr(start, at - start);
        const bool isName = depth == 1 && trim(text.substr(at + 1)).starts_with(':');
        if (isName && !names.insert(name).second) return name;
    }
    return std::nullopt;
}

// The object in a text; an empty one in a blank text. One that answers a question twice is none.
JSONValue answersIn(std::string_view text) {
    if (isBlank(text)) return JSONValue::object();
    JSONValue answers = decodeJSON<JSONValue>(std::string(withoutByteOrderMark(text)));
    if (!answers.members()) throw JSONError("the text", "is no object");
    if (nameGivenTwice(text)) throw JSONError("the text", "holds a name twice");
    return answers;
}

std::optional<JSONValue> answersIfAny(std::string_view text) try {
    return answersIn(text);
} catch (const JSONError&) {
    return std::nullopt;
}

// Null where there is none.
JSONValue answerNamed(const JSONValue& answers, std::string_view name) {
    const JSONValue* const found = answers.find(name);
    return found ? *found : JSONValue();
}

std::optional<std::string> answerFault(const Question& question, const JSONValue& answer) {
    if (answer.isNull()) return std::nullopt;
    if (question.choices.empty()) {
        if (answer.boolean()) return std::nullopt;
        return fmt::format("\"{}\" takes true or false, without quotes.", question.name);
    }
    const std::string* const text = answer.text();
    if (question.choices == anyAddress) {
        if (!text) return fmt::format("\"{}\" takes the address of a web page in quotes.", question.name);
        const auto problem = problemOfAddress(*text);
        return problem ? std::optional(fmt::format("\"{}\" {}.", question.name, *problem)) : std::nullopt;
    }
    const auto choices = choicesOf(question.choices);
    if (text && std::ranges::find(choices, *text) != choices.end()) return std::nullopt;
    std::string listed(question.choices);
    for (std::size_t bar = listed.find('|'); bar != std::string::npos; bar = listed.find('|', bar))
        listed.replace(bar, 1, ", ");
    const auto nearest = text ? nearestSpelling(*text, choices) : std::nullopt;
    return fmt::format("\"{}\" takes one of {}{}.", question.name, listed,
                       nearest ? fmt::format("; did you mean {}?", *nearest) : "");
}

} // namespace

std::string ageRatingText(const JSONValue& answers) {
    JSONValue::Object members;
    if (answers.members())
        for (const auto& member : *answers.members())
            if (!member.second.isNull()) members.push_back(member);
    if (members.empty()) return {};
    std::ranges::sort(members, {}, [](const auto& member) -> const std::string& { return member.first; });
    return encodeJSON(JSONValue::object(std::move(members)), {JSONLayout::pretty, JSONKeyOrder::declared});
}

std::string ageRatingOver(std::string_view copy, std::string_view text) {
    try {
        JSONValue answers = answersIn(copy);
        const JSONValue own = answersIn(text);
        for (const auto& [name, answer] : *own.members())
            answers.set(name, answer);
        return ageRatingText(answers);
    } catch (const JSONError&) {
        return std::string(text);
    }
}

JSONValue ageRatingChanges(std::string_view from, std::string_view to) {
    const JSONValue before = answersIn(from);
    const JSONValue after = answersIn(to);
    JSONValue changes = JSONValue::object();
    for (const auto& [name, answer] : *after.members())
        if (const JSONValue* known = before.find(name); known ? *known != answer : !answer.isNull())
            changes.set(name, answer);
    for (const auto& [name, answer] : *before.members())
        if (!answer.isNull() && !after.find(name)) changes.set(name, nullptr);
    return changes;
}

std::optional<std::string> mergeAgeRatings(std::string_view base, std::string_view ours,
                                           std::string_view theirs) try {
    const JSONValue before = answersIn(base);
    const JSONValue own = answersIn(ours);
    const JSONValue others = answersIn(theirs);
    JSONValue merged = JSONValue::object();
    for (const auto& [name, answer] : *own.members()) {
        const JSONValue was = answerNamed(before, name);
        const JSONValue now = answerNamed(others, name);
        if (answer != was && now != was && answer != now) return std::nullopt;
        merged.set(name, answer == was ? now : answer);
    }
    return encodeJSON(merged, {JSONLayout::pretty, JSONKeyOrder::declared});
} catch (const JSONError&) {
    return std::nullopt;
}

std::optional<AgeRatingBack> ageRatingBack(std::string_view local, std::string_view copy,
                                           std::string_view previous, std::string_view sent) {
    const JSONValue changes = ageRatingChanges(sent, previous);
    const JSONValue made = answersIn(sent);
    const JSONValue pulled = answersIfAny(copy).value_or(JSONValue::object());
    const auto present = answersIfAny(local);
    JSONValue answers = present.value_or(JSONValue::object());
    AgeRatingBack back{.text = {}, .replacesEdit = !present};
    bool isThere = present.has_value();
    for (const auto& [name, answer] : *changes.members()) {
        const JSONValue* const own = answers.find(name);
        isThere = isThere && (own ? *own : answerNamed(pulled, name)) == answer;
        if (own && *own != answer && *own != answerNamed(made, name)) back.replacesEdit = true;
        answers.set(name, answer);
    }
    if (isThere || changes.members()->empty()) return std::nullopt;
    back.text = encodeJSON(answers, {JSONLayout::pretty, JSONKeyOrder::declared});
    return back;
}

std::optional<std::string> ageRatingFault(std::string_view text, std::string_view copy) try {
    const JSONValue answers = answersIn(text);
    const JSONValue pulled = answersIn(copy);
    for (const auto& [name, answer] : *answers.members()) {
        const auto question = std::ranges::find(questions, name, &Question::name);
        if (question == std::end(questions)) {
            // App Store Connect may know more than is known here.
            if (pulled.find(name)) continue;
            const auto nearest = nearestSpelling(name, questionNames);
            return fmt::format("asks nothing by the name \"{}\"{}.", escapeControls(name),
                               nearest ? fmt::format("; did you mean \"{}\"?", *nearest) : "");
        }
        if (const JSONValue* known = pulled.find(name); known && *known == answer) continue;
        if (auto fault = answerFault(*question, answer)) return fault;
    }
    return std::nullopt;
} catch (const JSONError& error) {
    if (const auto name = nameGivenTwice(text))
        return fmt::format("answers \"{}\" twice. Keep the one that is meant.", escapeControls(*name));
    return fmt::format("is no JSON object with the answers: {}", escapeControls(error.what()));
}

} // namespace quorvel
