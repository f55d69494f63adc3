#include "Platform/defaults/UserDefaults.h"
#include "Tests/support/FileMode.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>
#include <thread>

namespace quorvel {
namespace {

using test::modeOf;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::Optional;

TEST(UserDefaults, keepTypedValuesAndGiveNoOtherType) {
    const TemporaryFolder folder;
    const auto file = folder / "Library" / "Preferences" / "settings.json";
    {
        UserDefaults defaults(file);
        EXPECT_EQ(defaults.string("Feature.name"), std::nullopt);
        EXPECT_FALSE(std::filesystem::exists(folder / "Library")); // reading makes nothing
        defaults.set("Feature.name", "wért \"quoted\"");
        defaults.set("Feature.count", std::int64_t{1} << 62);
        defaults.set("Feature.ratio", 0.3);
        defaults.set("Feature.whole", 3.0);
        defaults.set("Feature.on", false);
        defaults.set("Feature.list.v1", std::vector<std::string>{"b", "a"});
        defaults.set("Feature.none", JSONValue::array());
        defaults.set("Feature.mixed", JSONValue::array({"a", 1}));
    }
    UserDefaults defaults(file);
    EXPECT_THAT(defaults.string("Feature.name"), Optional(std::string("wért \"quoted\"")));
    EXPECT_THAT(defaults.integer("Feature.count"), Optional(std::int64_t{1} << 62));
    EXPECT_THAT(defaults.number("Feature.ratio"), Optional(0.3));
    EXPECT_THAT(defaults.number("Feature.whole"), Optional(3.0));
    EXPECT_THAT(defaults.boolean("Feature.on"), Optional(false));
    EXPECT_THAT(defaults.strings("Feature.list.v1"), Optional(ElementsAre("b", "a")));
    EXPECT_THAT(defaults.strings("Feature.none"), Optional(ElementsAre()));

    EXPECT_EQ(defaults.integer("Feature.name"), std::nullopt);
    EXPECT_EQ(defaults.integer("Feature.ratio"), std::nullopt);
    EXPECT_EQ(defaults.integer("Feature.on"), std::nullopt);
    EXPECT_EQ(defaults.boolean("Feature.count"), std::nullopt);
    EXPECT_EQ(defaults.number("Feature.name"), std::nullopt);
    EXPECT_EQ(defaults.string("Feature.count"), std::nullopt);
    EXPECT_EQ(defaults.strings("Feature.name"), std::nullopt);
    EXPECT_EQ(defaults.strings("Feature.mixed"), std::nullopt);
    EXPECT_EQ(defaults.string("Feature"), std::nullopt);

    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(file.parent_path()) & 0700U, 0700U);
    defaults.remove("Feature.name");
    EXPECT_EQ(defaults.string("Feature.name"), std::nullopt);
}

TEST(UserDefaults, tellObserversOfChangesOnly) {
    const TemporaryFolder folder;
    UserDefaults defaults(folder / "settings.json");
    std::vector<std::string> keys;
    auto handle = defaults.observe([&](std::string_view key) {
        keys.emplace_back(key);
        if (key == "a") defaults.set("b", defaults.integer("a").value() + 1); // an observer may write
    });
    defaults.set("a", 1);
    EXPECT_EQ(defaults.integer("b"), 2);
    const auto identity = fileIdentity(folder / "settings.json");
    defaults.set("a", 1); // as it was: no write, no call
    defaults.remove("never");
    EXPECT_EQ(fileIdentity(folder / "settings.json"), identity);
    defaults.remove("b");
    handle = {};
    defaults.set("c", true);
    EXPECT_THAT(keys, ElementsAre("a", "b", "b"));
}

TEST(UserDefaults, seeTheFileAsItIsNowAndMoveADamagedOneAside) {
    const TemporaryFolder folder;
    const auto file = folder / "settings.json";
    UserDefaults defaults(file);
    writeFileAtomically(file, R"({"a": "by hand", "a.b": 2, "unknown": {"kept": [null]}})");
    EXPECT_EQ(defaults.string("a"), "by hand");
    EXPECT_EQ(defaults.integer("a.b"), 2);
    defaults.set("c", 3);
    EXPECT_EQ(readFile(file), "{\n  \"a\": \"by hand\",\n  \"a.b\": 2,\n  \"c\": 3,\n  \"unknown\": {\n"
                              "    \"kept\": [\n      null\n    ]\n  }\n}\n");
    for (const char* damaged : {"{\"a\": ", "", "[1, 2]", "\xFF\xFE", "\"text\""}) {
        writeFileAtomically(file, damaged);
        EXPECT_EQ(defaults.string("a"), std::nullopt);
        EXPECT_EQ(readFile(file), damaged); // a reader moves nothing
        defaults.set("a", "new");
        EXPECT_EQ(defaults.string("a"), "new");
        EXPECT_EQ(readFile(folder / "settings.json.damaged"), damaged);
    }
    std::filesystem::remove(file);
    EXPECT_EQ(defaults.string("a"), std::nullopt);
    std::filesystem::create_directory(file);
    EXPECT_THROW(defaults.set("a", 1), FileError);
}

TEST(UserDefaults, keepTheKeysOfTwoProcessesAndManyThreads) {
    const TemporaryFolder folder;
    const auto file = folder / "settings.json";
    constexpr int rounds = 30;
    const auto write = [&](UserDefaults& defaults, const std::string& prefix) {
        for (int round = 0; round < rounds; ++round)
            defaults.set(prefix + std::to_string(round), round);
    };
    const pid_t child = ::fork();
    if (child == 0) {
        UserDefaults own(file);
        write(own, "child.");
        ::_exit(0);
    }
    UserDefaults shared(file), second(file);
    std::thread first([&] { write(shared, "first."); });
    std::thread other([&] { write(second, "second."); });
    write(shared, "main.");
    first.join();
    other.join();
    int status = -1;
    ::waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    for (const char* prefix : {"child.", "first.", "second.", "main."})
        for (int round = 0; round < rounds; ++round)
            EXPECT_EQ(shared.integer(prefix + std::to_string(round)), round) << prefix;
}

} // namespace
} // namespace quorvel
