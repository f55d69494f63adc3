#include "Core/metadata/MetadataDiff.h"
#include "Core/metadata/PullWriter.h"
#include "Core/metadata/merge/TextConflicts.h"
#include "Platform/files/Files.h"
#include "Tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>

using namespace quorvel;

namespace {

const std::vector<std::string> locales = {"de-DE", "en-GB", "fr-FR", "ja"};

// What App Store Connect holds at the nth pull: long enough to be written in more than one piece.
std::string textOf(int pull, const std::string& locale, FieldType field) {
    const std::string word = "pull " + std::to_string(pull) + " " + locale + " ";
    std::string text;
    while (text.size() < 3000)
        text += word;
    return text + std::string(rawValue(field));
}

int pullOf(std::string_view text) {
    return std::stoi(std::string(text.substr(5, 4)));
}

std::vector<IncomingTexts> incomingAt(int pull) {
    IncomingTexts version{FieldHome::versionLocalization, {}};
    for (const std::string& locale : locales)
        for (const FieldType field : storeTexts)
            if (homeOf(field) == version.home) version.locales[locale][field] = textOf(pull, locale, field);
    return {version};
}

// Pulls in a process of its own that a timer kills; whether it was killed before it was done.
bool pullAndDie(const MetadataStore& store, int pull, int microseconds, LocalEdits mode) {
    const pid_t child = ::fork();
    if (child == 0) {
        const itimerval timer{{0, 0}, {microseconds / 1'000'000, microseconds % 1'000'000}};
        ::setitimer(ITIMER_REAL, &timer, nullptr); // the alarm ends the process as a kill does
        (void)writePulledTexts(store, incomingAt(pull), mode, dateFromSecondsSince1970(1772368200 + pull));
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status);
}

std::set<std::string> keptTexts(const MetadataStore& store) {
    std::set<std::string> texts;
    const auto folder = store.folder().privateFolder() / "kept";
    if (!std::filesystem::exists(folder)) return texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && !entry.path().filename().string().starts_with('.'))
            texts.insert(*readFile(entry.path()));
    return texts;
}

class InterruptedPull : public testing::TestWithParam<LocalEdits> {};

} // namespace

TEST_P(InterruptedPull, losesNoEditAndLeavesNoHalfFile) {
    const test::TemporaryFolder folder;
    const MetadataStore store(MetadataFolder{folder / "ios/next"});
    (void)writePulledTexts(store, incomingAt(0), LocalEdits::keepBeside, Date());
    std::set<std::string> edits;
    std::set<std::string> known;
    const auto learn = [&](int pull) {
        for (const std::string& locale : locales)
            for (const FieldType field : storeTexts)
                known.insert(textOf(pull, locale, field));
    };
    learn(0);
    int kills = 0, ends = 0, pull = 0;
    for (double microseconds = 300; ends < 5; microseconds *= 1.05) {
        ++pull;
        learn(pull);
        const std::string& edited = locales[static_cast<std::size_t>(pull) % locales.size()];
        const std::string edit = "edit " + std::to_string(pull);
        if (!store.read(edited, FieldType::keywords)
                 ->starts_with("edit")) { // not over an edit of the user's own
            edits.insert(edit);
            known.insert(edit);
            store.write(edited, FieldType::keywords, edit);
        }
        // Ever later, so that over the rounds each step of a pull is the last one.
        ++(pullAndDie(store, pull, static_cast<int>(microseconds), GetParam()) ? kills : ends);

        std::set<std::string> present = keptTexts(store);
        for (const TextConflict& conflict : TextConflicts(store.folder()).all()) {
            ASSERT_EQ(conflict.problem, std::nullopt);
            // An edit that is in conflict is in the record, or in the file: it can be settled with.
            const auto local = store.read(conflict.key.locale, conflict.key.field);
            ASSERT_TRUE(ourTextOf(conflict, local, FinalLineBreak::keep).starts_with("edit"));
        }
        for (const TextSide side : {TextSide::local, TextSide::pulled})
            for (const auto& [locale, fields] : store.readAll(side))
                for (const auto& text : fields.texts) {
                    if (!text) continue;
                    ASSERT_TRUE(known.contains(*text)) << pull << ": half written in " << locale;
                    if (side == TextSide::local) present.insert(*text);
                }
        for (const std::string& one : edits)
            ASSERT_TRUE(present.contains(one)) << one << " was lost at pull " << pull;
        for (const PendingChange& change : MetadataDiff::compare(store)) {
            // A text that came may look like an edit only while the marker keeps pushes away, and it is
            // newer than the copy: what was pulled before is never taken for something to send.
            ASSERT_TRUE(change.local.starts_with("edit") ||
                        (store.hasInterruptedPull() && pullOf(change.local) > pullOf(change.remote)))
                << pull << ": " << change.local.substr(0, 20) << " over " << change.remote.substr(0, 20);
        }
    }
    EXPECT_GT(kills, 10);
    (void)writePulledTexts(store, incomingAt(pull), GetParam(), Date());
    EXPECT_TRUE(MetadataDiff::compare(store).empty() || GetParam() == LocalEdits::merge);
    EXPECT_FALSE(store.hasInterruptedPull());
}

INSTANTIATE_TEST_SUITE_P(whatBecomesOfEdits, InterruptedPull,
                         testing::Values(LocalEdits::keepBeside, LocalEdits::merge));
