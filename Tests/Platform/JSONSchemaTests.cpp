// Strict records and the schemas of records.
#include "Platform/json/JSON.h"
#include "Platform/json/JSONSchema.h"

#include <gtest/gtest.h>

#include <exception>

namespace quorvel {

enum class Speed { slow, fast };
template <>
struct RawValues<Speed> {
    static constexpr std::pair<Speed, std::string_view> values[] = {{Speed::slow, "SLOW"},
                                                                    {Speed::fast, "FAST"}};
};

struct PushFilter {
    std::string field;
    std::optional<bool> isExact;
    bool operator==(const PushFilter&) const = default;
    QUORVEL_RECORD(PushFilter, field, isExact)
};

struct PushQuestion {
    std::string app;
    std::vector<std::string> locales = {"en-US"};
    std::int64_t limit = 20;
    std::optional<Speed> speed;
    PushFilter filter = {"name", {}};
    bool operator==(const PushQuestion&) const = default;
    QUORVEL_RECORD(PushQuestion, app, locales, limit, speed, filter)
    static constexpr JSONMember members[] = {{"app", "The app's bundle id.", JSONMember::required},
                                             {"locales", "Which locales; English when left out."},
                                             {"speed", "How fast.", JSONMember::required}};
};
template <>
struct JSONAliases<PushQuestion> {
    static constexpr JSONAlias values[] = {{"bundle", "app"}};
};

struct Branch {
    std::string name;
    std::vector<Branch> branches;
    QUORVEL_RECORD(Branch, name, branches)
};

struct Everything {
    bool flag = false;
    double share = 0;
    Date made;
    std::optional<Date> seen;
    std::map<std::string, std::vector<int>> counts;
    JSONValue extra;
    QUORVEL_RECORD(Everything, flag, share, made, seen, counts, extra)
};

struct Cached {
    std::string text;
    std::optional<double> score;
    bool isCached = false;
    std::exception_ptr failure;
    QUORVEL_RECORD_EXCEPT(Cached, (isCached, failure), text, score)
};

// The first leaves one of its members out, the second excepts one that it lists.
struct Forgetful {
    std::string text;
    std::optional<std::vector<PushFilter>> filters;
    QUORVEL_RECORD(Forgetful, text)
};
struct Boastful {
    std::string text;
    QUORVEL_RECORD_EXCEPT(Boastful, (other), text)
};

namespace {

template <typename T>
std::string problemIn(std::string_view text) {
    try {
        static_cast<void>(decodeJSON<T>(text));
        return "";
    } catch (const JSONError& error) {
        return error.what();
    }
}

template <typename T, std::size_t described>
constexpr bool isWhole = json::listsEveryMember<T>(std::make_index_sequence<described>());

TEST(JSONRecord, noticesAMemberThatIsNotListed) {
    EXPECT_TRUE((isWhole<PushFilter, 2>));
    EXPECT_TRUE((isWhole<PushQuestion, 5>));
    EXPECT_TRUE((isWhole<Everything, 6>));
    EXPECT_TRUE((isWhole<Cached, 2>));
    EXPECT_FALSE((isWhole<Forgetful, 1>));
    EXPECT_FALSE((isWhole<Boastful, 1>));
}

TEST(JSONRecord, readsARequestWithWhatIsLeftOutAsItsDefaults) {
    const PushQuestion least = decodeJSON<PushQuestion>(R"({"app":"a.b","speed":"FAST"})");
    EXPECT_EQ(least, (PushQuestion{.app = "a.b", .speed = Speed::fast}));
    EXPECT_EQ(least.locales, std::vector<std::string>{"en-US"});
    EXPECT_EQ(decodeJSON<PushQuestion>(R"({"bundle":"a.b","speed":"FAST","limit":3})").limit, 3);
    // The later of two members of one name replaces the earlier as a whole.
    const auto twice = decodeJSON<std::map<std::string, PushQuestion>>(
        R"({"q":{"app":"a","speed":"FAST","limit":3},"q":{"app":"b","speed":"SLOW"}})");
    EXPECT_EQ(twice.at("q"), (PushQuestion{.app = "b", .speed = Speed::slow}));
}

TEST(JSONRecord, refusesARequestWithMembersThatItDoesNotKnow) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {R"({"app":"a","speed":"FAST","locals":[]})", "$.locals: unknown, did you mean locales?"},
        {R"({"app":"a","speed":"FAST","Limit":1})", "$.Limit: unknown, did you mean limit?"},
        {R"({"app":"a","speed":"FAST","somethingElse":1})", "$.somethingElse: unknown"},
        {R"({"speed":"FAST"})", "$.app: missing"},
        {R"({"app":"a"})", "$.speed: missing"},
        {R"({"app":"a","speed":"FAST","limit":null})", "$.limit: expected an integer"},
        {R"({"app":"a","speed":"FAST","filter":{"exact":true}})", "$.filter.field: missing"},
        {R"({"app":"a","speed":"FAST","filter":{"field":"name","exact":true}})", ""}};
    for (const auto& [text, problem] : table)
        EXPECT_EQ(problemIn<PushQuestion>(text), problem) << text;
}

TEST(JSONSchema, describesWhatTheCodecReads) {
    const std::vector<std::pair<JSONValue, std::string>> table = {
        {jsonSchema<PushQuestion>(),
         R"({"type":"object","properties":{)"
         R"("app":{"type":"string","description":"The app's bundle id."},)"
         R"("locales":{"type":"array","items":{"type":"string"},)"
         R"("description":"Which locales; English when left out."},)"
         R"("limit":{"type":"integer"},)"
         R"("speed":{"type":"string","enum":["SLOW","FAST"],"description":"How fast."},)"
         R"("filter":{"type":"object","properties":{"field":{"type":"string"},"isExact":{"type":"boolean"}},)"
         R"("required":["field"]}},"required":["app","speed"],"additionalProperties":false})"},
        {jsonSchema<Everything>(),
         R"({"type":"object","properties":{"flag":{"type":"boolean"},"share":{"type":"number"},)"
         R"("made":{"type":"string","format":"date-time"},"seen":{"type":"string","format":"date-time"},)"
         R"("counts":{"type":"object","additionalProperties":{"type":"array","items":{"type":"integer"}}},)"
         R"("extra":{}},"required":["flag","share","made","counts","extra"]})"},
        {jsonSchema<Cached>(),
         R"({"type":"object","properties":{"text":{"type":"string"},"score":{"type":"number"}},)"
         R"("required":["text"]})"},
        {jsonSchema<std::vector<Branch>>(),
         R"({"type":"array","items":{"type":"object","properties":{"name":{"type":"string"},)"
         R"("branches":{"type":"array","items":{"type":"object"}}},"required":["name","branches"]}})"}};
    for (const auto& [schema, expected] : table)
        EXPECT_EQ(encodeJSON(schema), expected);
}

} // namespace
} // namespace quorvel
