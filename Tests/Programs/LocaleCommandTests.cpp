#include "Tests/Programs/MetadataFixture.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class LocaleCommands : public MetadataCommands {
  protected:
    ProgramResult remove(std::vector<std::string> more) {
        more.insert(more.begin(), {"locale", "remove", "--app", app, "--folder", "texts"});
        return run(std::move(more));
    }
    [[nodiscard]] std::size_t deletions() const {
        std::size_t count = 0;
        for (const auto& request : server.requests())
            count += request.method == "DELETE";
        return count;
    }
    /// How many localizations of a locale there are for a parent that takes edits, or was on sale before.
    [[nodiscard]] std::size_t onStore(std::string_view locale, std::string_view type) const {
        const JSONValue state = server.state();
        std::size_t count = 0;
        for (const auto& [id, resource] : *state.find(type)->members())
            if (const JSONValue* code = resource.at("attributes", "locale"); code && *code->text() == locale)
                ++count;
        return count;
    }
    static constexpr const char* versionTexts = "appStoreVersionLocalizations";
    static constexpr const char* infoTexts = "appInfoLocalizations";
};

TEST_F(LocaleCommands, removesALocaleOnBothSidesAndBringsItBack) {
    ASSERT_EQ(pull().status, 0);
    write("de-DE", "subtitle.txt", "Noch nicht gesendet");
    write("de-DE", "notes.md", "ours");
    const std::string description = read("de-DE", "description.txt");
    const std::size_t versionsBefore = onStore("de-DE", versionTexts),
                      infosBefore = onStore("de-DE", infoTexts);
    server.forgetRequests();

    const auto dry = remove({"de-DE", "--dry-run"});
    EXPECT_EQ(dry.status, 0) << dry.all();
    EXPECT_THAT(
        dry.out,
        AllOf(HasSubstr("de-DE\n  here: "), HasSubstr("moved into a backup"),
              HasSubstr("  edits that App Store Connect does not hold: Subtitle\n"),
              HasSubstr("  on App Store Connect: "), HasSubstr("the screenshots of "),
              HasSubstr("name and subtitle stay on App Store Connect, as macos/next has the locale")));
    EXPECT_EQ(remove({"de-DE"}).status, 2); // nobody to ask
    const auto primary = remove({"en-US", "--yes"});
    EXPECT_EQ(primary.status, 5);
    EXPECT_THAT(primary.out, HasSubstr("en-US stays: it is the app's primary locale"));
    EXPECT_EQ(remove({"bn-BD", "--yes"}).status, 4);
    EXPECT_EQ(deletions(), 0u);
    EXPECT_EQ(read("de-DE", "subtitle.txt"), "Noch nicht gesendet");

    const auto removed = remove({"de-DE", "--yes"});
    EXPECT_EQ(removed.status, 0) << removed.all();
    EXPECT_EQ(deletions(), 1u);
    EXPECT_EQ(onStore("de-DE", versionTexts), versionsBefore - 1);
    EXPECT_EQ(onStore("de-DE", infoTexts), infosBefore);
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/next/de-DE"));
    const std::string line = removed.out.substr(removed.out.find("Moved de-DE to ") + 15);
    const std::filesystem::path kept = line.substr(0, line.find(".\n"));
    EXPECT_EQ(readFile(kept / "subtitle.txt"), "Noch nicht gesendet");
    EXPECT_EQ(readFile(kept / "notes.md"), "ours");
    // The name that macOS keeps does not bring it back, whoever is asked.
    for (const std::vector<std::string>& words : {std::vector<std::string>{"status"},
                                                  {"diff", "--remote"},
                                                  {"pull", "--dry-run"},
                                                  {"pull"},
                                                  {"status"},
                                                  {"push", "--dry-run"}}) {
        auto asked = words;
        asked.insert(asked.end(), {"--app", app, "--folder", "texts"});
        EXPECT_THAT(run(asked).all(), Not(HasSubstr("de-DE"))) << words.front();
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/next/de-DE"));

    EXPECT_THAT(run({"history", "show", "last", "--app", app}).out,
                AllOf(HasSubstr("de-DE Description  removed"), Not(HasSubstr("pushed"))));
    const auto reverted = run({"history", "revert", "last", "--app", app, "--folder", "texts"});
    EXPECT_EQ(reverted.status, 0) << reverted.all();
    EXPECT_THAT(reverted.all(), HasSubstr("de-DE was removed. Its folder was made anew"));
    EXPECT_EQ(read("de-DE", "description.txt"), description);
    const auto pushed = push({"--locale", "de-DE"});
    EXPECT_EQ(pushed.status, 0) << pushed.all();
    EXPECT_EQ(onStore("de-DE", versionTexts), versionsBefore);
    ASSERT_EQ(pull().status, 0);
    EXPECT_NE(read("de-DE", "name.txt"), "(no file)"); // it is the version's again
}

TEST_F(LocaleCommands, removesEachLocaleWithItsOwnOutcomeAndGoesOnWhereItWas) {
    ASSERT_EQ(pull().status, 0);
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "texts", "--context", "macos/next"}).status, 0);
    // The last version with the locale takes the app info's texts along.
    const std::vector<std::string> fromMac = {"ja", "it", "--remote", "--context", "macos/next", "--yes"};
    ASSERT_EQ(remove(fromMac).status, 0);
    const std::size_t infos = onStore("ja", infoTexts);
    // The process might as well have been killed between the two requests.
    server.setFaults({{.route = "DELETE /v1/appInfoLocalizations/*", .status = 409, .count = 1}});
    const auto partly = remove({"ja", "it", "--yes", "--context", "ios/next"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_THAT(partly.out, HasSubstr("Removed it from App Store Connect."));
    EXPECT_THAT(partly.error, AllOf(HasSubstr("ja: "), HasSubstr("Remove it again to go on.")));
    EXPECT_NE(read("ja", "name.txt"), "(no file)");
    EXPECT_EQ(onStore("ja", infoTexts), infos);
    // An answer that is lost costs nothing: what is gone is gone.
    server.setFaults({{.route = "DELETE /v1/appInfoLocalizations/*", .action = "resetAfter", .count = 1}});
    server.forgetRequests();
    const auto again = remove({"ja", "--yes", "--context", "ios/next"});
    EXPECT_EQ(again.status, 0) << again.all();
    EXPECT_EQ(onStore("ja", infoTexts), infos - 1);
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/next/ja"));
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/next/.brevant/asc/ja"));
    EXPECT_EQ(remove({"ja", "--yes", "--context", "ios/next"}).status, 4);

    server.forgetRequests();
    const auto source = remove({"en-US", "--local", "--yes"});
    EXPECT_EQ(source.status, 5) << source.all();
    EXPECT_THAT(source.out, HasSubstr("en-US stays: it is the app's source locale"));
    EXPECT_NE(read("en-US", "name.txt"), "(no file)");
    const auto local = run({"locale", "remove", "sv", "--local", "--yes", "--folder", "texts"});
    EXPECT_EQ(local.status, 0) << local.all();
    EXPECT_THAT(local.error, HasSubstr("'quorvel locale disable sv'"));
    EXPECT_EQ(server.requests().size(), 0u);
    // All tell the same of a folder that was removed.
    for (const std::vector<std::string>& words : {std::vector<std::string>{"status"},
                                                  {"diff", "--remote"},
                                                  {"pull", "--dry-run"},
                                                  {"push", "--dry-run"}}) {
        auto asked = words;
        asked.insert(asked.end(), {"--app", app, "--folder", "texts"});
        EXPECT_THAT(run(asked).error, AllOf(HasSubstr("sv is on App Store Connect but has no folder here"),
                                            HasSubstr("a pull brings it back")))
            << words.front();
    }

    write("fr-FR", "promotional_text.txt", "");
    write("pl", "keywords.txt", "ogród");
    writeFileAtomically(folder / "texts/ios/next/.brevant/asc/pl/keywords.txt", "");
    ASSERT_EQ(run({"locale", "disable", "fr-FR", "--app", app}).status, 0);
    const auto listed = run({"locale", "list", "--app", app, "--folder", "texts"});
    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.out, testing::ContainsRegex("\npl .* local .*\n"));
    EXPECT_THAT(listed.out, testing::ContainsRegex("\nsv .*store .* no folder here"));
    EXPECT_THAT(listed.out, testing::ContainsRegex("\nfr-FR .*disabled"));
    const JSONValue texts = documented({"locale", "list", "--app", app, "--folder", "texts"}, "texts");
    for (const JSONValue& one : *texts.find("locales")->items()) {
        if (*one.find("locale")->text() != "pl") continue;
        EXPECT_EQ(*one.at("texts", "keywords")->text(), "local");
    }
    EXPECT_THAT(pull().error, HasSubstr("sv had no folder here and is back"));
    EXPECT_NE(read("sv", "name.txt"), "(no file)");
}

} // namespace
} // namespace quorvel::test
