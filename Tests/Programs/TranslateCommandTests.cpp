#include "Sandbox/relay/PseudoLocale.h"
#include "Tests/Programs/QuorvelFixture.h"

#include <algorithm>
#include <csignal>
#include <thread>

namespace quorvel::test {
namespace {

using sandbox::undoPseudoLocalisation;
using testing::HasSubstr;
using testing::Not;

class TranslateCommands : public QuorvelAccountTest {
  protected:
    TranslateCommands() {
        EXPECT_EQ(run({"apps", "import", app}).status, 0);
        EXPECT_EQ(run({"pull", "--folder", "texts"}).status, 0);
    }
    ProgramResult translate(std::vector<std::string> more) {
        more.insert(more.begin(), {"translate", "--folder", "texts"});
        return run(std::move(more));
    }
    std::string read(std::string_view locale, std::string_view file) const {
        return readFile(text(locale, file)).value_or("(no file)");
    }
    std::int64_t calls() const { return server.relayAccount().calls; }
};

TEST_F(TranslateCommands, fillANewLocaleListItForReviewAndPayOnce) {
    const auto result = translate({"--to", "bn-BD", "--json"});
    EXPECT_EQ(result.status, 0) << result.error;
    const JSONValue document = onlyDocument(result.out);
    const auto& fields = *document.at("report", "texts")->items();
    ASSERT_EQ(fields.size(), 5u) << "the release notes of the source are empty";
    for (const JSONValue& field : fields) {
        EXPECT_TRUE(*field.find("review")->boolean());
        EXPECT_LE(*field.find("length")->integer(), *field.find("limit")->integer());
    }
    EXPECT_EQ(undoPseudoLocalisation(read("bn-BD", "subtitle.txt")), read("en-US", "subtitle.txt"));
    EXPECT_EQ(calls(), 5);

    const auto nothing = translate({});
    EXPECT_THAT(nothing.out, HasSubstr("Nothing to translate."));
    EXPECT_THAT(nothing.error, HasSubstr("--all"));
    EXPECT_THAT(translate({"--field", "releaseNotes", "--all"}).error, HasSubstr("empty in en-US"));
    const auto itself = translate({"--to", "en-US"});
    EXPECT_EQ(itself.status, 2);
    EXPECT_THAT(itself.error, HasSubstr("en-US is the source locale"));
    writeFileAtomically(text("bn-BD", "name.txt"), "Von Hand");
    const auto again = translate({"--to", "bn-BD", "--all"});
    EXPECT_THAT(again.out, HasSubstr("from the cache, review"));
    EXPECT_THAT(again.out, HasSubstr("Wrote 5 texts for $0.00"));
    EXPECT_EQ(undoPseudoLocalisation(read("bn-BD", "name.txt")), read("en-US", "name.txt"));
    EXPECT_THAT(again.error, testing::ContainsRegex("backed up, such as .*/kept/.*/bn-BD/name.txt"));
    EXPECT_EQ(calls(), 5);

    writeFileAtomically(text("en-US", "name.txt"), read("en-US", "name.txt") + "\n");
    EXPECT_THAT(translate({}).out, HasSubstr("Nothing to translate.")) << "an editor only ended the line";
    writeFileAtomically(text("en-US", "subtitle.txt"), "A newer one");
    EXPECT_THAT(translate({"--to", "bn-BD"}).out, HasSubstr("Wrote 1 text for"));
    EXPECT_EQ(undoPseudoLocalisation(read("bn-BD", "subtitle.txt")), "A newer one");

    const JSONValue costs = onlyDocument(run({"costs", "--days", "1", "--json"}).out);
    const JSONValue& model = costs.find("models")->items()->front();
    EXPECT_EQ(*model.find("calls")->integer(), 6);
    EXPECT_EQ(*model.find("inputTokens")->integer(), server.relayAccount().promptTokens);
    EXPECT_EQ(*model.find("outputTokens")->integer(), server.relayAccount().completionTokens);
}

TEST_F(TranslateCommands, summariseADryRunWithoutARelayAndShowItsPromptsOnRequest) {
    environment.erase("QUORVEL_ENDPOINTS");
    const auto shown = translate({"--to", "bn-BD", "--field", "subtitle", "--dry-run"});
    EXPECT_EQ(shown.status, 0) << shown.error;
    EXPECT_THAT(shown.out, testing::ContainsRegex("1 +To be asked for +bn-BD Subtitle"));
    EXPECT_THAT(shown.out, Not(HasSubstr("characters")));
    EXPECT_THAT(translate({"--to", "bn-BD", "--field", "subtitle", "--dry-run", "--verbose"}).out,
                HasSubstr("The output for this subtitle MUST be ≤ 30 characters."));
    EXPECT_THAT(shown.error, HasSubstr("1 request would be sent"));
    const auto refused = translate({"--to", "bn-BD", "--field", "subtitle"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.error, HasSubstr("The AI service is not configured"));
    EXPECT_EQ(run({"status", "--folder", "texts"}).status, 0) << "everything else works";
    EXPECT_FALSE(std::filesystem::exists(text("bn-BD", "subtitle.txt")));
}

TEST_F(TranslateCommands, warnOfWhatWasCutAndOfWhatFailed) {
    server.setModelManner({.tooLongAnswers = 9});
    const auto cut = translate({"--to", "bn-BD", "--field", "subtitle"});
    EXPECT_EQ(cut.status, 0) << cut.error;
    EXPECT_THAT(cut.out, HasSubstr("cut, review"));
    EXPECT_THAT(cut.error, HasSubstr("Translation is over the 30-char limit even after retries."));

    server.setModelManner({});
    server.setFaults({sandbox::parseFault("POST /relay/**:404:1:1")});
    const auto partly = translate({"--to", "ur-PK", "--field", "subtitle", "--field", "name"});
    EXPECT_EQ(partly.status, 7) << partly.all();
    EXPECT_THAT(partly.error, HasSubstr("This went wrong on purpose."));
    server.setFaults({sandbox::parseFault("POST /relay/**:reset")});
    EXPECT_EQ(translate({"--to", "pa-IN", "--field", "subtitle"}).status, 6);
    server.setFaults({sandbox::parseFault("POST /relay/**:403")});
    const auto refused = translate({"--to", "pa-IN"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.error,
                testing::ContainsRegex("Penwise is not available.* [(]pa-IN Name, pa-IN Subtitle, "));
    const auto none = translate({"--to", "de"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.error, HasSubstr("de-DE"));
}

TEST_F(TranslateCommands, keepAndRecordWhatAnInterruptedRunWrote) {
    server.setFaults({{.route = "POST /relay/**", .status = 429, .count = 1, .retryAfter = 600}});
    ChildProgram waiting(
        call({"translate", "--folder", "texts", "--to", "bn-BD", "--field", "name", "--field", "subtitle"}));
    while (!std::filesystem::exists(text("bn-BD", "name.txt")) &&
           !std::filesystem::exists(text("bn-BD", "subtitle.txt"))) // one of them waits
        std::this_thread::yield();
    waiting.signal(SIGINT);
    const auto result = waiting.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.error, HasSubstr("ended before the interruption; what was written stays"));
    EXPECT_THAT(run({"locale", "list"}).out, HasSubstr("bn-BD")) << "a pull knows of it";
}

TEST_F(TranslateCommands, askBeforeAnExpensiveRunOnATerminal) {
    ProgramCall asking = call({"translate", "--folder", "texts", "--all"});
    asking.streams = ProgramCall::Streams::terminal;
    asking.input = "n\n";
    const auto refused = runProgram(asking);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, HasSubstr("This is estimated to cost at most $"));
    EXPECT_EQ(calls(), 0);
    asking.environment.erase("QUORVEL_ENDPOINTS");
    const auto unconfigured = runProgram(asking);
    EXPECT_EQ(unconfigured.status, 3);
    EXPECT_THAT(unconfigured.out, Not(HasSubstr("estimated to cost"))) << "nobody could be asked for that";
}

TEST_F(TranslateCommands, keepTextsThatNobodyReadOutOfAPush) {
    const auto shown = [&](std::string_view command) {
        return run({std::string(command), "--folder", "texts"}).all();
    };
    ASSERT_EQ(translate({"--to", "bn-BD", "--field", "subtitle", "--field", "name"}).status, 0);
    EXPECT_THAT(shown("status"),
                HasSubstr("2 texts were generated and not read since (bn-BD Name, bn-BD Subtitle)"));
    EXPECT_THAT(shown("diff"), HasSubstr("generated, unread"));
    server.forgetRequests();
    const auto left = run({"push", "--folder", "texts", "--yes"});
    EXPECT_EQ(left.status, 1) << left.all();
    EXPECT_THAT(left.out, HasSubstr("Was generated and not read since. Read it and accept it"));
    ProgramCall asking = call({"push", "--folder", "texts"});
    asking.streams = ProgramCall::Streams::terminal;
    asking.input = "n\n";
    std::string asked = runProgram(asking).out;
    std::erase(asked, '\r');
    std::ranges::replace(asked, '\n', ' ');
    EXPECT_THAT(asked, HasSubstr("of which nobody read 2 generated texts? [y/N]"));
    asking = call({"push", "--folder", "texts", "--yes"});
    asking.streams = ProgramCall::Streams::terminal;
    EXPECT_EQ(runProgram(asking).status, 1) << "a terminal that is asked nothing allows nothing";
    EXPECT_EQ(changesSent(), 0u);

    writeFileAtomically(text("bn-BD", "name.txt"), "Von Hand");
    EXPECT_THAT(shown("status"), HasSubstr("1 text was generated"));
    EXPECT_THAT(translate({"--accept", "--field", "name"}).out,
                HasSubstr("Nothing to accept. 1 text still unread."));
    EXPECT_THAT(translate({"--accept", "--dry-run"}).out, HasSubstr("Would accept 1 text."));
    EXPECT_EQ(run({"push", "--folder", "texts", "--yes"}).status, 7) << "the edited name goes alone";
    EXPECT_EQ(run({"push", "--folder", "texts", "--yes", "--allow-unreviewed"}).status, 0);
    EXPECT_THAT(shown("status"), HasSubstr("1 text was generated")) << "nobody read it by pushing it";
    const auto accepted = translate({"--accept", "--to", "bn-BD"});
    EXPECT_EQ(accepted.status, 0) << accepted.error;
    EXPECT_THAT(accepted.out, HasSubstr("Accepted 1 text."));
    EXPECT_THAT(shown("status"), Not(HasSubstr("not read since")));
    EXPECT_EQ(translate({"--accept", "--all"}).status, 2);
    EXPECT_EQ(translate({"--accept", "--to", "kn-IN"}).status, 4) << "there is no such folder";
    EXPECT_EQ(calls(), 2);
}

TEST_F(TranslateCommands, askAgainForWhatAModelSpoiltAndTellWhatStaysOdd) {
    const std::string source = "Ask help@tide.example about {name}: 24 hours, www.tide.example\n\nSee you.";
    writeFileAtomically(text("en-US", "description.txt"), source);
    const auto answered = [&](std::vector<std::string> script, std::string_view locale) {
        server.setModelManner({.script = std::move(script)});
        return translate({"--to", std::string(locale), "--field", "description", "--all"});
    };
    const auto bettered = answered({"refusal", "careless"}, "bn-BD");
    EXPECT_EQ(bettered.status, 0) << bettered.error;
    EXPECT_EQ(calls(), 3);
    EXPECT_EQ(undoPseudoLocalisation(read("bn-BD", "description.txt")), source);
    const auto noted = answered({"remark", "remark"}, "gu-IN");
    EXPECT_THAT(noted.out, HasSubstr("see remarks, review"));
    EXPECT_THAT(noted.error, HasSubstr("seems to speak about the text: “Note: I kept the tone"));
    const auto turned = answered({"rightToLeft"}, "he");
    EXPECT_THAT(turned.error, Not(HasSubstr("missing")));
    EXPECT_THAT(read("he", "description.txt"),
                testing::AllOf(HasSubstr("٢٤"), HasSubstr("help@tide.example")));

    const struct {
        std::vector<std::string> script;
        std::string_view locale, problem;
    } failures[] = {
        {{"filtered", "filtered"}, "ur-PK", "the service's content filter cut the answer short"},
        {{"brokenOff"}, "pa-IN", "broke off at the limit of 8192 output tokens"},
        {{"careless", "careless", "careless", "careless"}, "or-IN", "lost what programs fill in: {name}"}};
    for (const auto& [script, locale, problem] : failures) {
        const auto failed = answered(script, locale);
        EXPECT_EQ(failed.status, 1) << failed.all();
        EXPECT_THAT(failed.error, HasSubstr(problem));
        EXPECT_EQ(read(locale, "description.txt"), "(no file)");
    }
    server.setModelManner({.script = {"badJSON", "badJSON"}});
    const auto keywords = run({"keywords", "expand-english", "--folder", "texts", "--all"});
    EXPECT_EQ(keywords.status, 1);
    EXPECT_THAT(keywords.error, HasSubstr("Failed to decode Penwise response"));
}

TEST_F(TranslateCommands, generateKeywordsAndExpandTheEnglishOnes) {
    const auto generated = run({"keywords", "generate", "--folder", "texts", "--to", "bn-BD"});
    EXPECT_EQ(generated.status, 0) << generated.error;
    EXPECT_EQ(undoPseudoLocalisation(read("bn-BD", "keywords.txt")), read("en-US", "keywords.txt"));
    server.setModelManner({.wrapping = "proseAndFence"});
    const auto expanded = run({"keywords", "expand-english", "--folder", "texts", "--all"});
    EXPECT_EQ(expanded.status, 0) << expanded.error;
    EXPECT_THAT(expanded.out, HasSubstr("Wrote the keywords of 4 locales"));
    EXPECT_NE(read("en-AU", "keywords.txt"), read("en-CA", "keywords.txt"));
    EXPECT_THAT(expanded.error, testing::ContainsRegex("The keywords of en-GB were backed up as .*/en-GB/"));
    // The first run took words of the name out of the base's keywords, so the second asks anew.
    ASSERT_EQ(run({"keywords", "expand-english", "--folder", "texts", "--all"}).status, 0);
    const auto paid = calls();
    auto watched = call({"keywords", "expand-english", "--folder", "texts", "--all"});
    watched.streams = ProgramCall::Streams::terminal;
    EXPECT_THAT(runProgram(watched).out,
                testing::AllOf(HasSubstr("Asking for keywords…"),
                               HasSubstr("Wrote the keywords of 4 locales for $0.00")));
    EXPECT_EQ(calls(), paid) << "the answer was kept";
    EXPECT_EQ(run({"keywords", "expand-english", "--folder", "texts", "--all", "--fresh"}).status, 0);
    EXPECT_EQ(calls(), paid + 1);
    const auto upToDate = run({"keywords", "expand-english", "--folder", "texts", "--fresh"});
    EXPECT_EQ(upToDate.status, 0) << upToDate.error;
    EXPECT_THAT(upToDate.out, HasSubstr("Every English locale keeps its keywords"));
    EXPECT_THAT(upToDate.error, HasSubstr("en-GB has keywords that are up to date; --all replaces them."));
    EXPECT_EQ(calls(), paid + 1);
    // The base's keywords were tidied meanwhile, so the first of these asks anew.
    for (const auto& [word, asked] : {std::pair{"--quiet", 2}, {"--fresh", 3}}) {
        ASSERT_EQ(run({"keywords", "generate", "--folder", "texts", "--to", "bn-BD", "--all", word}).status,
                  0);
        EXPECT_EQ(calls(), paid + asked) << word;
    }
    EXPECT_EQ(std::filesystem::status(folder / "home/Library/Application Support/Brevant/aso/costs.jsonl")
                  .permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    const auto verbose = translate({"--to", "pl", "--all", "--verbose"});
    EXPECT_THAT(verbose.error, Not(HasSubstr(server.access().relaySecret)));
    EXPECT_THAT(verbose.error, Not(HasSubstr(read("en-US", "subtitle.txt")))) << "no text reaches the log";
}

TEST_F(TranslateCommands, writeEnglishKeywordsOnlyWhereTheyAreWanted) {
    ASSERT_EQ(run({"locale", "disable", "en-CA"}).status, 0);
    const std::string disabled = read("en-CA", "keywords.txt");
    writeFileAtomically(text("en-AU", "keywords.txt"), "");
    const auto planned =
        onlyDocument(run({"keywords", "expand-english", "--folder", "texts", "--dry-run", "--json"}).out);
    EXPECT_EQ(encodeJSON(*planned.at("plan", "locales")), R"(["en-AU"])");
    const std::string british = read("en-GB", "keywords.txt");
    const auto expanded = run({"keywords", "expand-english", "--folder", "texts"});
    EXPECT_EQ(expanded.status, 0) << expanded.error;
    EXPECT_THAT(expanded.out, HasSubstr("Wrote the keywords of 1 locale for at most $"));
    EXPECT_THAT(expanded.error, HasSubstr("en-CA is disabled, so nothing is written."));
    EXPECT_NE(read("en-AU", "keywords.txt"), "");
    EXPECT_EQ(read("en-GB", "keywords.txt"), british);
    ASSERT_EQ(run({"keywords", "expand-english", "--folder", "texts", "--all"}).status, 0);
    EXPECT_NE(read("en-GB", "keywords.txt"), british);
    EXPECT_EQ(read("en-CA", "keywords.txt"), disabled);
}

TEST_F(TranslateCommands, payForNothingThatCannotBePushed) {
    ASSERT_EQ(run({"pull", "--folder", "texts", "--context", "ios/live"}).status, 0);
    writeFileAtomically(folder / "texts/ios/live/en-AU/keywords.txt", "");
    for (const std::vector<std::string>& command : {std::vector<std::string>{"translate", "--to", "bn-BD"},
                                                    {"translate", "--to", "bn-BD", "--dry-run"},
                                                    {"keywords", "expand-english"}}) {
        auto arguments = command;
        arguments.insert(arguments.end(), {"--folder", "texts", "--context", "ios/live"});
        const auto refused = run(arguments);
        EXPECT_EQ(refused.status, 5) << refused.all();
        EXPECT_THAT(refused.error, HasSubstr("This context is read-only."));
    }
    EXPECT_EQ(calls(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "texts/ios/live/bn-BD"));
}

TEST_F(TranslateCommands, tellByTheirStatusThatATextCannotBeRead) {
    createFolders(text("bn-BD", "").parent_path());
    writeFileAtomically(text("bn-BD", "keywords.txt"), "\xff");
    for (const int status : {7, 1}) { // beside the subtitle, and alone
        const auto result = translate({"--to", "bn-BD", "--field", "subtitle", "--field", "keywords"});
        EXPECT_EQ(result.status, status) << result.all();
        EXPECT_THAT(result.error, HasSubstr("bn-BD Keywords is left out: "));
    }
    EXPECT_EQ(calls(), 1);
}

TEST_F(TranslateCommands, renewWhatAPersonTranslatedOnceItsSourceChanges) {
    const std::string german = read("de-DE", "subtitle.txt");
    EXPECT_THAT(translate({"--to", "de-DE"}).out, HasSubstr("Nothing to translate."));
    writeFileAtomically(text("en-US", "subtitle.txt"), "A newer one");
    ASSERT_EQ(run({"push", "--folder", "texts", "--yes"}).status, 0);
    ASSERT_EQ(run({"locale", "set", "sv", "--safe-mode", "on"}).status, 0);
    const auto renewed = translate({"--to", "de-DE", "--to", "sv"});
    EXPECT_EQ(renewed.status, 0) << renewed.error;
    EXPECT_THAT(renewed.out, HasSubstr("Wrote 1 text for less than $0.01."))
        << "safe mode keeps the Swedish one";
    EXPECT_THAT(renewed.error,
                HasSubstr("1 text that is there already will be replaced and backed up first."));
    EXPECT_EQ(undoPseudoLocalisation(read("de-DE", "subtitle.txt")), "A newer one");
    EXPECT_NE(german, "");
}

TEST_F(TranslateCommands, followTheSettingsOfTheAppAndItsLocales) {
    ASSERT_EQ(run({"locale", "add", "sr-Latn"}).status, 2) << "no App Store locale";
    const auto set = run({"apps", "set", app, "--glossary", "de-DE:high tide=Hochwasser", "--glossary",
                          "fr-FR:high tide=marée haute", "--glossary", "de-DE:moon=Mond"});
    EXPECT_EQ(set.status, 0) << set.error;
    EXPECT_THAT(run({"apps", "set", app, "--glossary", "de-DE:moon="}).out,
                HasSubstr("high tide: Hochwasser (de-DE), marée haute (fr-FR)"));
    ASSERT_EQ(run({"locale", "set", "de-DE", "--script", "cyrillic"}).status, 0);
    const auto prompt =
        translate({"--to", "de-DE", "--field", "subtitle", "--all", "--dry-run", "--verbose"});
    EXPECT_THAT(prompt.out, HasSubstr("source matches):\nhigh tide → Hochwasser\n\n"));
    EXPECT_THAT(prompt.out, HasSubstr("- Write in the Cyrillic script."));
    EXPECT_THAT(run({"locale", "set", "de-DE", "--script", "none", "--safe-mode", "on"}).out,
                testing::ContainsRegex("de-DE +yes +on *\n"));
    EXPECT_EQ(run({"apps", "set", app, "--clear", "glossary"}).status, 0);
    EXPECT_THAT(run({"apps", "show", app}).out, testing::ContainsRegex("Glossary +none"));
    const struct {
        std::vector<std::string> command;
        std::string said;
    } refused[] = {{{"apps", "set", app, "--glossary", "Hochwasser"}, "LOCALE:TERM=RENDERING"},
                   {{"apps", "set", app, "--glossary", "de:moon=Mond"}, "de-DE"},
                   {{"apps", "set", app, "--glossary", "de-DE: =Mond"}, "a term of the glossary is empty"},
                   {{"locale", "set", "de-DE", "--script", "Klingonese"}, "is no script"},
                   {{"locale", "set", "de-DE"}, "there is nothing to change"}};
    for (const auto& [command, said] : refused) {
        const auto result = run(command);
        EXPECT_EQ(result.status, 2) << result.all();
        EXPECT_THAT(result.error, HasSubstr(said));
    }
}

} // namespace
} // namespace quorvel::test
