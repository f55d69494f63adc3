#include "Programs/quorvel/commands/DemoKeywords.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/commands/DemoTree.h"

#include <algorithm>
#include <string>

namespace quorvel {

namespace {

constexpr std::string_view newTerm = "lichen";
constexpr std::string_view comingVersion = "3.5";
constexpr double threeDays = 3 * 24 * 60 * 60.0;

// The version of the app that App Review would look at next.
std::string nextVersionID(const JSONValue& state, std::string_view version) {
    if (const JSONValue* versions = state.find("appStoreVersions"))
        for (const auto& [id, one] : *versions->members()) {
            const auto isText = [&](const char* attribute, std::string_view wanted) {
                const JSONValue* text = one.at("attributes", attribute);
                return text && text->text() && *text->text() == wanted;
            };
            if (isText("versionString", version) && isText("platform", "IOS") &&
                isText("appStoreState", "PREPARE_FOR_SUBMISSION"))
                return id;
        }
    return {};
}

// The field with one more term, for which the last ones make room.
std::string withTerm(std::string keywords, std::string_view term) {
    while (graphemeCount(keywords) + 1 + graphemeCount(term) > limitOf(FieldType::keywords))
        keywords.resize(std::max<std::size_t>(keywords.rfind(','), 1));
    return keywords + "," + std::string(term);
}

std::int64_t countOf(std::string_view text, std::string_view part) {
    std::int64_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

} // namespace

std::int64_t playKeywords(DemoStage& stage, std::string_view slug) {
    const std::string app(slug);
    stage.step("Search terms",
               "Where does the store show the app when people search? Terms are followed per storefront, and "
               "beside them the apps of other makers. A refresh asks the store and keeps what it says.");
    stage.command({"keywords", "track", "garden", std::string(newTerm), "--country", "us", "--app", app});
    stage.command({"competitors", "add", "https://apps.apple.com/us/app/id6710000001", "--app", app});
    stage.command({"keywords", "refresh", "--app", app});
    stage.tell("Nobody finds the app by \"lichen\". The keywords of the next version get the term, and the "
               "version goes through review:");
    const DemoTree texts(stage.folder().path() / "home/Documents/Brevant" / app / "ios/next");
    texts.write("en-US", FieldType::keywords, withTerm(texts.read("en-US", FieldType::keywords), newTerm));
    stage.command({"push", "--app", app, "--yes"});
    stage.server().setVersionState(nextVersionID(stage.server().state(), comingVersion), "READY_FOR_SALE");
    stage.server().advance(threeDays);
    stage.tell("Three days of the stand-in's store later, which this machine's clock knows nothing of, so "
               "that --all asks for everything again. What moved by five places, or came onto the first 200, "
               "is an alert; --notify shows it on the desktop, once:");
    stage.command({"keywords", "refresh", "--all", "--app", app});
    const std::int64_t alerts = countOf(stage.lastOutput(), "(us): Now ranking at #");
    stage.command({"keywords", "ranks", "--app", app});
    stage.tell("And which terms may be worth it:");
    stage.command({"keywords", "suggest", "--country", "us", "--limit", "5", "--app", app});
    return alerts;
}

} // namespace quorvel
