#include "Quorvel/monitor/RankAlertNotices.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace quorvel::test {
namespace {

using Severity = RankVelocityDetector::Severity;

class CountingNotifier : public DesktopNotifier {
  public:
    [[nodiscard]] Outcome show(const std::vector<DesktopNotification>& notifications) override {
        Outcome outcome;
        for (const DesktopNotification& one : notifications)
            outcome.shown.push_back(one.id);
        last = notifications;
        return outcome;
    }
    std::vector<DesktopNotification> last;
};

KeywordAlert alertOf(const std::string& keyword, Severity severity, std::optional<std::int64_t> rank) {
    KeywordAlert alert;
    alert.keyword.id = keyword;
    alert.keyword.term = "garden";
    alert.alert = {.id = "an id", .keywordTerm = "garden", .severity = severity, .summary = "It moved"};
    alert.rank = rank;
    return alert;
}

TEST(RankAlertNotices, notifyAgainOnlyWhatWentFurther) {
    struct Step {
        std::vector<KeywordAlert> alerts;
        std::int64_t notified;
        const char* what;
    };
    const auto fall = [](std::optional<std::int64_t> rank) { return alertOf("k", Severity::warning, rank); };
    const auto climb = [](std::optional<std::int64_t> rank) { return alertOf("k", Severity::win, rank); };
    const std::vector<Step> steps = {{{fall(20)}, 1, "new"},
                                     {{fall(24)}, 0, "four places further"},
                                     {{fall(12)}, 0, "it recovers"},
                                     {{fall(25)}, 1, "five places further than told"},
                                     {{fall({})}, 1, "it fell out"},
                                     {{fall(90)}, 0, "it is back"},
                                     {{climb(90)}, 1, "it turned around"},
                                     {{climb(86)}, 0, "four places further"},
                                     {{climb(85)}, 1, "five"},
                                     {{climb(95)}, 0, "it falls a little"},
                                     {{}, 0, "it came to rest"},
                                     {{climb(85)}, 1, "again"}};
    const TemporaryFolder folder;
    const auto defaults = std::make_shared<UserDefaults>(folder / "settings.json");
    const auto notifier = std::make_shared<CountingNotifier>();
    const RankAlertNotices notices(defaults, notifier);
    const ManagedApp app{.id = "app", .displayName = "Mosswick"}, other{.id = "other"};
    EXPECT_EQ(notices.tell(other, {fall(20)}).notified, 1);
    for (const auto& [alerts, notified, what] : steps)
        EXPECT_EQ(notices.tell(app, alerts).notified, notified) << what;
    EXPECT_EQ(notices.tell(other, {fall(20)}).notified, 0) << "another app's are kept";

    std::vector<KeywordAlert> many;
    for (const char* id : {"a", "b", "c", "d", "e"})
        many.push_back(alertOf(id, Severity::warning, 9));
    EXPECT_EQ(notices.tell(app, many).notified, 5);
    ASSERT_EQ(notifier->last.size(), 1u) << "one for all";
    EXPECT_EQ(notifier->last[0].title, "Mosswick: 5 rank alerts");
    EXPECT_EQ(notifier->last[0].body, "5 terms fell, 0 climbed within a week.");
}

} // namespace
} // namespace quorvel::test
