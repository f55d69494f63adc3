#include "Sandbox/seeds/Seeds.h"

#include <fmt/format.h>

#include <iterator>

namespace quorvel::sandbox {
namespace {

struct Opinion {
    std::string_view territory, nickname;
    int rating;
    std::string_view title, body;
};

constexpr Opinion opinions[] = {
    {"USA", "rakeandhoe", 5, "Replaced three notebooks",
     "I finally know what I planted where. The frost alert saved my basil."},
    {"DEU", "Beetnachbar", 5, "Genau richtig",
     "Endlich ein Gartentagebuch ohne Konto und Werbung. Läuft auch im Schrebergarten ohne Netz."},
    {"JPN", "みどりの指", 4, "毎日使っています",
     "水やりの一覧が便利です。花壇をコピーできるともっと嬉しいです。"},
    {"FRA", "potager_du_lac", 5, "Indispensable", "Simple, beau, et les alertes de gel sont fiables."},
    {"GBR", "AllotmentAnnie", 3, "Lovely but slow",
     "Opening the photo page takes ages on my old phone. Otherwise very good."},
    {"USA", "tomatotom", 1, "Lost my notes",
     "After the last update two beds were empty. Support answered within a day and got them back, "
     "but still."},
    {"BRA", "hortadabia", 5, "Muito bom!", "Organizo minha horta toda aqui. Só falta widget."},
    {"KOR", "텃밭지기", 5, "텃밭 필수 앱", "파종 날짜를 잊지 않게 됐어요."},
    {"ITA", "ortolano72", 4, "Quasi perfetta",
     "Mi piacerebbe poter esportare i raccolti in un foglio di calcolo."},
    {"ESP", "lahuertadeleo", 2, "Avisos tarde", "Los recordatorios me llegan un día después."},
    {"CHN", "阳台种菜", 5, "好用", "界面干净，没有广告，支持离线。"},
    {"SWE", "odlarlotta", 4, "Bra app", "Skulle vilja dela bäddar med min granne."},
    {"RUS", "дачник_в", 5, "Отлично", "Работает без интернета на даче, это главное."},
    {"SAU", "بستاني", 4, "تطبيق جميل", "التنبيهات مفيدة جدًا، أتمنى إضافة نباتات صحراوية."},
    {"NLD", "moestuinmaatje", 5, "Top", "Overzichtelijk en snel. 🌱👩‍🌾"},
    {"MEX", "jardinera_oax", 3, "Le faltan plantas",
     "Faltan variedades de chile, pero lo demás funciona bien."},
};

constexpr std::string_view replies[] = {
    "Thank you for writing! The next version opens photos much faster; tell us how it goes.",
    "Danke für die Rückmeldung! Darüber freut sich das ganze Team.",
    "We are sorry about that. Write to help@fernhollow.example and we will look into it together.",
};

} // namespace

void addReviews(World& world, const Resource& app, int count) {
    constexpr double spacing = 7 * 3600 + 1234; // seconds between reviews
    const double newest = secondsSince1970(world.now()) - 3600;
    const std::string appID = app.id;
    for (int i = 0; i < count; ++i) {
        const auto index = static_cast<std::size_t>(i);
        const Opinion& opinion = opinions[(index * 7) % std::size(opinions)];
        const Date date = dateFromSecondsSince1970(newest - i * spacing);
        const std::string nickname = index < std::size(opinions) ? std::string(opinion.nickname)
                                                                 : fmt::format("{}{}", opinion.nickname, i);
        const Resource& review = world.store.add("customerReviews",
                                                 JSONValue::object({{"rating", opinion.rating},
                                                                    {"title", opinion.title},
                                                                    {"body", opinion.body},
                                                                    {"reviewerNickname", nickname},
                                                                    {"createdDate", serviceDate(date)},
                                                                    {"territory", opinion.territory}}),
                                                 {{"app", appID}});
        if (i % 5 != 4) continue;
        const Date answered = dateFromSecondsSince1970(newest - i * spacing + 3000);
        world.store.add("customerReviewResponses",
                        JSONValue::object({{"responseBody", replies[index / 5 % std::size(replies)]},
                                           {"lastModifiedDate", serviceDate(answered)},
                                           {"state", "PUBLISHED"}}),
                        {{"review", review.id}});
    }
}

} // namespace quorvel::sandbox
