#include "Core/asc/ASCClient.h"
#include "Core/asc/ASCCredentialsLoader.h"
#include "Tests/Programs/MetadataFixture.h"

#include <functional>

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// Two people edit the texts of an app: one with the program, the other one on App Store Connect.
class ConflictCommands : public MetadataCommands {
  protected:
    ConflictCommands() {
        onVersion("de-DE", {.description = "Erstens\n\nZweitens"});
        EXPECT_EQ(pull().status, 0);
    }

    // What the other one does.
    void onVersion(std::string_view locale, const VersionLocalizationPatchAttributes& texts) {
        for (const auto& version : client().listAppStoreVersions(garden, ASCPlatform::iOS))
            if (version.attributes.appStoreState == "PREPARE_FOR_SUBMISSION")
                for (const auto& one : client().listVersionLocalizations(version.id))
                    if (one.attributes.locale == locale)
                        (void)client().updateVersionLocalization(one.id, texts);
    }
    void onAppInfo(std::string_view locale, const AppInfoLocalizationPatchAttributes& texts) {
        for (const auto& info : client().listAppInfos(garden))
            if (info.attributes.appStoreState == "PREPARE_FOR_SUBMISSION")
                for (const auto& one : client().listAppInfoLocalizations(info.id))
                    if (one.attributes.locale == locale)
                        (void)client().updateAppInfoLocalization(one.id, texts);
    }
    const ASCClient& client() {
        if (!client_)
            client_.emplace(ASCClient::Parts{
                .baseURL = server.access().url,
                .http = std::make_shared<URLSessionHTTPClient>(std::make_shared<URLSession>()),
                .tokens = std::make_shared<ASCTokenProvider>(
                    makeAuth({server.access().keyID, server.access().issuerID,
                              readFile(server.access().privateKeyFile).value()}))});
        return *client_;
    }

    ProgramResult on(std::vector<std::string> words) {
        words.insert(words.end(), {"--app", app, "--folder", "texts"});
        return run(std::move(words));
    }
    // All files of the tree but the lock.
    [[nodiscard]] std::map<std::string, std::string> tree() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "texts"))
            if (entry.is_regular_file() && entry.path().filename() != "lock")
                files[entry.path().string()] = *readFile(entry.path());
        return files;
    }
    // An editor that is a script of these lines; the file is its last argument.
    void useEditor(std::string_view lines) {
        const auto script = folder / "my editors/ed.sh";
        createFolders(script.parent_path());
        writeFileAtomically(script, "#!/bin/sh\n" + std::string(lines) + "\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        environment["VISUAL"] = "'" + script.string() + "' --wait \"$(touch pwned)\"";
    }

    static constexpr const char* garden = "6700000101";

  private:
    std::optional<ASCClient> client_;
};

TEST_F(ConflictCommands, leadFromTwoPeoplesEditsToAPushThatLosesNothing) {
    onVersion("de-DE", {.description = "Erstens\n\nZweitens, neu", .promotionalText = "Von anderen"});
    onAppInfo("de-DE", {.subtitle = "Deren Untertitel"});
    onAppInfo("ja", {.subtitle = "彼ら"});
    write("de-DE", "description.txt", "Erstens, besser\n\nZweitens\n");
    write("de-DE", "subtitle.txt", "Mein Untertitel");
    write("ja", "subtitle.txt", "私");
    write("fr-FR", "keywords.txt", "fleurs,jardin");

    const auto before = tree();
    server.forgetRequests();
    const auto looked = on({"diff", "--remote"});
    EXPECT_EQ(looked.status, 0) << looked.all();
    EXPECT_THAT(
        looked.out,
        AllOf(HasSubstr("de-DE Description  Changed on both sides, on App Store Connect so; a pull merges"),
              HasSubstr("Zweitens{+, neu+}"), HasSubstr("Erstens{+, besser+}"),
              HasSubstr("de-DE Promo text  Changed on App Store Connect only."),
              HasSubstr("fr-FR Keywords  Changed here only."), HasSubstr("a pull makes it a conflict."),
              HasSubstr("5 texts changed: 1 on App Store Connect only, 1 here only, 0 on both alike, 3 on "
                        "both differently.")));
    const auto planned = on({"pull", "--dry-run"});
    EXPECT_THAT(planned.out, AllOf(HasSubstr("merge of both texts"), HasSubstr("your edit stays"),
                                   HasSubstr("conflict: App Store Connect's text, yours would be kept")));
    EXPECT_THAT(planned.error, HasSubstr("2 fields would take a new text, 2 texts would be in conflict"));
    EXPECT_EQ(tree(), before);
    EXPECT_EQ(server.requests().size(), 12u);
    const auto stat = on({"diff", "--remote", "--stat", "--locale", "de-DE,fr-FR"});
    EXPECT_THAT(stat.out, testing::ContainsRegex("de-DE +Description +\\+5 -0 +\\+9 -0"));
    EXPECT_THAT(stat.out, testing::ContainsRegex("fr-FR +Keywords +– +\\+"));
    EXPECT_THAT(stat.out, AllOf(HasSubstr("4 texts changed"), Not(HasSubstr("ja ")), Not(HasSubstr("{+"))));
    for (const auto& [words, status] : {std::pair(std::vector<std::string>{"--locale", "fr-FR"}, 1),
                                        {{"--field", "name"}, 0},
                                        {{"--locale", "xx"}, 4}}) {
        std::vector<std::string> gate = {"diff", "--remote", "--exit-code"};
        gate.insert(gate.end(), words.begin(), words.end());
        EXPECT_EQ(on(gate).status, status) << words.back();
    }

    server.forgetRequests();
    const auto pulled = on({"pull"});
    EXPECT_EQ(server.requests().size(), 6u);
    EXPECT_THAT(pulled.error,
                AllOf(HasSubstr("merged: de-DE Description"), HasSubstr("left in place: fr-FR Keywords"),
                      HasSubstr("2 texts in conflict"), HasSubstr("'quorvel conflicts' shows")));
    EXPECT_EQ(read("de-DE", "description.txt"), "Erstens, besser\n\nZweitens, neu\n");
    EXPECT_EQ(read("de-DE", "subtitle.txt"), "Deren Untertitel");

    EXPECT_THAT(on({"status"}).error, HasSubstr("2 texts in conflict (Subtitle of de-DE, ja)"));
    const auto changed = on({"status", "--changed"});
    EXPECT_THAT(changed.out,
                AllOf(HasSubstr("\nja "), HasSubstr("3 locales with changes"), Not(HasSubstr("\nit "))));
    const auto pushed = push();
    EXPECT_EQ(pushed.status, 7) << pushed.all();
    EXPECT_THAT(pushed.out, AllOf(HasSubstr("Pushed 2 fields · 2 locales"), HasSubstr("2 changes left out:"),
                                  HasSubstr("Settle it with 'quorvel resolve'")));
    const JSONValue conflicts =
        documented({"conflicts", "--folder", "texts", "--locale", "de-DE"}, "conflicts");
    ASSERT_EQ(conflicts.items()->size(), 1u);
    EXPECT_EQ(*conflicts.items()->front().find("ours")->text(), "Mein Untertitel");
    EXPECT_EQ(*conflicts.items()->front().find("theirs")->text(), "Deren Untertitel");
    EXPECT_THAT(on({"conflicts"}).out,
                AllOf(HasSubstr("Ours: your text"), HasSubstr("Theirs: App Store Connect's"),
                      HasSubstr("ios/next: 2 conflicts")));

    EXPECT_EQ(on({"resolve", "--ours"}).status, 2) << "there are two";
    EXPECT_EQ(on({"resolve", "--ours", "--theirs", "--all"}).status, 2);
    EXPECT_EQ(on({"resolve", "--ours", "--locale", "it"}).status, 4);
    EXPECT_THAT(on({"resolve", "--ours", "--locale", "de-DE"}).out,
                HasSubstr("1 settled, sent by the next push: de-DE Subtitle."));
    EXPECT_THAT(on({"resolve", "--theirs", "--all"}).out,
                HasSubstr("1 settled, the same as on App Store Connect: ja Subtitle."));
    server.forgetRequests();
    EXPECT_EQ(push().status, 0);
    EXPECT_EQ(changesSent(), 1u);
    EXPECT_THAT(on({"diff", "--remote"}).out, HasSubstr("Nothing changed on either side."));
    EXPECT_EQ(read("de-DE", "subtitle.txt"), "Mein Untertitel");
    EXPECT_EQ(read("ja", "subtitle.txt"), "彼ら");
    EXPECT_THAT(on({"conflicts"}).out, HasSubstr("ios/next: no conflicts."));
}

TEST_F(ConflictCommands, areSettledInAnEditorThatMayFail) {
    onAppInfo("de-DE", {.subtitle = "Deren"});
    write("de-DE", "subtitle.txt", "Meiner");
    ASSERT_EQ(on({"pull"}).status, 0);
    const auto before = tree();
    for (const auto* lines : {"exit 3", "kill -9 $$", "true", "sed -i 's/Meiner/Unserer/' \"$3\""}) {
        useEditor(lines);
        const auto refused = on({"resolve", "--edit"});
        EXPECT_EQ(refused.status, 1) << lines << refused.all();
        EXPECT_THAT(refused.error, HasSubstr("de-DE Subtitle is not settled: ")) << lines;
        EXPECT_EQ(read("de-DE", "subtitle.txt"), "Deren");
    }
    environment["VISUAL"] = "no-such-editor";
    EXPECT_THAT(on({"resolve", "--edit"}).error,
                HasSubstr("the editor \"no-such-editor\" cannot be started"));

    useEditor("sed -i '/^[<=>]/d; /Deren/d' \"$3\"; echo \"$2\" > said"); // goes on with what was edited
    const auto settled = on({"resolve", "--edit"});
    EXPECT_EQ(settled.status, 0) << settled.all();
    EXPECT_THAT(settled.out, Not(HasSubstr("said")));
    EXPECT_EQ(read("de-DE", "subtitle.txt"), "Unserer");
    EXPECT_EQ(readFile(folder / "said"), "$(touch pwned)\n") << "no shell had it";
    EXPECT_FALSE(std::filesystem::exists(folder / "pwned"));
    EXPECT_EQ(push().status, 0);
}

TEST_F(ConflictCommands, areSettledByAPullThatReplacesEditsAndSayWhatAPushDoesWithTheRest) {
    const auto meet = [&](std::string_view theirs) {
        onVersion("de-DE", {.promotionalText = std::string(theirs)});
        onAppInfo("ja", {.subtitle = std::string(theirs)});
        write("de-DE", "promotional_text.txt", "");
        write("ja", "subtitle.txt", "私");
        const auto pulled = on({"pull"});
        EXPECT_THAT(pulled.error, HasSubstr("2 texts in conflict")) << pulled.all();
    };
    meet("Theirs");
    write("ja", "subtitle.txt", "私たち");
    onAppInfo("ja", {.subtitle = "Newest"});
    const auto replaced = on({"pull", "--replace-edits"});
    EXPECT_EQ(replaced.status, 0) << replaced.all();
    EXPECT_THAT(replaced.error, AllOf(HasSubstr(".brevant/kept"), Not(HasSubstr("texts in conflict")),
                                      HasSubstr("No longer in conflict: de-DE Promo text, ja Subtitle.")));
    EXPECT_EQ(read("ja", "subtitle.txt"), "Newest");
    EXPECT_EQ(read("de-DE", "promotional_text.txt"), "Theirs");
    EXPECT_THAT(on({"conflicts"}).out, HasSubstr("no conflicts"));
    EXPECT_THAT(on({"status"}).out, HasSubstr("Local matches App Store Connect."));

    // An emptied text is settled as such, which no push sends by itself.
    meet("Theirs, too");
    const auto settled = on({"resolve", "--ours", "--all"});
    EXPECT_THAT(settled.out, HasSubstr("1 settled, sent by the next push: ja Subtitle."));
    EXPECT_THAT(settled.error,
                AllOf(HasSubstr("de-DE Promo text is settled, but a push leaves it out. Would remove"),
                      HasSubstr("'quorvel push --allow-clear'")));
    const auto fresh = folder / "fresh/ios/next";
    createFolders(fresh.parent_path());
    std::filesystem::copy(folder / "texts/ios/next", fresh, std::filesystem::copy_options::recursive);
    std::filesystem::remove_all(fresh / ".brevant");
    const auto overwriting = run({"push", "--overwrite", "--dry-run", "--app", app, "--folder", "fresh"});
    EXPECT_EQ(overwriting.status, 7) << overwriting.all();
    EXPECT_THAT(overwriting.out, HasSubstr("push --allow-clear'"));
    EXPECT_EQ(push().status, 7);
    EXPECT_EQ(push({"--allow-clear"}).status, 0);
    EXPECT_THAT(on({"diff", "--remote"}).out, HasSubstr("Nothing changed on either side."));

    // A removed locale takes its conflicts along; what they were about is backed up.
    onAppInfo("ja", {.subtitle = "Theirs at last"});
    onAppInfo("de-DE", {.subtitle = "Theirs at last"});
    write("ja", "subtitle.txt", "私、最後");
    write("de-DE", "subtitle.txt", "Mein Letztes");
    ASSERT_THAT(on({"pull"}).error, HasSubstr("2 texts in conflict"));
    ASSERT_EQ(on({"locale", "remove", "ja", "--yes"}).status, 0);
    EXPECT_THAT(on({"conflicts"}).out, AllOf(HasSubstr("ios/next: 1 conflict,"), Not(HasSubstr("ja "))));
    bool isKept = false;
    for (const auto& [file, text] : tree())
        isKept |= file.find("/kept/") != std::string::npos && file.ends_with("ja/subtitle.txt") &&
                  text == "私、最後";
    EXPECT_TRUE(isKept);
}

TEST_F(ConflictCommands, showEverythingBeforeTheFirstPull) {
    const auto looked = run({"diff", "--remote", "--app", app, "--folder", "new"});
    EXPECT_EQ(looked.status, 0) << looked.all();
    EXPECT_THAT(looked.out, AllOf(HasSubstr("it was never pulled"), HasSubstr(" here only"),
                                  HasSubstr("0 here only, 0 on both alike, 0 on both differently.")));
    const auto planned = run({"pull", "--dry-run", "--app", app, "--folder", "new"});
    EXPECT_THAT(planned.out, HasSubstr("new text"));
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));
}

} // namespace
} // namespace quorvel::test
