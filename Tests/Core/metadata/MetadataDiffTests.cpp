#include "Core/metadata/LocalizationWriter.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/PullDecision.h"
#include "Core/metadata/PushSelection.h"
#include "Platform/text/Text.h"

#include <gmock/gmock.h>

#include <tuple>

using namespace quorvel;
using Text = std::optional<std::string>;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

LocaleTexts texts(const std::vector<std::tuple<std::string, FieldType, std::string>>& list) {
    LocaleTexts all;
    for (const auto& [locale, field, text] : list)
        all[locale][field] = text;
    return all;
}

PendingChange change(std::string locale, FieldType field, std::string remote, std::string local) {
    PendingChange one{std::move(locale), field, std::move(remote), std::move(local), false, false};
    one.isOverLimit = isOverLimit(one.local, field);
    return one;
}

PendingChange ofNewLocale(std::string locale, FieldType field, std::string local) {
    PendingChange one = change(std::move(locale), field, "", std::move(local));
    one.isNewLocale = true;
    return one;
}

} // namespace

TEST(MetadataDiff, comparesOneField) {
    struct Case {
        Text pulled, local;
        std::string explanation; // empty: no change
    };
    const std::vector<Case> cases = {
        {"same", "same", ""},
        {"old", "older one", "Edited locally (Δ +6 chars). Push to update ASC."},
        {"older one", "old", "Edited locally (Δ -6 chars). Push to update ASC."},
        {"\U0001F600", "a", "Edited locally (Δ +0 chars). Push to update ASC."},
        {"text", "text\n", "Edited locally (Δ +1 chars). Push to update ASC."},
        {"text", " \n", "Cleared locally — Push will remove the field from ASC."},
        {"text", std::nullopt, "Cleared locally — Push will remove the field from ASC."},
        {"", "text", "Newly filled — not yet pushed to App Store Connect."},
        {"\n", "text", "Newly filled — not yet pushed to App Store Connect."},
        {std::nullopt, "text", "Newly filled — not yet pushed to App Store Connect."},
        {"", "\n", ""},
        {" ", std::nullopt, ""},
        {std::nullopt, "", ""},
        {std::nullopt, std::nullopt, ""},
    };
    for (const auto& [pulled, local, explanation] : cases) {
        SCOPED_TRACE(pulled.value_or("none") + " → " + local.value_or("none"));
        LocaleTexts copies = texts({{"de-DE", FieldType::name, "known"}});
        LocaleTexts edited = copies;
        copies["de-DE"][FieldType::keywords] = pulled;
        edited["de-DE"][FieldType::keywords] = local;
        const auto changes = MetadataDiff::compare(copies, edited);
        ASSERT_THAT(changes, SizeIs(explanation.empty() ? 0 : 1));
        if (changes.empty()) continue;
        EXPECT_EQ(changes[0], change("de-DE", FieldType::keywords, pulled.value_or(""), local.value_or("")));
        EXPECT_EQ(MetadataDiff::explain(changes[0]), explanation);
        EXPECT_EQ(changes[0].clears(), explanation.starts_with("Cleared"));
        EXPECT_EQ(changes[0].textToSend(), isBlank(changes[0].local) ? "" : changes[0].local);
    }
}

TEST(MetadataDiff, listsLocalesAndFieldsInOrderAndKnowsNewLocales) {
    const auto pulled = texts({{"fr-FR", FieldType::name, ""}, {"gone", FieldType::name, "not on disk"}});
    const auto local = texts({{"fr-FR", FieldType::keywords, std::string(101, 'k')},
                              {"fr-FR", FieldType::subtitle, "Sous-titre"},
                              {"de-DE", FieldType::name, "Name"},
                              {"de-DE", FieldType::subtitle, ""},
                              {"ar-SA", FieldType::releaseNotes, "\n"}});
    const auto changes = MetadataDiff::compare(pulled, local);
    EXPECT_EQ(changes, (std::vector<PendingChange>{
                           ofNewLocale("de-DE", FieldType::name, "Name"),
                           change("fr-FR", FieldType::subtitle, "", "Sous-titre"),
                           {"fr-FR", FieldType::keywords, "", std::string(101, 'k'), true, false}}));
    EXPECT_EQ(MetadataDiff::explain(changes[0]),
              "New locale — not on App Store Connect yet. Push to publish.");
}

TEST(PushSelection, leavesOutWhatNobodyMeansToPush) {
    using R = LeftOutReason;
    struct Case {
        PendingChange change;
        std::optional<LeftOutReason> reason;
        std::string explanation;
    };
    const std::string longName(31, 'n');
    const std::vector<Case> cases = {
        {change("de-DE", FieldType::name, "a", "b"), {}, ""},
        {ofNewLocale("de-DE", FieldType::name, "b"), {}, ""},
        {change("de-DE", FieldType::name, "a", longName), R::overLimit,
         "name.txt has 31 characters where 30 are allowed. Shorten it."},
        {change("de-DE", FieldType::name, "a", std::string(30, 'n') + "\n"), R::overLimit,
         "only because of its final line break. Tidying removes it; finalLineBreak = strip leaves it out."},
        {change("de-DE", FieldType::name, "a", longName + "\n"), R::overLimit, "has 32 characters"},
        {change("de-DE", FieldType::description, "a", "a\n"), R::onlyFinalLineBreak, "Tidying removes it"},
        {change("de-DE", FieldType::description, "a\r\n", "a"), R::onlyFinalLineBreak,
         "naming this locale and field in the push removes it there"},
        {change("de-DE", FieldType::description, "a", "b\n"), {}, ""},
        {change("de-DE", FieldType::description, "a", "a\n\n"), {}, ""},
        {change("de-DE", FieldType::description, "a", "\uFEFFb"), R::byteOrderMark, "tidying removes it"},
        {change("de-DE", FieldType::description, "a", "b\n\tc\n\x1B"), R::controlCharacter,
         "description.txt holds the control character \\x1B in line 3"},
        {change("de-DE", FieldType::description, "a", "b\r\n\tc"), {}, ""},
        {change("de-DE", FieldType::description, "a", ""), R::clearsField, "Allow that in the push"},
        {change("de-DE", FieldType::description, "a", " \n"), R::clearsField, "Description of de-DE"},
        {change("de-DE", FieldType::name, "a", ""), R::clearsName, "write one"},
        {ofNewLocale("de", FieldType::name, "b"), R::notAnAppStoreLocale, "Did you mean \"de-DE\"?"},
        {ofNewLocale("default", FieldType::name, "b"), R::notAnAppStoreLocale, "needs a folder of its own"},
        {change("xx", FieldType::name, "a", "b"), {}, ""}, // App Store Connect has it
    };
    for (const auto& [one, reason, explanation] : cases) {
        SCOPED_TRACE(one.locale + " " + escapeControls(one.local));
        const auto selection = selectForPush({one});
        ASSERT_THAT(selection.leftOut, SizeIs(reason ? 1 : 0));
        EXPECT_THAT(selection.chosen, SizeIs(reason ? 0 : 1));
        if (!reason) continue;
        EXPECT_EQ(selection.leftOut[0].reason, *reason);
        EXPECT_THAT(selection.leftOut[0].explanation, HasSubstr(explanation));
    }
}

TEST(PushSelection, obeysTheFilter) {
    const std::vector<PendingChange> changes = {
        change("de-DE", FieldType::name, "a", "b"), change("de-DE", FieldType::description, "a", "a\n"),
        change("fr-FR", FieldType::name, "a", ""), change("fr-FR", FieldType::subtitle, "a", ""),
        change("fr-FR", FieldType::keywords, "a", "b")};
    const auto counts = [&](const PushFilter& filter) {
        const auto selection = selectForPush(changes, filter);
        return std::pair(selection.chosen.size(), selection.leftOut.size());
    };
    using Counts = std::pair<std::size_t, std::size_t>;
    EXPECT_EQ(counts({}), (Counts{2, 3}));
    EXPECT_EQ(counts({{"de-DE"}, {}, {}}), (Counts{1, 1}));
    EXPECT_EQ(counts({{}, {FieldType::description}, {}}), (Counts{0, 1}));
    EXPECT_EQ(counts({{"de-DE"}, {FieldType::description}, {}}), (Counts{1, 0})); // named, so it is meant
    EXPECT_EQ(counts({{}, {FieldType::subtitle}, Clearing::allow}), (Counts{1, 0}));
    EXPECT_EQ(counts({{}, {FieldType::name}, Clearing::allow}), (Counts{1, 1})); // never removed
    EXPECT_EQ(counts({{"it"}, {}, {}}), (Counts{0, 0}));
    for (const auto& [locale, chosen] : {std::pair("be", 1), std::pair("de", 0)}) // a slip stays one
        EXPECT_THAT(selectForPush({ofNewLocale(locale, FieldType::name, "b")}, {{locale}, {}, {}}).chosen,
                    SizeIs(chosen));
}

TEST(PushSelection, missesWhatWasAskedForByNameAndGroupsByReason) {
    using R = LeftOutReason;
    const std::string tooLong(31, 'n');
    PendingChange german = change("de", FieldType::name, "", "x");
    PendingChange fallback = change("default", FieldType::name, "", "x");
    german.isNewLocale = fallback.isNewLocale = true;
    PendingChange longName = change("fr-FR", FieldType::name, "a", tooLong);
    longName.isOverLimit = true;
    struct Case {
        PendingChange change;
        PushFilter filter;
        LeftOutReason reason;
        bool isMissed;
    };
    const PushFilter first{.release = Release::first};
    const Case cases[] = {
        {longName, {}, R::overLimit, true},
        {german, {}, R::notAnAppStoreLocale, true}, // German is meant
        {fallback, {}, R::notAnAppStoreLocale, false},
        {german, {.locales = {"de"}}, R::notAnAppStoreLocale, true},
        {change("ja", FieldType::name, "a", "b"), {}, R::localeDisabled, false},
        {change("ja", FieldType::name, "a", "b"), {.locales = {"ja"}}, R::localeDisabled, true},
        {change("it", FieldType::releaseNotes, "", "b"), first, R::firstVersion, false},
        {change("it", FieldType::releaseNotes, "", "b"),
         {.locales = {"it"}, .release = Release::first},
         R::firstVersion,
         false},
        {change("it", FieldType::releaseNotes, "", "b"),
         {.fields = {FieldType::releaseNotes}, .release = Release::first},
         R::firstVersion,
         true},
        {change("it", FieldType::keywords, "a", "a\n"), {.locales = {"it"}}, R::onlyFinalLineBreak, false},
    };
    std::vector<LeftOutChange> all;
    for (const Case& one : cases) {
        const PushSelection selection = selectForPush({one.change}, one.filter, {"ja"});
        ASSERT_EQ(selection.leftOut.size(), 1u) << one.change.locale;
        const LeftOutChange& leftOut = selection.leftOut[0];
        EXPECT_EQ(leftOut.reason, one.reason) << one.change.locale;
        EXPECT_EQ(leftOut.isMissed, one.isMissed) << one.change.locale << leftOut.explanation;
        if (one.filter.locales.empty() && one.filter.fields.empty()) all.insert(all.begin(), leftOut);
    }
    EXPECT_TRUE(selectForPush({change("it", FieldType::releaseNotes, "", "b")}, {}, {}).leftOut.empty());

    for (const std::string locale : {"sv", "da"}) {
        all.push_back(
            {change(locale, FieldType::releaseNotes, "", "b"), R::firstVersion, "said once", false});
        all.push_back({change(locale, FieldType::name, "", tooLong), R::overLimit, "31 characters", true});
    }
    std::vector<std::pair<LeftOutReason, std::size_t>> groups;
    for (const LeftOutGroup& group : groupsOf(all)) {
        groups.emplace_back(group.reason, group.changes.size());
        if (group.reason == R::overLimit) {
            EXPECT_EQ(group.explanation, "The texts are over their limits. Shorten them.");
        }
        if (group.reason == R::firstVersion) {
            EXPECT_THAT(group.explanation, HasSubstr("no release notes"));
        }
    }
    EXPECT_THAT(groups,
                testing::ElementsAre(std::pair(R::notAnAppStoreLocale, 1u), std::pair(R::overLimit, 3u),
                                     std::pair(R::firstVersion, 3u), std::pair(R::localeDisabled, 1u),
                                     std::pair(R::notAnAppStoreLocale, 1u)));
}

TEST(PushSelection, leavesOutAPasswordOfSeveralLinesWithoutTellingIt) {
    FieldTexts page;
    page[FieldType::demoAccountPassword] = "sesame\nopen";
    const auto leftOut = selectForPush(MetadataDiff::comparePage({}, page)).leftOut;
    ASSERT_THAT(leftOut, SizeIs(1));
    EXPECT_EQ(leftOut[0].change.local, "(set)");
    EXPECT_EQ(leftOut[0].explanation,
              "review_information/demo_password.txt has several lines. Write it in one.");
}

TEST(PushSelection, tellsEveryFaultThatIsOneOfItsOwn) {
    using F = FieldType;
    const auto leftOut =
        selectForPush({change("", F::releaseType, "", "SOON"), change("", F::primaryCategory, "", "GARDENS"),
                       change("", F::primarySubcategoryOne, "GAMES_WORD", ""),
                       change("", F::secondaryCategory, "TRAVEL", ""),
                       change("de-DE", F::supportURL, "", "nowhere"),
                       change("fr-FR", F::supportURL, "", "nowhere"),
                       change("it", F::supportURL, "", "ftp://a.example")})
            .leftOut;
    std::vector<std::string> told;
    for (const LeftOutGroup& group : groupsOf(leftOut)) {
        told.push_back(group.explanation);
        for (const LeftOutChange& one : group.changes)
            EXPECT_EQ(one.explanation, group.explanation);
    }
    EXPECT_THAT(told, testing::ElementsAre(HasSubstr("SOON"), HasSubstr("GARDENS"), HasSubstr("First sub"),
                                           HasSubstr("Secondary category"), HasSubstr("nowhere"),
                                           HasSubstr("ftp")));
}

TEST(PushSelection, warnsOfWhatItSendsAllTheSame) {
    const auto warningsOn = [](const std::vector<PendingChange>& changes) {
        return selectForPush(changes).warnings;
    };
    const auto warnings = warningsOn({change("de-DE", FieldType::keywords, "a", "b, c"),
                                      change("de-DE", FieldType::description, "a", "b\r\nc"),
                                      ofNewLocale("it", FieldType::name, "Nome"),
                                      ofNewLocale("it", FieldType::releaseNotes, "Novità"),
                                      ofNewLocale("ja", FieldType::releaseNotes, "新"),
                                      ofNewLocale("ja", FieldType::description, "説明")});
    ASSERT_THAT(warnings, SizeIs(3));
    EXPECT_EQ(warnings[0].field, FieldType::keywords);
    EXPECT_THAT(warnings[1].text, HasSubstr("CR LF"));
    EXPECT_EQ(warnings[2].locale, "it");
    EXPECT_EQ(warnings[2].field, std::nullopt);
    EXPECT_THAT(warnings[2].text, HasSubstr("release notes only"));
    EXPECT_THAT(warningsOn({change("it", FieldType::releaseNotes, "", "Novità")}), SizeIs(0));
}

namespace {

// One field of a tree, and a pull into it that may end after any of its writes.
struct FieldState {
    Text pulled, local;
    std::vector<std::string> kept;

    [[nodiscard]] bool holds(const std::string& text) const {
        return local == text || std::ranges::find(kept, text) != kept.end();
    }
    // Whether a push now would send this text.
    [[nodiscard]] bool sends(const Text& text) const { return text && local == text && pulled != local; }

    void pull(const std::string& incoming, LocalEdits edits, int writes = 3) {
        const PullDecision decision = decidePull(pulled, local, incoming, edits);
        if (decision.keepsBeside && writes-- > 0) kept.push_back(*local);
        if (decision.writesLocal && writes-- > 0) local = incoming;
        if (decision.writesPulled && writes-- > 0) pulled = incoming;
    }
};

void checkPulls(const FieldState& start, const std::string& incoming, LocalEdits edits, int writes) {
    const bool isEdit = start.local && !isBlank(*start.local) && start.local != start.pulled;
    FieldState state = start;
    state.pull(incoming, edits, writes);
    EXPECT_TRUE(!isEdit || state.holds(*start.local));
    // What was pulled before is never sent back as if the user had written it.
    EXPECT_TRUE(start.local != start.pulled || start.local == incoming || !state.sends(start.local));
    state.pull(incoming, edits);
    EXPECT_TRUE(!isEdit || state.holds(*start.local));
    EXPECT_EQ(state.pulled, incoming);
    EXPECT_TRUE(state.local == incoming || (edits == LocalEdits::leaveInPlace && state.local == start.local &&
                                            start.local != start.pulled));
    const FieldState settled = state;
    state.pull(incoming, edits);
    EXPECT_EQ(state.local, settled.local);
    EXPECT_EQ(state.kept, settled.kept);
}

} // namespace

TEST(PullDecision, losesNoEditAndSendsNothingBackWhereverAPullEnds) {
    const std::vector<Text> values = {std::nullopt, "", "\n", "A", "B", "C", "A\n"};
    for (const Text& pulled : values)
        for (const Text& local : values)
            for (const std::string incoming : {"", "\n", "A", "B", "C", "A\n"})
                for (const LocalEdits edits : {LocalEdits::keepBeside, LocalEdits::leaveInPlace})
                    for (int writes = 0; writes <= 3; ++writes) {
                        SCOPED_TRACE(escapeControls(pulled.value_or("none") + "|" + local.value_or("none") +
                                                    "|" + incoming + "|" + std::to_string(writes)));
                        checkPulls({pulled, local, {}}, incoming, edits, writes);
                    }
}

TEST(PullDecision, tellsEditsFromWhatIsMerelyOlder) {
    struct Case {
        Text pulled, local;
        std::string incoming;
        PullDecision decision; // .keepsBeside, .writesLocal, .writesPulled, .leavesEdit
    };
    const std::vector<Case> cases = {
        {std::nullopt, std::nullopt, "new", {false, true, true, false}},
        {"old", "old", "new", {false, true, true, false}},
        {"old", "new", "new", {false, false, true, false}}, // an interrupted pull, or the same edit twice
        {"new", "mine", "new", {true, true, false, false}},
        {"old", "mine", "new", {true, true, true, false}},
        {std::nullopt, "mine", "new", {true, true, true, false}},
        {std::nullopt, "", "new", {false, true, true, false}}, // a locale made by hand
        {"old", "", "new", {true, true, true, false}},         // a cleared field
        {"old", std::nullopt, "new", {false, true, true, false}},
    };
    for (const auto& [pulled, local, incoming, decision] : cases)
        EXPECT_EQ(decidePull(pulled, local, incoming, LocalEdits::keepBeside), decision)
            << pulled.value_or("none") << "|" << local.value_or("none") << "|" << incoming;
}

TEST(PushReport, countsWhatWentAndNamesTheFirstError) {
    const auto outcome = [](std::string locale, FieldType field, std::optional<std::string> error) {
        return PushOutcome{change(std::move(locale), field, "", "x"), !error, error};
    };
    const PushOutcome name = outcome("de-DE", FieldType::name, {});
    const PushOutcome keywords = outcome("de-DE", FieldType::keywords, {});
    const PushOutcome french = outcome("fr-FR", FieldType::name, {});
    EXPECT_EQ(pushReport({name}), "Pushed 1 field · 1 locale");
    EXPECT_EQ(pushReport({name, keywords}), "Pushed 2 fields · 1 locale");
    EXPECT_EQ(pushReport({name, french}), "Pushed 2 fields · 2 locales");
    EXPECT_EQ(
        pushReport({outcome("it", FieldType::name, "first"), name, outcome("it", FieldType::keywords, "no")}),
        "Pushed 1 field · 1 locale. 2 failed.\nFirst error: first");
    EXPECT_EQ(pushReport({outcome("it", FieldType::name, "no")}),
              "Pushed 0 fields · 0 locales. 1 failed.\nFirst error: no");
    PushOutcome unsent = outcome("it", FieldType::keywords, "Not sent: other locales were refused.");
    unsent.notSent = true;
    EXPECT_EQ(pushReport({unsent, name, unsent, outcome("it", FieldType::name, "no")}),
              "Pushed 1 field · 1 locale. 2 not sent. 1 failed.\nFirst error: no");
}
