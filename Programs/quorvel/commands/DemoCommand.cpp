#include "Programs/quorvel/Invocation.h"
#include "Programs/quorvel/commands/DemoAssistant.h"
#include "Programs/quorvel/commands/DemoEdits.h"
#include "Programs/quorvel/commands/DemoKeywords.h"
#include "Programs/quorvel/commands/DemoPictures.h"
#include "Programs/quorvel/commands/DemoRelease.h"
#include "Programs/quorvel/commands/DemoRevenue.h"
#include "Programs/quorvel/commands/DemoReviews.h"
#include "Programs/quorvel/commands/DemoStage.h"
#include "Programs/quorvel/commands/DemoTree.h"
#include "Programs/quorvel/commands/Groups.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>

namespace quorvel {

namespace {

constexpr std::string_view demoApp = "studio.fernhollow.mosswick";
constexpr std::string_view demoSlug = "mosswick-garden-journal";

struct DemoRecord {
    std::vector<DemoStage::Step> steps;
    std::int64_t requestsSent = 0;    // that changed something, by the push
    std::int64_t requestsLeast = 0;   // localizations that had changes
    std::int64_t requestsRefused = 0; // on purpose, and therefore repeated
    std::int64_t textsCompared = 0;
    std::int64_t textsDiffering = 0;
    std::int64_t textsReverted = 0;     // looked at after the revert
    std::int64_t revertedDiffering = 0; // of those, not as before the push
    std::int64_t picturesDrawn = 0;
    std::int64_t picturesCommitted = 0; // of those, taken by App Store Connect
    std::string releaseState;           // of the version that was shipped; empty when it was not
    std::int64_t changesTold = 0;       // of its review
    std::string reply;                  // to a customer, that App Store Connect has
    DemoRevenueRecord revenue;
    std::int64_t rankAlerts = 0;       // raised by the last refresh of keywords
    std::int64_t assistantTools = 0;   // that the assistants' server offers
    std::optional<std::string> folder; // when it was kept
    QUORVEL_RECORD(DemoRecord, steps, requestsSent, requestsLeast, requestsRefused, textsCompared,
                   textsDiffering, textsReverted, revertedDiffering, picturesDrawn, picturesCommitted,
                   releaseState, changesTold, reply, revenue, rankAlerts, assistantTools, folder)
};

class Demo : DemoStage {
  public:
    explicit Demo(Invocation& invocation)
        : DemoStage(invocation),
          invocation_(invocation),
          work_(folder().path() / "home/Documents/Brevant" / demoSlug / "ios/next") {}

    ExitStatus play() {
        try {
            return playAll();
        } catch (const Ended&) {
            say("\n   That was a part of it. Nothing of the demo is left here.\n");
            return ExitStatus::done;
        }
    }

  private:
    ExitStatus playAll() {
        introduce();
        storeKey();
        chooseApp();
        pull();
        edit();
        translate();
        push();
        prove();
        revert();
        screenshots();
        release();
        record_.reply = playReviews(*this, std::string(demoSlug));
        record_.revenue = playRevenue(*this);
        record_.rankAlerts = playKeywords(*this, demoSlug);
        record_.assistantTools = static_cast<std::int64_t>(playAssistant(*this, std::string(demoApp)));
        return conclude();
    }

    void introduce() {
        say(styled(Style::bold, "A round of work with quorvel") + "\n");
        tell(
            "on a stand-in for App Store Connect that runs inside this program. Nothing leaves this machine, "
            "and your own keys and folders are not touched. You will see");
        say("\n");
        tell("• every store text of an app as a plain file, in each language: one command");
        tell("• only what changed going up, two new languages included: one command");
        tell("• the whole push taken back: one command");
        tell("• what the apps earn, per day and app, and a comment on it");
        tell("• where the store shows the app when people search, and an alert when that moves");
        tell("• a release from its number to Waiting for Review: one command, and its review watched");
        tell("• what customers write, sorted, and one of them answered");
        say("\n");
        tell(
            "The commands are those that you would type, and what they print is real. To type some yourself:");
        say(fmt::format("\n   cd {}\n   export QUORVEL_HOME=$PWD/home QUORVEL_ENDPOINTS=$PWD/sandbox/{}\n",
                        folder().path().string(), server().access().endpointsFile.filename().string()));
    }

    void storeKey() {
        const sandbox::Access& access = server().access();
        step("The key", "An API key is verified with App Store Connect before it is stored. "
                        "Its Key ID stands in the name of its file.");
        command({"auth", "set", "--issuer-id", access.issuerID, "--p8",
                 access.privateKeyFile.lexically_relative(folder().path()).string()});
    }

    void chooseApp() {
        step("The workspace",
             "A workspace is a group of apps. Which apps does the key reach? One of them is taken in.");
        command({"workspaces", "create", "Fernhollow"});
        command({"apps", "--remote"});
        command({"apps", "import", std::string(demoApp)});
        tell("quorvel alone shows the home: what needs attention, what is in review, what is live.");
        command({});
    }

    void pull() {
        step("Pull", "The texts of the coming version come down as plain files, one per field and locale. "
                     "As there is one app only, its name may be left out.");
        command({"pull"});
        before_ = work_.readAll();
    }

    void edit() {
        step("Edit", "A few texts change. Any editor will do; here the demo writes the files itself.");
        for (const DemoEdit& edit : demoEdits()) {
            work_.write(edit.locale, edit.field, edit.apply(work_.read(edit.locale, edit.field)));
            say(styled(Style::dim,
                       fmt::format("   edited ios/next/{}/{}", edit.locale, fileNameOf(edit.field))) +
                "\n");
        }
        tell("A new locale is a folder; the next push creates it.");
        const DemoLocale locale = demoLocale();
        command({"locale", "add", std::string(locale.locale)});
        for (const auto& [field, text] : locale.texts)
            work_.write(locale.locale, field, text);
        step("Compare",
             "The grid counts characters as the App Store does, and shows that one name is too long.");
        command({"status"});
        const DemoEdit trimmed = demoTrimming();
        work_.write(trimmed.locale, trimmed.field, trimmed.apply(""));
        tell(fmt::format("The name of {} is shortened. What a push would change, word by word:",
                         trimmed.locale));
        command({"diff"});
    }

    void translate() {
        step("Translate", "Locales that are missing are translated, each text within its limit. "
                          "The stand-in's model writes letters with a dot below, "
                          "so that its texts are easy to tell. Here are the texts, "
                          "and what they cost:");
        command({"translate", "--to", "pa-IN,ur-PK"});
        tell("What a model wrote is pushed only once somebody read it, edited it or accepted it:");
        command({"translate", "--accept"});
        command({"costs"});
    }

    void push() {
        step("Push",
             "Now the stand-in misbehaves on purpose: the first change is turned away with 429 (too many "
             "requests, wait a second), and one more with 503 (service unavailable). "
             "The push waits and tries again by itself.");
        server().forgetRequests();
        server().setFaults({{.route = "PATCH /v1/appStoreVersionLocalizations/*",
                             .status = 429,
                             .count = 1,
                             .retryAfter = 1},
                            {.route = "PATCH /v1/appInfoLocalizations/*", .status = 503, .count = 1}});
        command({"push", "--yes"});
        server().setFaults({});
        countRequests();
    }

    void countRequests() {
        std::set<std::string> localizations; // one request each is the least
        for (const sandbox::RecordedRequest& request : server().requests()) {
            if (request.method == "GET") continue;
            ++record_.requestsSent;
            if (request.status >= 400)
                ++record_.requestsRefused;
            else
                localizations.insert(request.method == "POST" ? request.path + request.body : request.path);
        }
        record_.requestsLeast = static_cast<std::int64_t>(localizations.size());
    }

    void prove() {
        step("Proof", "A second pull into another folder shows what App Store Connect holds now.");
        command({"pull", "--folder", "second"});
        const DemoTree::Texts mine = work_.readAll();
        const DemoTree::Texts theirs = DemoTree(folder().path() / "second/ios/next").readAll();
        record_.textsCompared = std::ssize(mine);
        record_.textsDiffering = differences(mine, theirs) + (mine.size() == theirs.size() ? 0 : 1);
        command({"diff"});
    }

    // How many of the texts in `wanted` are others in `found`.
    static std::int64_t differences(const DemoTree::Texts& wanted, const DemoTree::Texts& found) {
        return std::ranges::count_if(wanted, [&](const auto& text) {
            const auto there = found.find(text.first);
            return there == found.end() || there->second != text.second;
        });
    }

    void revert() {
        step("Second thoughts",
             "Every push is in the history, with the texts that it replaced. "
             "Reverting a run puts those back into the local files; a push sends them. "
             "Texts that did not exist before are removed, which a push wants to be told.");
        command({"history"});
        command({"history", "revert", "last"});
        command({"push", "--yes", "--allow-clear"});
        command({"history"});
        command({"pull", "--folder", "third"});
        const DemoTree::Texts now = DemoTree(folder().path() / "third/ios/next").readAll();
        record_.textsReverted = std::ssize(before_);
        record_.revertedDiffering = differences(before_, now);
    }

    void screenshots() {
        step("Screenshots",
             "Pictures lie in folders named after their locale and display type. "
             "Here the demo draws a few itself; their sizes are checked before anything is sent.");
        const auto paths = drawDemoPictures(work_.folder().parent_path().parent_path());
        for (const std::string& path : paths)
            say(styled(Style::dim, fmt::format("   drew {}\n", path)));
        command({"screenshots", "pull"});
        command({"screenshots", "status"});
        server().forgetRequests();
        tell("One upload breaks off in the middle on purpose; that part is sent again.");
        server().setFaults({{.route = "PUT /upload/**", .action = "resetDuring", .count = 1}});
        command({"screenshots", "push", "--mode", "replace", "--yes", "--no-wait"});
        server().setFaults({});
        record_.picturesDrawn = std::ssize(paths);
        record_.picturesCommitted =
            std::ranges::count_if(server().requests(), [](const sandbox::RecordedRequest& request) {
                return request.method == "PATCH" && request.path.starts_with("/v1/appScreenshots/") &&
                       request.status < 400;
            });
        command({"screenshots", "status"});
        tell("And the home as it is now:");
        command({});
    }

    void release() {
        if (const auto standIn = standInBeside(invocation_.surroundings)) {
            record_.releaseState = playRelease(*this, *standIn);
            record_.changesTold = playReview(*this);
            return;
        }
        step(
            "A whole release",
            "This chapter needs what stands in for Apple's developer tools, which is not beside this program; "
            "'./run' builds it. The command is 'quorvel ship --version VERSION'.");
    }

    ExitStatus conclude() {
        const bool keeps = invocation_.arguments.has("--keep");
        const bool least = record_.requestsSent == record_.requestsLeast + record_.requestsRefused;
        const bool held = record_.textsDiffering == 0 && least && record_.requestsRefused == 2 &&
                          record_.revertedDiffering == 0 &&
                          record_.picturesCommitted == record_.picturesDrawn && !record_.reply.empty() &&
                          record_.rankAlerts == 1 && record_.assistantTools > 0 &&
                          (record_.releaseState.empty() ||
                           (record_.releaseState == "WAITING_FOR_REVIEW" && record_.changesTold == 2)) &&
                          record_.revenue.held();
        step("What you get", "Measured in what you just saw:");
        say("\n");
        benefit("Less work",
                fmt::format("{} texts were kept in step with {} commands; the push sent {} requests "
                            "for {} changed localizations, the least there can be.",
                            record_.textsCompared, steps().size(),
                            record_.requestsSent - record_.requestsRefused, record_.requestsLeast));
        benefit("Nothing lost",
                fmt::format("{} of {} texts differ between the edited folder and App Store Connect, "
                            "though {} requests were refused on purpose and an upload broke off: "
                            "{} of {} pictures arrived.",
                            record_.textsDiffering, record_.textsCompared, record_.requestsRefused,
                            record_.picturesCommitted, record_.picturesDrawn));
        benefit("A way back",
                fmt::format("{} of {} texts differ from those before the push, after one command took "
                            "it back.",
                            record_.revertedDiffering, record_.textsReverted));
        if (!record_.releaseState.empty())
            benefit("A release as one command",
                    fmt::format("from a version number to {}: made, built, given to testers and submitted. "
                                "Of its review {} changes were told, each once.",
                                record_.releaseState, record_.changesTold));
        benefit(
            "Customers heard",
            "their reviews are sorted by sentiment and themes, and one got its reply, which states nothing "
            "but the review and the note.");
        benefit("What it earns",
                fmt::format("{} sales reports were read, and {} of them asked for a second time.",
                            record_.revenue.reportsAsked, record_.revenue.reportsAskedAgain));
        benefit("Seen in the store",
                fmt::format("{} rank alert came of a term that a new version brought into the results.",
                            record_.rankAlerts));
        if (keeps) {
            folder().keep();
            record_.folder = folder().path().string();
            tell(
                fmt::format("Everything stays in {}. 'quorvel sandbox --state {}/sandbox' serves the account "
                            "again.",
                            folder().path().string(), folder().path().string()));
        }
        say("\n" +
            (held ? styled(Style::green, "Everything held.")
                  : styled(Style::red, "Something did not hold; that should not happen.")) +
            " Your own apps begin with 'quorvel'.\n");
        record_.steps = steps();
        invocation_.output.document(record_);
        return held ? ExitStatus::done : ExitStatus::failed;
    }

    Invocation& invocation_;
    DemoTree work_;
    DemoTree::Texts before_; // the texts of the first pull
    DemoRecord record_;
};

ExitStatus playDemo(Invocation& invocation) {
    return Demo(invocation).play();
}

} // namespace

std::vector<Command> demoCommands() {
    return {
        {.name = "demo",
         .summary = "Show a whole round of work on a private stand-in, without an account",
         .arguments = {{"--keep", "", "Leave the demo's folder in place and say where it is"}},
         .heeds = {"--yes"},
         .run = playDemo,
         .details = "On a terminal it waits after each chapter, unless --yes is given."},
    };
}

} // namespace quorvel
