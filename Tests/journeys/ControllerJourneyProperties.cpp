// What must hold for any tree and any edits, also when App Store Connect fails at random.
#include "Core/asc/ASCError.h"
#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Platform/text/Text.h"
#include "Tests/support/ControllerSandbox.h"

#include <gmock/gmock.h>

#include <array>
#include <map>
#include <random>

using namespace quorvel;
using test::ControllerSandbox;
using testing::IsEmpty;

namespace {

constexpr std::array<std::uint64_t, 6> seeds = {1, 2, 3, 5, 8, 13};

// The texts that should be on App Store Connect; a field without text is absent.
using Expected = std::map<FieldKey, std::string>;

Expected textsOf(const LocaleTexts& locales) {
    Expected texts;
    for (const auto& [locale, fields] : locales)
        for (const FieldType field : storeTexts)
            if (fields[field] && !isBlank(*fields[field])) texts[{locale, field}] = *fields[field];
    return texts;
}

// Edits a tree at random and keeps count of what a push should make of it.
class Editor {
  public:
    Editor(MetadataController& controller, MetadataStore store, std::uint64_t seed)
        : controller_(controller), store_(std::move(store)), random_(seed) {}

    void edit() {
        for (const std::string& locale : store_.localesOnDisk())
            for (const FieldType field : storeTexts)
                if (below(6) == 0) editField({locale, field});
        for (const std::string locale : {"ta-IN", "te-IN", "ur-PK"})
            if (below(2) == 0) addLocale(locale);
    }

  private:
    void editField(const FieldKey& key) {
        const auto before = store_.read(key.locale, key.field);
        switch (below(key.field == FieldType::name ? 2 : 5)) {
        case 0: // and back
            store_.write(key.locale, key.field, "for a moment");
            return store_.write(key.locale, key.field, before.value_or(""));
        case 2:
            return store_.write(key.locale, key.field, " \n\t");
        case 3:
            store_.remove(key.locale, key.field, TextSide::local);
            return;
        case 4: // only white space differs, and only at the front
            if (!before || isBlank(*before)) return;
            return store_.write(key.locale, key.field, text(key.field, "\n "));
        default:
            return store_.write(key.locale, key.field, text(key.field));
        }
    }

    void addLocale(const std::string& locale) {
        controller_.addLocale(locale);
        store_.write(locale, FieldType::name, text(FieldType::name));
        for (const FieldType field : storeTexts)
            if (field != FieldType::name && below(2) == 0) store_.write(locale, field, text(field));
    }

    // Ends in a number, so that it is no text that was there before and has no line break at its end.
    std::string text(FieldType field, std::string start = {}) {
        static constexpr std::string_view pieces[] = {"a",
                                                      "ß",
                                                      "é",
                                                      "e\u0301",
                                                      "日本",
                                                      "שלום",
                                                      "👩‍👩‍👧",
                                                      "\U0001F1E9\U0001F1EA",
                                                      "\"",
                                                      "\\",
                                                      "\u2028",
                                                      " ",
                                                      "\n",
                                                      "\r\n",
                                                      "%",
                                                      "'",
                                                      "&<"};
        const std::size_t length = 1 + below(limitOf(field) / 2);
        while (graphemeCount(start) < length)
            start += pieces[below(std::size(pieces))];
        return start + std::to_string(below(1000) + 1000);
    }

    std::size_t below(std::size_t bound) { return random_() % bound; }

    MetadataController& controller_;
    MetadataStore store_;
    std::mt19937_64 random_;
};

// The changes that the texts themselves show, found without the comparison.
std::vector<FieldKey> differences(const Expected& before, const Expected& after) {
    std::vector<FieldKey> keys;
    for (const auto& [key, text] : after)
        if (const auto old = before.find(key); old == before.end() || old->second != text)
            keys.push_back(key);
    for (const auto& [key, text] : before)
        if (!after.contains(key)) keys.push_back(key);
    std::ranges::sort(keys);
    return keys;
}

std::vector<FieldKey> keysOf(const std::vector<PendingChange>& changes) {
    std::vector<FieldKey> keys;
    for (const PendingChange& change : changes)
        keys.push_back(change.key());
    return keys;
}

// The user's retries: what fails is tried again.
template <typename Attempt>
void untilDone(Attempt&& attempt) {
    for (int attempts = 0; attempts < 60; ++attempts)
        try {
            if (attempt()) return;
        } catch (const ASCError&) {
            // again
        }
    ADD_FAILURE() << "did not come to an end";
}

bool pushedAll(ControllerSandbox& fixture) {
    const PushPlan plan = fixture.controller.planPush({{}, {}, Clearing::allow});
    if (plan.nothing) {
        EXPECT_EQ(plan.nothing, quorvel::textOf(Refusal::noPendingChanges));
        return true;
    }
    fixture.controller.push(plan);
    return false; // until there is nothing left
}

// What App Store Connect holds.
Expected textsOnService(ControllerSandbox& fixture) {
    const test::SandboxFixture& service = fixture;
    const auto context = fixture.controller.state()->selectedContext().value();
    const auto info = chooseAppInfo(service.client.listAppInfos(test::gardenApp), context.stateClass);
    Expected texts;
    const auto add = [&](FieldHome home, const std::string& parentID) {
        texts.merge(textsOf(quorvel::textsOf(listLocalizations(service.client, home, parentID))));
    };
    add(FieldHome::versionLocalization, context.versionId);
    add(FieldHome::appInfoLocalization, info->id);
    return texts;
}

std::vector<sandbox::Fault> faultsEverywhere() {
    std::vector<sandbox::Fault> faults;
    for (const std::string fault :
         {"503:0.3", "503After:0.2", "reset:0.05", "resetAfter:0.05", "429:0.05", "truncate:0.05"})
        faults.push_back(sandbox::parseFault("*:" + fault));
    return faults;
}

} // namespace

TEST(ControllerJourneyProperties, localEqualsRemoteAfterAnyEditsWerePushedAndPulled) {
    for (const std::uint64_t seed : seeds) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ControllerSandbox fixture;
        fixture.pull();
        const MetadataStore store = fixture.store();
        Editor editor(fixture.controller, store, seed);
        for (int round = 0; round < 2; ++round) { // the second begins with what the first made of the tree
            const Expected before = textsOf(store.readAll());
            editor.edit();
            const Expected wanted = textsOf(store.readAll());
            EXPECT_EQ(keysOf(MetadataDiff::compare(store)), differences(before, wanted));

            const auto pushed = fixture.push();
            EXPECT_THAT(MetadataDiff::compare(store), IsEmpty()) << pushed.report;
            EXPECT_TRUE(pushedAll(fixture));
            EXPECT_EQ(textsOnService(fixture), wanted);
            EXPECT_THAT(fixture.pull().kept, IsEmpty());
            EXPECT_EQ(textsOf(store.readAll()), wanted);
            EXPECT_THAT(MetadataDiff::compare(store), IsEmpty());
        }
    }
}

TEST(ControllerJourneyProperties, soItDoesWhenRequestsFailAtRandomAndTheUserTriesAgain) {
    std::int64_t failures = 0; // that the client's own retries did not get over
    for (const std::uint64_t seed : seeds) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ControllerSandbox fixture(test::gardenApp, {.faultSeed = seed});
        fixture.server.setFaults(faultsEverywhere());
        const auto pulled = [&] {
            fixture.pull();
            return true;
        };
        untilDone(pulled);
        const MetadataStore store = fixture.store();
        Editor(fixture.controller, store, seed).edit();
        const Expected wanted = textsOf(store.readAll());
        untilDone([&] { return pushedAll(fixture); });
        untilDone(pulled);
        fixture.server.setFaults({});
        EXPECT_EQ(textsOnService(fixture), wanted);
        EXPECT_EQ(textsOf(store.readAll()), wanted);
        EXPECT_THAT(MetadataDiff::compare(store), IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(store.folder().privateFolder() / "kept"));
        for (const PushRun& run : PushHistory(fixture.container).runs(fixture.app.id))
            failures += run.failed + run.unknown;
    }
    EXPECT_GT(failures, 2);
}
