#include "Sandbox/relay/ReviewModel.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace quorvel::sandbox {
namespace {

/// What is said of reviews that hold some words.
struct ReadReview {
    std::string_view words;
    std::string_view sentiment;
    std::array<std::string_view, 2> themes;
    std::string_view reply;
};

constexpr ReadReview readReviews[] = {
    {"frost alert",
     "positive",
     {"frost alerts", "replaces notebooks"},
     "The frost alert is the part I use most in my own garden, so it makes me happy that it saved your "
     "basil. Three notebooks fewer is a fine harvest, too. Enjoy the season!"},
    {"Schrebergarten",
     "positive",
     {"works offline", "no ads"},
     "Ohne Konto, ohne Werbung und auch ohne Netz: genau so soll es bleiben. Schön, dass es sich im "
     "Schrebergarten bewährt. Viel Freude mit den Beeten!"},
    {"水やり",
     "positive",
     {"watering list", "copy beds"},
     "水やりの一覧を毎日使ってくださっているとのこと、とても励みになります。花壇のコピーのご要望も、"
     "しっかり受け取りました。"},
    {"alertes de gel",
     "positive",
     {"frost alerts", "beautiful design"},
     "Les alertes de gel demandent beaucoup de soin, et savoir que vous vous y fiez compte pour nous. Merci "
     "pour ces mots sur le dessin de l'application."},
    {"photo page",
     "mixed",
     {"slow photo page", "old phones"},
     "Waiting for the photo page is no fun, least of all on an older phone. I am looking into what makes it "
     "slow there. It helps to know that the rest works well for you."},
    {"beds were empty",
     "negative",
     {"lost notes", "helpful support"},
     "Two empty beds after an update must have been a shock, and that should not happen to anybody's notes. "
     "It is good that they came back. I am looking at how the update could do that."},
    {"widget",
     "positive",
     {"garden overview", "missing widget"},
     "Que bom saber que a sua horta inteira está aqui! O pedido do widget ficou anotado."},
    {"파종",
     "positive",
     {"sowing dates"},
     "파종 날짜를 잊지 않게 되셨다니 정말 기쁩니다. 텃밭에서 좋은 수확 거두시길 바랍니다."},
    {"foglio di calcolo",
     "mixed",
     {"missing export", "almost perfect"},
     "Portare i raccolti in un foglio di calcolo è un desiderio che capisco bene, e l'ho annotato. Grazie "
     "per il «quasi perfetta»!"},
    {"recordatorios",
     "negative",
     {"late reminders"},
     "Un recordatorio que llega un día después no sirve de nada, y entiendo el enfado. Estoy mirando por qué "
     "se retrasan los tuyos."},
    {"界面干净",
     "positive",
     {"clean interface", "works offline"},
     "界面干净、没有广告、离线可用，这正是我们想做到的。祝您的阳台越来越绿！"},
    {"dela bäddar",
     "mixed",
     {"missing sharing", "good app"},
     "Att dela bäddar med grannen är en fin tanke, och jag har skrivit upp den. Kul att appen passar dig!"},
    {"интернета на даче",
     "positive",
     {"works offline"},
     "На даче связь бывает не всегда, поэтому работа без интернета для нас самих важнее всего. Хорошего "
     "урожая!"},
    {"نباتات صحراوية",
     "positive",
     {"useful reminders", "desert plants"},
     "يسعدني أن التنبيهات مفيدة لك. دوّنت رغبتك في إضافة النباتات الصحراوية."},
    {"Overzichtelijk",
     "positive",
     {"clear overview", "fast"},
     "Overzichtelijk en snel, daar doen we het voor. Veel plezier in de moestuin! 🌱"},
    {"variedades de chile",
     "mixed",
     {"missing plants", "works well"},
     "Las variedades de chile que faltan quedaron anotadas. Qué gusto que lo demás te funcione bien."}};

const ReadReview* findReadReview(std::string_view body) {
    const auto found = std::ranges::find_if(
        readReviews, [&](const ReadReview& each) { return body.find(each.words) != body.npos; });
    return found == std::end(readReviews) ? nullptr : found;
}

std::string_view restAfter(std::string_view text, std::string_view begin) {
    const std::size_t start = text.find(begin);
    return start == text.npos ? std::string_view() : text.substr(start + begin.size());
}

std::string_view partOf(std::string_view text, std::string_view begin, std::string_view end) {
    const std::string_view rest = restAfter(text, begin);
    return rest.substr(0, std::min(rest.find(end), rest.size()));
}

char starsIn(std::string_view user) {
    const std::string_view stars = partOf(user, "Rating: ", "/5");
    return stars.empty() ? '3' : stars.front();
}

std::string_view sentimentOfStars(char stars) {
    return stars >= '4' ? "positive" : stars == '3' ? "neutral" : "negative";
}

} // namespace

bool asksForSentiment(std::string_view system) {
    return system.starts_with("You classify App Store customer reviews");
}

bool asksForReply(std::string_view system) {
    return system.starts_with("You write replies from an indie app developer");
}

std::string_view reviewBodyIn(std::string_view user) {
    if (user.starts_with("Rating: ")) {
        const std::size_t end = user.rfind("\nTerritory: ");
        return restAfter(user.substr(0, end), "\nBody: ");
    }
    const std::size_t end = std::min(user.rfind("\nBrand voice to match: "), user.rfind("\nDeveloper note "));
    return restAfter(user.substr(0, end), "\nReview body: ");
}

std::string sentimentOf(std::string_view user) {
    JSONValue::Array themes;
    const ReadReview* known = findReadReview(reviewBodyIn(user));
    if (known)
        for (const std::string_view theme : known->themes)
            if (!theme.empty()) themes.emplace_back(theme);
    return encodeJSON(
        JSONValue::object({{"sentiment", known ? known->sentiment : sentimentOfStars(starsIn(user))},
                           {"themes", JSONValue(std::move(themes))}}));
}

std::string replyTo(std::string_view user) {
    const std::string_view note = trim(partOf(user, "beyond the review): ", "\nWrite the reply."));
    const ReadReview* known = findReadReview(reviewBodyIn(user));
    std::string reply(known ? known->reply
                      : starsIn(user) >= '4'
                          ? "It is good to know that the app serves you well. Enjoy it!"
                          : "What you describe is not how it should be. I am looking into it.");
    if (!note.empty() && !note.starts_with("(none")) reply += " " + std::string(note);
    return reply;
}

} // namespace quorvel::sandbox
