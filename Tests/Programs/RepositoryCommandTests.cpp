// Work in a repository that holds an app's texts: quorvel.toml, fresh checkouts, gates, many apps.
#include "Tests/Programs/MetadataFixture.h"
#include "Tests/support/GitRepository.h"

namespace quorvel::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Repository : public MetadataCommands {
  protected:
    /// Runs the program in a folder of a checkout.
    ProgramResult runIn(const std::string& place, std::vector<std::string> arguments) {
        ProgramCall made = call(std::move(arguments));
        made.workingFolder = folder / place;
        return runProgram(made);
    }
    JSONValue documentIn(const std::string& place, std::vector<std::string> arguments, int status = 0) {
        arguments.push_back("--json");
        const auto result = runIn(place, arguments);
        EXPECT_EQ(result.status, status) << result.error;
        return onlyDocument(result.out);
    }
    void put(const std::string& file, std::string_view content) const {
        createFolders((folder / file).parent_path());
        writeFileAtomically(folder / file, content);
    }
    std::string get(const std::string& file) const { return readFile(folder / file).value_or("(no file)"); }
    std::filesystem::path texts(const std::string& checkout) const { return checkout + "/metadata/ios/next"; }

    /// A repository with what App Store Connect holds, a commit of it, and nothing private.
    void makeOrigin() {
        createFolders(folder / "origin");
        put("origin/quorvel.toml",
            std::string("app = \"") + app + "\"\ntree = \"metadata\"\nplatform = \"ios\"\n");
        put("origin/.gitignore", ".brevant/\n");
        ASSERT_EQ(runIn("origin", {"pull", "--quiet"}).status, 0);
        origin_.emplace(folder / "origin");
        commit();
    }
    void commit() {
        origin_->git({"add", "--all"});
        origin_->commit("Texts");
    }
    /// A fresh clone, worked on from an empty home.
    void clone(const std::string& name) {
        origin_->git({"clone", "--quiet", origin_->root().string(), (folder / name).string()});
        environment["HOME"] = (folder / (name + "-home")).string();
    }
    std::size_t requestsSent() const { return server.requests().size(); }

    std::optional<GitRepository> origin_;
};

TEST_F(Repository, isInitializedFromWhatItHolds) {
    put("work/metadata/de-DE/description.txt", "Text");
    put("work/screenshots/de-DE/1.png", "");
    createFolders(folder / "work/App.xcodeproj");
    createFolders(folder / "work/Other.xcodeproj");
    const auto several = runIn("work", {"init", "--app", app, "--platform", "ios", "--yes"});
    EXPECT_EQ(several.status, 2) << several.all();
    EXPECT_THAT(several.error, HasSubstr("there are several projects"));

    std::vector<std::string> words = {"init", "--app", app, "--project", "App.xcodeproj", "--yes"};
    const auto platforms = runIn("work", words);
    EXPECT_EQ(platforms.status, 2) << platforms.all();
    EXPECT_THAT(platforms.error, HasSubstr("--platform: ios, macos"));
    words.insert(words.end(), {"--platform", "ios"});
    auto dry = words;
    dry.emplace_back("--dry-run");
    const auto shown = runIn("work", dry);
    EXPECT_EQ(shown.status, 0) << shown.all();
    EXPECT_THAT(shown.out,
                AllOf(HasSubstr(std::string("\napp = \"") + app + "\"\n"),
                      HasSubstr("\ntree = \"metadata\"\n"), HasSubstr("\nscreenshots = \"screenshots\"\n"),
                      HasSubstr("\nproject = \"App.xcodeproj\"\n"), HasSubstr("\nplatform = \"ios\"\n")));
    EXPECT_EQ(get("work/quorvel.toml"), "(no file)");
    const auto written = runIn("work", words);
    EXPECT_EQ(written.status, 0) << written.all();
    EXPECT_THAT(written.error, HasSubstr(".brevant/ into .gitignore"));
    EXPECT_EQ(get("work/quorvel.toml"), shown.out);
    const auto again = runIn("work", words);
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.error, HasSubstr("--overwrite"));

    // On a terminal what no option says is asked; the account is asked for its apps.
    ProgramCall typed = call({"init", "--overwrite", "--project", "App.xcodeproj"});
    typed.workingFolder = folder / "work";
    typed.input = std::string(app) + "\n1\n2\n\n\n";
    typed.streams = ProgramCall::Streams::terminal;
    const auto asked = runProgram(typed);
    EXPECT_EQ(asked.status, 0) << asked.out;
    EXPECT_THAT(get("work/quorvel.toml"), HasSubstr("\nplatform = \"macos\"\n"));
    EXPECT_THAT(runIn("work", {"--verbose", "auth", "status"}).error,
                HasSubstr("work/quorvel.toml is in force"));
}

TEST_F(Repository, namesNothingThatCannotBeMeant) {
    const auto init = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"init", "--yes"});
        return runIn("work", std::move(more));
    };
    put("work/metadata/mac/de-DE/name.txt", "Moos");
    put("work/notes.txt", "x");
    for (const auto* name : {"not a bundle", "bundle", "com..", "1234567890"}) {
        const auto refused = init({"--app", name});
        EXPECT_EQ(refused.status, 2) << name << refused.all();
        EXPECT_THAT(refused.error, AllOf(HasSubstr("is no bundle id"), HasSubstr("com.example.app")));
    }
    const auto file = init({"--app", "com.example.app", "--tree", "notes.txt"});
    EXPECT_EQ(file.status, 2) << file.all();
    EXPECT_THAT(file.error, AllOf(HasSubstr("notes.txt\" is a file"), HasSubstr("Name the folder.")));
    EXPECT_EQ(init({"--app", "com.example.app", "--screenshots", "notes.txt"}).status, 2);
    EXPECT_EQ(get("work/quorvel.toml"), "(no file)");
    EXPECT_THAT(init({"--app", "com.example.app", "--dry-run"}).out, HasSubstr("platform = \"macos\""));
    put("work/metadata/ios/de-DE/name.txt", "Moos");
    const auto several = init({"--app", "com.example.app"});
    EXPECT_EQ(several.status, 2) << several.all();
    EXPECT_THAT(several.error, HasSubstr("--platform: ios, macos"));
    EXPECT_EQ(init({"--app", "com.example.app", "--platform", "macos"}).status, 0);

    // A path that leads nowhere is said to be the file's.
    put("work/quorvel.toml", "app = \"com.example.app\"\ntree = \"metdata\"\n");
    for (const auto* command : {"status", "check", "diff"}) {
        const auto missing = runIn("work", {command});
        EXPECT_EQ(missing.status, 4) << missing.all();
        EXPECT_THAT(missing.error,
                    AllOf(HasSubstr("work/metdata, which tree in "),
                          HasSubstr("work/quorvel.toml names, is no folder. Correct that line")));
    }
}

TEST_F(Repository, isCheckedOutPushedChangedOnBothSidesPulledAndPushed) {
    makeOrigin();
    clone("checkout");
    const std::string german = "checkout/metadata/ios/next/de-DE/";
    put(german + "subtitle.txt", "Ernten und feiern");
    put(german + "description.txt", "");
    std::filesystem::remove(folder / (german + "keywords.txt"));
    server.forgetRequests();

    const auto checked = runIn("checkout/metadata", {"check"});
    EXPECT_EQ(checked.status, 0) << checked.all() << "nobody knows yet what is there of the emptied text";
    EXPECT_THAT(checked.out, HasSubstr("ios/next/de-DE/description.txt: warning: Is missing"));
    EXPECT_EQ(requestsSent(), 0u);

    const auto unknown = runIn("checkout", {"push", "--yes"});
    EXPECT_EQ(unknown.status, 7) << unknown.all();
    EXPECT_THAT(unknown.error, AllOf(HasSubstr("Nothing is known here"), HasSubstr("push --overwrite")));
    EXPECT_EQ(changesSent(), 0u) << "what is not known is not replaced";
    std::filesystem::remove_all(folder / "checkout/metadata/ios/next/.brevant");

    server.forgetRequests();
    const JSONValue dry = documentIn("checkout/metadata", {"push", "--overwrite", "--dry-run"}, 7);
    ASSERT_EQ(dry.at("plan", "changes")->items()->size(), 1u) << "only what differs";
    EXPECT_EQ(*dry.at("plan", "changes")->items()->front().find("local")->text(), "Ernten und feiern");
    EXPECT_EQ(dry.at("plan", "leftOut")->items()->size(), 1u) << "the emptied file, but not the missing one";
    EXPECT_FALSE(std::filesystem::exists(folder / "checkout/metadata/ios/next/.brevant"));

    server.forgetRequests();
    EXPECT_THAT(runIn("checkout", {"push", "--overwrite", "--dry-run"}).out,
                HasSubstr("{+Ernten und feiern+}"));
    server.forgetRequests();
    const JSONValue pushed = documentIn("checkout", {"push", "--overwrite", "--yes"}, 7);
    EXPECT_EQ(changesSent(), 1u);
    EXPECT_LE(requestsSent(), 14u);

    const auto refusing = runIn("checkout", {"check"});
    EXPECT_EQ(refusing.status, 1) << refusing.all();
    EXPECT_THAT(refusing.out, HasSubstr("metadata/ios/next/de-DE/description.txt: error: "));
    put(german + "description.txt", "Neu.");
    const std::vector<std::string> gate = {"check",    "--locale", "de-DE",      "--field",
                                           "subtitle", "--field",  "description"};
    const auto accepting = runIn("checkout", gate);
    EXPECT_EQ(accepting.status, 0) << accepting.all();
    EXPECT_EQ(runIn("checkout", {"diff", "--exit-code", "--stat"}).status, 1);
    server.forgetRequests();
    const auto second = runIn("checkout", {"push", "--yes"});
    EXPECT_EQ(second.status, 0) << second.all();
    EXPECT_EQ(changesSent(), 1u);
    EXPECT_LE(requestsSent(), 4u);

    // A colleague changes another text of the same locale, and one that is edited here, too.
    ASSERT_EQ(run({"pull", "--app", app, "--folder", "colleague"}).status, 0);
    put("colleague/ios/next/de-DE/subtitle.txt", "Ihr Garten");
    put("colleague/ios/next/de-DE/promotional_text.txt", "Jetzt neu");
    ASSERT_EQ(run({"push", "--app", app, "--folder", "colleague", "--yes"}).status, 0);
    put(german + "subtitle.txt", "Mein Garten");
    const auto refused = runIn("checkout", {"push", "--yes"});
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(refused.all(), HasSubstr("changed on App Store Connect since the last pull"));
    const auto pulled = runIn("checkout", {"pull"});
    EXPECT_EQ(pulled.status, 0) << pulled.all();
    EXPECT_EQ(runIn("checkout", {"push", "--yes"}).status, 1) << "nobody chose";
    const auto inConflict = runIn("checkout", gate);
    EXPECT_EQ(inConflict.status, 1) << inConflict.all();
    EXPECT_THAT(inConflict.out,
                AllOf(HasSubstr("metadata/ios/next/de-DE/subtitle.txt: error: Changed here and on"),
                      HasSubstr("'quorvel conflicts'"), HasSubstr("[inConflict]")));
    EXPECT_EQ(runIn("checkout", {"resolve", "--ours", "--locale", "de-DE"}).status, 0);
    const auto settled = runIn("checkout", gate);
    EXPECT_EQ(settled.status, 0) << settled.all();
    EXPECT_EQ(get(german + "subtitle.txt"), "Mein Garten");
    EXPECT_EQ(get(german + "promotional_text.txt"), "Jetzt neu");
    EXPECT_NE(get(german + "keywords.txt"), "(no file)") << "it was never cleared";
    EXPECT_EQ(runIn("checkout", {"push", "--yes"}).status, 0);
    EXPECT_EQ(runIn("checkout", {"diff", "--exit-code"}).status, 0);

    // The history of the overwriting push holds what it replaced.
    const auto reverted = runIn("checkout", {"history", "revert", *pushed.at("report", "run")->text()});
    EXPECT_EQ(reverted.status, 0) << reverted.all();
    EXPECT_EQ(get(german + "subtitle.txt"), get("origin/metadata/ios/next/de-DE/subtitle.txt"));
}

TEST_F(Repository, worksWithoutRecordsAndOnlyForItsOwnApp) {
    makeOrigin();
    clone("checkout");
    put("checkout/metadata/ios/next/ja/subtitle.txt", "庭");
    for (const std::vector<std::string>& local :
         {std::vector<std::string>{"status"}, {"diff"}, {"metadata", "tidy", "--dry-run"}}) {
        server.forgetRequests();
        const auto result = runIn("checkout/metadata/ios", local);
        EXPECT_EQ(result.status, 0) << local.front() << result.all();
        EXPECT_EQ(requestsSent(), 0u);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "checkout-home/Library/Application Support")) << "recorded";
    EXPECT_THAT(runIn("checkout", {"status"}).error, HasSubstr("checkout/quorvel.toml"));

    // Another app, by option or variable, takes nothing of what the file says.
    const auto other = runIn("checkout", {"pull", "--app", "studio.fernhollow.tides"});
    EXPECT_EQ(other.status, 0) << other.all();
    EXPECT_THAT(other.out, HasSubstr("checkout-home"));
    environment["QUORVEL_APP"] = "studio.fernhollow.tides";
    EXPECT_THAT(runIn("checkout", {"status"}).out, HasSubstr("checkout-home"));
    environment.erase("QUORVEL_APP");
    EXPECT_THAT(runIn("checkout", {"status"}).out, HasSubstr("checkout/metadata"));
    environment["QUORVEL_CONTEXT"] = "macos/next";
    EXPECT_THAT(runIn("checkout", {"status"}).error, HasSubstr("macos/next has not been pulled"));
    environment.erase("QUORVEL_CONTEXT");

    put("checkout/quorvel.toml", "app = \"x.y\"\ntre = \"metadata\"\n");
    const auto broken = runIn("checkout", {"status"});
    EXPECT_EQ(broken.status, 2);
    EXPECT_THAT(broken.error, AllOf(HasSubstr("quorvel.toml:2:1"), HasSubstr("Did you mean tree?")));
    EXPECT_EQ(runIn("checkout", {"help"}).status, 0);
}

TEST_F(Repository, leavesAllAppsToTheRecordsAndItsTreeToItsOwnApp) {
    put("work/quorvel.toml", std::string("app = \"") + app + "\"\ntree = \"metadata\"\nplatform = \"ios\"\n");
    for (const auto* each : {app, "studio.fernhollow.tides"})
        ASSERT_EQ(run({"apps", "import", each}).status, 0);
    const auto pulled = runIn("work", {"pull", "--all-apps"});
    EXPECT_EQ(pulled.status, 0) << pulled.all();
    EXPECT_THAT(pulled.out, AllOf(HasSubstr("Mosswick"), HasSubstr("Tides")));
    std::map<std::string, std::string> folders; // by bundle id
    const JSONValue checked = documentIn("work", {"check", "--all-apps", "--field", "name"});
    for (const JSONValue& one : *checked.find("checks")->items())
        folders[*one.at("app", "bundleId")->text()] = *one.find("folder")->text();
    ASSERT_EQ(folders.size(), 2u);
    EXPECT_EQ(folders.at(app), (folder / "work/metadata").string());
    EXPECT_THAT(folders.at("studio.fernhollow.tides"), StartsWith((folder / "home").string()));
    EXPECT_TRUE(std::filesystem::exists(folder / "work/metadata/ios/next/de-DE/name.txt"));

    // What pulls of the program laid out is no tree in place, whatever of it is left.
    for (const char* left : {"macos/live", "visionos/next", ".brevant/asc"}) {
        std::filesystem::remove_all(folder / "work/metadata");
        createFolders(folder / "work/metadata" / left);
        put("work/metadata/en-US/name.txt", "Mosswick");
        EXPECT_THAT(runIn("work", {"status"}).all(), HasSubstr("metadata/ios/next")) << left;
    }
    std::filesystem::remove_all(folder / "work/metadata");
    put("work/metadata/en-US/name.txt", "Mosswick");
    EXPECT_THAT(runIn("work", {"status"}).out, HasSubstr((folder / "work/metadata").string() + "\n"));
}

TEST_F(Repository, takesPicturesAndProjectFromItsFile) {
    put("work/quorvel.toml",
        std::string("app = \"") + app +
            "\"\ntree = \"metadata\"\nscreenshots = \"pictures\"\nproject = \"src/App.xcodeproj\"\n");
    createFolders(folder / "work/pictures/de-DE");
    ASSERT_EQ(runIn("work", {"screenshots", "pull"}).status, 0);
    const JSONValue status = documentIn("work", {"screenshots", "status"});
    EXPECT_EQ(*status.at("status", "folder")->text(), (folder / "work/pictures").string());
    const auto build = runIn("work", {"build", "run", "--dry-run"});
    EXPECT_THAT(build.error, HasSubstr("src/App.xcodeproj"));
}

TEST_F(MetadataCommands, gatesTellDifferencesByLocaleFieldAndStatus) {
    ASSERT_EQ(pull().status, 0);
    const std::vector<std::string> gate = {"diff", "--folder", "texts", "--exit-code"};
    EXPECT_EQ(run(gate).status, 0);
    EXPECT_THAT(run({"status", "--folder", "texts", "--changed"}).out, HasSubstr("No locale has changes."));
    const std::string before = read("ja", "subtitle.txt");
    write("ja", "subtitle.txt", before + " 新");
    write("de-DE", "name.txt", "Beet");
    EXPECT_EQ(run(gate).status, 1);
    const auto with = [&](std::vector<std::string> more) {
        auto words = gate;
        words.insert(words.end(), more.begin(), more.end());
        return run(words);
    };
    EXPECT_EQ(with({"--locale", "fr-FR"}).status, 0);
    EXPECT_EQ(with({"--field", "keywords"}).status, 0);
    EXPECT_EQ(with({"--locale", "xx"}).status, 4);
    const auto stat = with({"--stat", "--locale", "ja"});
    EXPECT_EQ(stat.status, 1);
    EXPECT_THAT(stat.out, AllOf(HasSubstr("+2"), Not(HasSubstr("de-DE")), Not(HasSubstr("{+"))));
    const JSONValue all = document({"diff", "--folder", "texts", "--field", "subtitle"});
    ASSERT_EQ(all.find("differences")->items()->size(), 1u);
    const JSONValue& only = all.find("differences")->items()->front();
    EXPECT_EQ(*only.find("added")->integer(), 2);
    EXPECT_EQ(*only.find("removed")->integer(), 0);
    const JSONValue status = document({"status", "--folder", "texts", "--changed"});
    EXPECT_EQ(status.find("locales")->items()->size(), 2u);
}

TEST_F(QuorvelAccountTest, allAppsAreShownAndPushedEachWithItsOwnOutcome) {
    EXPECT_EQ(run({"status", "--all-apps"}).status, 4) << "none is recorded";
    for (const auto* each : {app, "studio.fernhollow.tides", "studio.fernhollow.mosswick.sketchbook"})
        (void)run({"apps", "import", each});
    ASSERT_NE(run({"pull", "--all-apps"}).status, 1);
    EXPECT_EQ(run({"status", "--all-apps", "--app", app}).status, 2);
    EXPECT_EQ(run({"diff", "--all-apps", "--exit-code"}).status, 0) << run({"diff", "--all-apps"}).all();

    server.forgetRequests();
    EXPECT_EQ(run({"push", "--all-apps", "--yes"}).status, 0) << "one of them is with Apple";
    EXPECT_EQ(server.requests().size(), 0u);

    const JSONValue shown = onlyDocument(run({"status", "--all-apps", "--json"}).out);
    std::map<std::string, std::string> folders; // bundle id → the context's folder
    for (const JSONValue& one : *shown.find("apps")->items())
        if (const JSONValue* compared = one.at("result", "compared"))
            folders[*one.at("app", "bundleId")->text()] = *compared->find("folder")->text();
    ASSERT_GE(folders.size(), 2u) << run({"apps"}).out;
    writeFileAtomically(folders.at(app) + "/de-DE/subtitle.txt", "Ernten und feiern");
    EXPECT_EQ(run({"diff", "--all-apps", "--exit-code"}).status, 1);
    std::filesystem::remove_all(
        std::filesystem::path(folders.at("studio.fernhollow.tides")).parent_path().parent_path());

    const auto dry = run({"push", "--all-apps", "--dry-run"});
    EXPECT_THAT(dry.out, HasSubstr("would be pushed"));
    EXPECT_EQ(changesSent(), 0u);
    const auto pushed = run({"push", "--all-apps", "--yes", "--json"});
    EXPECT_EQ(pushed.status, 4) << pushed.error << "one has no folder any more";
    std::size_t failed = 0, sent = 0;
    const JSONValue list = onlyDocument(pushed.out);
    for (const JSONValue& one : *list.find("apps")->items()) {
        failed += one.at("failure", "kind") != nullptr;
        if (const JSONValue* outcomes = one.at("result", "report", "outcomes"))
            sent += outcomes->items()->size();
    }
    EXPECT_EQ(failed, 1u);
    EXPECT_EQ(sent, 1u);
    EXPECT_EQ(changesSent(), 1u);
}

} // namespace
} // namespace quorvel::test
