#include "Platform/json/JSON.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace quorvel {

enum class Colour { red, darkBlue };
template <>
struct RawValues<Colour> {
    static constexpr std::pair<Colour, std::string_view> values[] = {{Colour::red, "RED"},
                                                                     {Colour::darkBlue, "DARK_BLUE"}};
};

struct Wheel {
    std::string name;
    std::optional<double> size;
    bool operator==(const Wheel&) const = default;
    QUORVEL_RECORD(Wheel, name, size)
};

struct Car {
    std::string title;
    std::int64_t id = 0;
    std::optional<std::string> deepLinkUrl;
    bool electric = false;
    std::optional<Colour> colour;
    std::vector<Wheel> wheels;
    std::optional<std::vector<std::string>> owners;
    std::map<std::string, int> counts;
    std::optional<Date> built;
    JSONValue extra;
    bool operator==(const Car&) const = default;
    QUORVEL_RECORD(Car, title, id, deepLinkUrl, electric, colour, wheels, owners, counts, built, extra)
};
template <>
struct JSONAliases<Car> {
    static constexpr JSONAlias values[] = {{"deepLink", "deepLinkUrl"}, {"name", "title"}};
};

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* least = R"({"title":"t","id":1,"electric":true,"wheels":[],"counts":{},"extra":null})";

// `least` with one of its members replaced.
std::string leastWith(std::string_view key, const std::string& json) {
    std::string text = least;
    const std::string start = std::string("\"").append(key).append("\":");
    const auto at = text.find(start) + start.size();
    return text.replace(at, text.find(",\"", at) - at, json);
}

template <typename T>
std::string errorOf(std::string_view text) {
    try {
        static_cast<void>(decodeJSON<T>(text));
        return "";
    } catch (const JSONError& error) {
        EXPECT_THAT(error.what(), StartsWith(error.path() + ": "));
        return error.what();
    }
}

JSONValue value(std::string_view text) {
    return decodeJSON<JSONValue>(text);
}

TEST(JSON, recordsComeBackAsTheyWereWritten) {
    Car car{"Ünï \"q\" \\ / \u2028 \n\t\x01",
            -5,
            "a/b",
            true,
            Colour::darkBlue,
            {{"front", 0.3}, {"", {}}},
            std::vector<std::string>{"x", ""},
            {{"b", 2}, {"a", -1}},
            parseISO8601("2026-03-01T12:30:00Z"),
            JSONValue::object({{"a", "b"}, {"z", JSONValue::array({nullptr, 1.5, false})}})};
    for (const JSONFormat format : {JSONFormat{}, JSONFormat::stateFile()})
        EXPECT_EQ(decodeJSON<Car>(encodeJSON(car, format)), car);
    EXPECT_EQ(encodeJSON(car),
              "{\"title\":\"Ünï \\\"q\\\" \\\\ / \u2028 "
              "\\n\\t\\u0001\",\"id\":-5,\"deepLinkUrl\":\"a/b\",\"electric\":true,"
              "\"colour\":\"DARK_BLUE\",\"wheels\":[{\"name\":\"front\",\"size\":0.3},{\"name\":\"\"}],"
              "\"owners\":[\"x\",\"\"],\"counts\":{\"a\":-1,\"b\":2},\"built\":\"2026-03-01T12:30:00Z\","
              "\"extra\":{\"a\":\"b\",\"z\":[null,1.5,false]}}");
    const Car empty = decodeJSON<Car>(least);
    EXPECT_EQ(encodeJSON(empty), least);
    EXPECT_EQ(encodeJSON(Wheel{"w", 1}, JSONFormat::stateFile()), "{\n  \"name\": \"w\",\n  \"size\": 1\n}");
    EXPECT_EQ(encodeJSON(value(R"({"b":[{}, [], [1]], "a":{"d":1,"c":2}})"), JSONFormat::stateFile()),
              "{\n  \"a\": {\n    \"c\": 2,\n    \"d\": 1\n  },\n  \"b\": [\n    {},\n    [],\n    [\n"
              "      1\n    ]\n"
              "  ]\n}");
}

TEST(JSON, optionalsAndOtherSpellingsAreReadAsMeant) {
    Car car = decodeJSON<Car>(R"({"extra":null,"counts":{},"wheels":[],"electric":true,"id":1.0,"title":"t",)"
                              R"("unknown":{"deep":[1]},"colour":null,"owners":null,"deepLinkUrl":null})");
    EXPECT_EQ(car, decodeJSON<Car>(least)); // any order, null as absent, unknown members ignored

    const auto with = [](const std::string& members) {
        return std::string(least).replace(0, 1, "{" + members + ",");
    };
    EXPECT_EQ(decodeJSON<Car>(with(R"("deepLink":"second")")).deepLinkUrl, "second");
    EXPECT_EQ(decodeJSON<Car>(with(R"("deepLink":"second","deepLinkUrl":"own")")).deepLinkUrl, "own");
    EXPECT_EQ(decodeJSON<Car>(with(R"("deepLinkUrl":"own","deepLink":3)")).deepLinkUrl, "own");
    std::string renamed = least;
    renamed.replace(renamed.find("title"), 5, "name");
    EXPECT_EQ(decodeJSON<Car>(renamed).title, "t");
    EXPECT_EQ(errorOf<Car>(with(R"("deepLink":3)")), "$.deepLink: expected a string");

    // A later member of the same name replaces the earlier, nothing of which stays.
    EXPECT_EQ(decodeJSON<std::vector<Wheel>>(R"([{"name":"a","size":1,"name":"b","size":null}])"),
              (std::vector<Wheel>{{"b", {}}}));
    EXPECT_EQ(value(R"({"a":1,"b":2,"a":3})"), value(R"({"a":3,"b":2})"));
    std::string many = "{";
    for (int member = 0; member < 1000; ++member)
        many += "\"k" + std::to_string(member % 500) + "\":" + std::to_string(member) + ",";
    const JSONValue merged = value(many + "\"last\":true}");
    EXPECT_EQ(merged.members()->size(), 501U);
    EXPECT_EQ(*merged.find("k7")->integer(), 507);
}

TEST(JSON, errorsNameThePlaceAndTheProblem) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {"[]", "$: expected an object"},
        {"null", "$: expected an object"},
        {"{}", "$.title: missing"},
        {leastWith("title", "null"), "$.title: expected a string"},
        {leastWith("title", "7"), "$.title: expected a string"},
        {leastWith("id", "\"1\""), "$.id: expected an integer"},
        {leastWith("id", "1.5"), "$.id: expected an integer"},
        {leastWith("id", "9223372036854775808"), "$.id: integer out of range"},
        {leastWith("id", "123456789012345678901234567890"), "$.id: integer out of range"},
        {leastWith("id", "1e300"), "$.id: integer out of range"},
        {leastWith("electric", "1"), "$.electric: expected a boolean"},
        {leastWith("wheels", R"({"0":[]})"), "$.wheels: expected an array"},
        {leastWith("wheels", R"([{"name":"a"},{"size":1}])"), "$.wheels[1].name: missing"},
        {leastWith("wheels", R"([{"name":"a","size":"1"}])"), "$.wheels[0].size: expected a number"},
        {leastWith("counts", R"({"en-US":1,"de-DE":2147483648})"), "$.counts.de-DE: integer out of range"},
        {leastWith("counts", R"({"a\nb":null})"), "$.counts.a\\nb: expected an integer"},
        {leastWith("counts", R"({},"colour":"PINK")"), "$.colour: unknown value \"PINK\""},
        {leastWith("counts", R"({},"colour":"\u001b[2J")"), "$.colour: unknown value \"\\x1B[2J\""},
        {leastWith("counts", R"({},"owners":["a",1])"), "$.owners[1]: expected a string"},
        {leastWith("counts", R"({},"built":"2026-02-30T00:00:00Z")"), "$.built: expected an ISO 8601 date"},
        {leastWith("counts", R"({},"built":1772368200)"), "$.built: expected a string"}};
    for (const auto& [text, expected] : table)
        EXPECT_EQ(errorOf<Car>(text), expected) << text;
    // A long value is cut, but never within a character.
    const std::string start(59, 'x');
    EXPECT_EQ(errorOf<Colour>(encodeJSON(start + "日本語")), "$: unknown value " + encodeJSON(start + "日"));
}

TEST(JSON, refusesTextsThatAreNoDocument) {
    const std::string open(100000, '[');
    for (const std::string& text : {std::string(),
                                    std::string(" \n"),
                                    std::string("{"),
                                    std::string("{\"a\":1,}"),
                                    std::string("[1 2]"),
                                    std::string("{} {}"),
                                    std::string("nul"),
                                    std::string("'a'"),
                                    std::string("\"a\nb\""),
                                    std::string("\"\\x\""),
                                    std::string("01"),
                                    std::string("1."),
                                    std::string("+1"),
                                    std::string("NaN"),
                                    std::string("1e999"),
                                    std::string("\"\xFF\""),
                                    std::string("\"\xED\xA0\x80\""),
                                    std::string("\"\\ud800\""),
                                    std::string("[1]\0", 4),
                                    std::string("// no\n1"),
                                    std::string("[") + std::string(1, '\0') + "]",
                                    std::string("{\"a\":1 \"b\":2}"),
                                    std::string("[123456789012345678901234567890"),
                                    std::string("\"\\u12\""),
                                    open,
                                    open + std::string(100000, ']'),
                                    std::string("\xEF\xBB\xBF")})
        EXPECT_THAT(errorOf<JSONValue>(text), StartsWith("$: "))
            << testing::PrintToString(text.substr(0, 40));
    // As deep as it takes is fine.
    std::string deep = "1";
    for (int level = 0; level < 900; ++level)
        deep = "[" + deep + "]";
    EXPECT_EQ(encodeJSON(value(deep)), deep);
    EXPECT_EQ(value("\xEF\xBB\xBF [1]"), JSONValue::array({1})); // as some editors save it
}

TEST(JSON, numbersKeepTheirValueAndTheirPlainForm) {
    const double least64 = std::numeric_limits<double>::denorm_min(),
                 most = std::numeric_limits<double>::max();
    for (const double number :
         {0.3, 1e300, -0.0, 1e-7, 123456789.125, 1e15, 1e16, 1.0 / 3, least64, most, -2.5e-10}) {
        const double again = decodeJSON<double>(encodeJSON(number));
        EXPECT_EQ(again, number) << encodeJSON(number);
        EXPECT_EQ(std::signbit(again), std::signbit(number)) << encodeJSON(number);
    }
    const std::vector<std::pair<double, const char*>> table = {
        {0.3, "0.3"},
        {3, "3"},
        {0.000001, "0.000001"},
        {1e-7, "1e-07"},
        {1e300, "1e+300"},
        {1234567.5, "1234567.5"},
        {-0.0, "-0.0"},
        {std::nan(""), "null"},
        {std::numeric_limits<double>::infinity(), "null"}};
    for (const auto& [number, text] : table)
        EXPECT_EQ(encodeJSON(number), text);

    const auto smallest = std::numeric_limits<std::int64_t>::min(),
               largest = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t number : {smallest, std::int64_t{-1}, std::int64_t{0}, largest}) {
        EXPECT_EQ(decodeJSON<std::int64_t>(encodeJSON(number)), number);
        EXPECT_EQ(value(encodeJSON(number)), JSONValue(number));
    }
    // Beyond 64 bits a number is a double, wherever it stands, and digits in texts are left alone.
    EXPECT_EQ(value("18446744073709551615"), JSONValue(18446744073709551615.0));
    EXPECT_EQ(value(R"({"12345678901234567890123":[123456789012345678901234567890,-99999999999999999999, 7],)"
                    R"("text":"\\ \"98765432109876543210987654321\""})"),
              JSONValue::object({{"12345678901234567890123",
                                  JSONValue::array({123456789012345678901234567890.0, -1e20, 7})},
                                 {"text", "\\ \"98765432109876543210987654321\""}}));
    EXPECT_EQ(decodeJSON<double>("100000000000000000000"), 1e20);
    EXPECT_EQ(decodeJSON<Wheel>(R"({"name":"a","unknown":123456789012345678901234567890})").name, "a");
    EXPECT_EQ(decodeJSON<int>("2147483647"), 2147483647);
    EXPECT_EQ(errorOf<int>("2147483648"), "$: integer out of range");
    EXPECT_EQ(errorOf<unsigned>("-1"), "$: integer out of range");
    EXPECT_EQ(decodeJSON<int>("2.0"), 2);
}

TEST(JSON, textsKeepEveryCharacter) {
    std::string all;
    for (char character = 0; character < 0x7F; ++character)
        all.push_back(character);
    all += "\x7F\u0080é日\U0001F468\u2029";
    EXPECT_EQ(decodeJSON<std::string>(encodeJSON(all)), all);
    const auto map = std::map<std::string, int>{{all, 1}, {"", 2}};
    EXPECT_EQ((decodeJSON<std::map<std::string, int>>(encodeJSON(map))), map);
    EXPECT_EQ(decodeJSON<std::string>(R"("\u00e9\uD83D\uDC68\u0000\/\b\f")"), std::string("é👨\0/\b\f", 10));
    // What is no UTF-8 would spoil the whole document.
    EXPECT_EQ(encodeJSON(std::string("a\xFF\xC3\xA9\xE2\x82\"")), "\"a\uFFFDé\uFFFD\uFFFD\\\"\"");
}

TEST(JSON, valuesAreEditedInPlace) {
    JSONValue document = value(R"({"data":{"attributes":{"locale":"de-DE"}},"list":[1]})");
    EXPECT_EQ(*document.at("data", "attributes", "locale")->text(), "de-DE");
    EXPECT_EQ(document.at("data", "attributes", "locale", "deeper"), nullptr);
    EXPECT_EQ(document.at("list", "0"), nullptr);
    document.find("data")->set("id", "7");
    document.find("list")->items()->push_back(nullptr);
    EXPECT_TRUE(document.find("data")->erase("attributes"));
    EXPECT_FALSE(document.erase("missing"));
    document.find("list")->set("now", "an object");
    EXPECT_EQ(encodeJSON(document), R"({"data":{"id":"7"},"list":{"now":"an object"}})");
}

TEST(JSON, documentsOfAnySizeFollowEachOther) {
    std::string large = "[";
    for (int item = 0; item < 200000; ++item)
        large += "{\"name\":\"wheel\",\"size\":" + std::to_string(item) + "},";
    large.back() = ']';
    for (const int round : {1, 2}) {
        const auto wheels = decodeJSON<std::vector<Wheel>>(large);
        ASSERT_EQ(wheels.size(), 200000U) << round;
        EXPECT_EQ(wheels.back().size, 199999);
        EXPECT_EQ(decodeJSON<int>("7"), 7);
        EXPECT_THAT(errorOf<int>("["), HasSubstr("$: "));
    }
}

} // namespace
} // namespace quorvel
