#include "Core/assistants/MCPConfiguration.h"
#include "Platform/json/JSON.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <vector>

namespace quorvel {
namespace {

using testing::HasSubstr;

const std::string server = "/opt/quorvel/bin/quorvel-mcp";

std::string install(const std::string& text) {
    return MCPConfiguration(text).installing(server);
}
std::string uninstall(const std::string& text) {
    return MCPConfiguration(text).uninstalling();
}

struct Form {
    std::string name;
    std::string before;
    std::string after;
};

TEST(MCPConfiguration, addsTheEntryInTheStyleOfTheFileAndTakesItBack) {
    const std::string indented =
        "\"quorvel\": {\n      \"command\": \"" + server + "\",\n      \"args\": []\n    }";
    const std::string compact = R"("quorvel":{"command":")" + server + R"(","args":[]})";
    const std::string spaced = R"("quorvel": {"command": ")" + server + R"(", "args": []})";
    std::string large = "{\"numbers\":[9007199254740993,-0.0,1e999,1E+2";
    while (large.size() < (5U << 20))
        large += ",123456789012345678901234567890";
    const std::vector<Form> forms = {
        {"empty", "{}", "{\n  \"mcpServers\": {\n    " + indented + "\n  }\n}"},
        {"compact, 5 MB, numbers of any size", large + "]}", large + "],\"mcpServers\":{" + compact + "}}"},
        {"spaced", R"({"a": 1, "mcpServers": {"x": {}}})",
         R"({"a": 1, "mcpServers": {"x": {}, )" + spaced + "}}"},
        {"padded", R"({ "mcpServers": {} })",
         R"({ "mcpServers": { "quorvel": { "command": ")" + server + R"(", "args": [] } } })"},
        {"other keys, no final line break", "{\n  \"naïve\": \"日本\\u00e9\",\n\n  \"mcpServers\": {}\n}",
         "{\n  \"naïve\": \"日本\\u00e9\",\n\n  \"mcpServers\": {\n    " + indented + "\n  }\n}"},
        {"CR LF, tabs, byte order mark",
         "\xEF\xBB\xBF{\r\n\t\"mcpServers\": {\r\n\t\t\"a\": {\r\n\t\t\t\"command\": \"a\"\r\n\t\t}\r\n\t},\r\n\t\"z\": [1 , 2]\r\n}\r\n",
         "\xEF\xBB\xBF{\r\n\t\"mcpServers\": {\r\n\t\t\"a\": {\r\n\t\t\t\"command\": \"a\"\r\n\t\t},\r\n\t\t\"quorvel\": {\r\n\t\t\t\"command\": \"" +
             server + "\",\r\n\t\t\t\"args\": []\r\n\t\t}\r\n\t},\r\n\t\"z\": [1 , 2]\r\n}\r\n"},
        {"a line for each server",
         "{\n    \"mcpServers\": {\n        \"a\": { \"command\": \"a\", \"args\": [\"}\"] }\n    }\n}\n",
         "{\n    \"mcpServers\": {\n        \"a\": { \"command\": \"a\", \"args\": [\"}\"] },\n        \"quorvel\": { \"command\": \"" +
             server + "\", \"args\": [] }\n    }\n}\n"},
        {"blank before the colon", "{\n  \"a\" : 1\n}",
         "{\n  \"a\" : 1,\n  \"mcpServers\" : {\n    \"quorvel\" : {\n      \"command\" : \"" + server +
             "\",\n      \"args\" : []\n    }\n  }\n}"},
        {"escaped key", R"({"mcp\u0053ervers":{"\"":{}}})",
         R"({"mcp\u0053ervers":{"\"":{},)" + compact + "}}"},
        {"of another depth alike", R"({"x":{"mcpServers":{"quorvel":1}},"mcpServers":{"b":[{}]}})",
         R"({"x":{"mcpServers":{"quorvel":1}},"mcpServers":{"b":[{}],)" + compact + "}}"},
        {"duplicates elsewhere", R"({"a":1,"a":2,"mcpServers":{"b":1,"b":2}})",
         R"({"a":1,"a":2,"mcpServers":{"b":1,"b":2,)" + compact + "}}"},
    };
    for (const auto& [name, before, after] : forms) {
        SCOPED_TRACE(name);
        const std::string installed = install(before);
        EXPECT_TRUE(installed == after) << installed.substr(0, 2000);
        EXPECT_EQ(MCPConfiguration(installed).command(), server);
        EXPECT_TRUE(install(installed) == installed);
        const std::string without = uninstall(installed);
        if (before.find("mcp") != before.npos) {
            EXPECT_TRUE(without == before) << without;
        }
        EXPECT_FALSE(MCPConfiguration(without).hasEntry());
        EXPECT_TRUE(install(without) == installed);
    }
}

TEST(MCPConfiguration, givesTheWhiteSpaceOfAnEmptyObjectBack) {
    const std::vector<std::pair<std::string, std::string>> documents = {
        {"{\n  \"mcpServers\": {", "}\n}\n"},
        {"{\r\n\t\"mcpServers\": {", "},\r\n\t\"z\": 1\r\n}"},
        {R"({ "mcpServers": {)", "} }"},
        {R"({"mcpServers":{)", "}}"}};
    for (const auto& [front, back] : documents)
        for (const char* space :
             {"", " ", "  ", "\n", "\n\n", "\n  ", "\n\n  ", "\r\n\t", "\r\n", "\t", "\n    ", " \n  "}) {
            const std::string before = front + space + back;
            SCOPED_TRACE(testing::PrintToString(before));
            const std::string installed = install(before);
            EXPECT_EQ(uninstall(installed), before);
            const std::string stale = MCPConfiguration(before).installing("/an/older/quorvel-mcp");
            EXPECT_EQ(uninstall(install(stale)), before);
        }
    // An entry that was made otherwise takes the white space around it along.
    EXPECT_EQ(uninstall("{\"mcpServers\": {\n\n\"quorvel\": {\"command\": 1e999}   }}"),
              "{\"mcpServers\": {}}");
}

TEST(MCPConfiguration, replacesAStaleEntryWhereItStands) {
    const std::vector<Form> forms = {
        {"between others",
         R"({"mcpServers":{"a":1,"quorvel":{"command":"/old","args":["x"],"env":{"K":"v"}},"b":2}})",
         R"({"mcpServers":{"a":1,"quorvel":{"command":")" + server + R"(","args":[]},"b":2}})"},
        {"indented", "{\n \"mcpServers\": {\n  \"quorvel\": {\n   \"command\": \"/old\"\n  }\n }\n}\n",
         "{\n \"mcpServers\": {\n  \"quorvel\": {\n   \"command\": \"" + server +
             "\",\n   \"args\": []\n  }\n }\n}\n"},
        {"no object", "{\"mcpServers\": {\"quorvel\": null }}",
         R"({"mcpServers": {"quorvel": {"command": ")" + server + R"(", "args": []} }})"},
    };
    for (const auto& [name, before, after] : forms) {
        EXPECT_EQ(install(before), after) << name;
        EXPECT_NE(MCPConfiguration(before).command(), server);
    }
    EXPECT_EQ(uninstall(forms[0].before), R"({"mcpServers":{"a":1,"b":2}})");
    EXPECT_EQ(uninstall(R"({"mcpServers":{"quorvel":1,"b":2}})"), R"({"mcpServers":{"b":2}})");
    EXPECT_EQ(MCPConfiguration(R"({"mcpServers":{"quorvel":{"command":1e999}}})").command(), "");
    EXPECT_EQ(MCPConfiguration(R"({"mcpServers":{}})").command(), std::nullopt);
}

TEST(MCPConfiguration, refusesWhatIsNoJSONObjectAndSaysWhere) {
    const std::string deep(2000, '[');
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "line 1, column 1: the end of the file"},
        {"{\n  // mine\n}", "line 2, column 3: a comment"},
        {"{} # mine", "a comment"},
        {"{\"a\": 1, /* x */ \"b\": 2}", "a comment"},
        {"{\n\"a\": [1,\n],\n}", "line 2, column 8: a comma with nothing after it"},
        {"{\"ü\": 1,}", "line 1, column 8: a comma with nothing after it"},
        {"{\"a\" 1}", "a colon"},
        {"{a: 1}", "a name in double quotes"},
        {"{\"a\": 'x'}", "a value"},
        {"{\"a\": \"x\ny\"}", "a line break or control character"},
        {"{\"a\": \"x", "the end of the file"},
        {"{\"a\": \"\\x\"}", "an escape"},
        {"{\"a\": \"\\u12\"}", "an escape"},
        {"{\"a\": 01}", "a comma or a bracket"},
        {"{\"a\": 1.}", "a number"},
        {"{\"a\": -}", "a value"},
        {"{\"a\": .5}", "a value"},
        {"{\"a\": nul}", "a word"},
        {"{\"a\": 1]", "a comma or a bracket"},
        {"{\"a\": 1", "the end of the file"},
        {"{}{}", "after the end"},
        {std::string("{}\0", 3), "after the end"},
        {"{\"a\": \"\xFF\"}", "not in UTF-8"},
        {"\xFF\xFE{\0}\0", "not in UTF-8"},
        {deep, "too many brackets"},
        {"[]", "the whole is no object"},
        {"null", "the whole is no object"},
        {R"({"mcpServers": []})", "\"mcpServers\" is no object"},
        {R"({"mcpServers": null})", "\"mcpServers\" is no object"},
        {R"({"mcpServers": {}, "mcpServers": {}})", "\"mcpServers\" stands there twice"},
        {R"({"mcpServers": {"quorvel": 1, "quorve\u006c": 2}})", "\"quorvel\" stands there twice"},
    };
    for (const auto& [text, problem] : cases) {
        try {
            MCPConfiguration configuration(text);
            ADD_FAILURE() << "accepted: " << text.substr(0, 100);
        } catch (const MCPConfigurationError& error) {
            EXPECT_THAT(error.what(), HasSubstr(problem)) << text.substr(0, 100);
        }
    }
}

// Documents of any shape and spacing, some of which have servers.
class RandomDocuments {
  public:
    explicit RandomDocuments(unsigned seed) : random_(seed) {}

    std::string next() {
        text_.clear();
        lineEnd_ = pick(2) ? "\r\n" : "\n";
        space();
        object(0, pick(3) ? "mcpServers" : "");
        space();
        return text_;
    }
    unsigned pick(unsigned below) { return static_cast<unsigned>(random_() % below); }

  private:
    void space() {
        for (unsigned count = pick(3) ? 0 : pick(3); count > 0; --count)
            text_ += pick(4) == 0 ? lineEnd_ : pick(2) ? " " : "\t";
    }
    void word() {
        static const std::vector<std::string> words = {"\"\"",      "\"a\"",          "\"日本\"",
                                                       "\"\\\"}\"", "\"\\u00e9\\n\"", "\"{,:\""};
        text_ += words[pick(static_cast<unsigned>(words.size()))];
    }
    void value(int depth) {
        static const std::vector<std::string> scalars = {
            "0", "-1.5e-7", "9007199254740993", "123456789012345678901234567890", "true", "null", "false"};
        const unsigned kind = pick(depth > 3 ? 2 : 4);
        if (kind == 0) return word();
        if (kind == 1) {
            text_ += scalars[pick(static_cast<unsigned>(scalars.size()))];
            return;
        }
        if (kind == 2) return object(depth + 1, "");
        text_ += "[";
        space();
        for (unsigned left = pick(4); left > 0; --left) {
            value(depth + 1);
            space();
            if (left > 1) text_ += ",";
            space();
        }
        text_ += "]";
    }
    void object(int depth, std::string_view special) {
        text_ += "{";
        const unsigned count = pick(5) + (special.empty() ? 0 : 1);
        const unsigned place = pick(count + 1);
        space();
        for (unsigned index = 0; index < count; ++index) {
            if (index > 0) text_ += ",";
            space();
            const bool isSpecial = !special.empty() && index == std::min(place, count - 1);
            if (isSpecial)
                text_ += "\"" + std::string(special) + "\"";
            else
                text_ += "\"k" + std::to_string(index) + "\"";
            space();
            text_ += ":";
            space();
            if (isSpecial && special == "mcpServers")
                object(depth + 1, pick(2) ? "quorvel" : "");
            else
                value(depth + 1);
            space();
        }
        text_ += "}";
    }

    std::mt19937 random_;
    std::string text_;
    std::string lineEnd_;
};

// As another reader sees it, but for the entry.
JSONValue othersIn(const std::string& text) {
    auto value = decodeJSON<JSONValue>(text);
    if (!value.find("mcpServers")) value.set("mcpServers", JSONValue::object());
    value.find("mcpServers")->erase("quorvel");
    return value;
}

TEST(MCPConfiguration, changesNothingElseInRandomDocuments) {
    RandomDocuments documents(20261122);
    int withEntry = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string before = documents.next();
        SCOPED_TRACE(before);
        const bool had = MCPConfiguration(before).hasEntry();
        const std::string installed = install(before);
        ASSERT_EQ(othersIn(installed), othersIn(before));
        ASSERT_EQ(*decodeJSON<JSONValue>(installed).at("mcpServers", "quorvel"),
                  MCPConfiguration::entryFor(server));
        const auto prefix = std::ranges::mismatch(before, installed).in1 - before.begin();
        const auto suffix =
            std::mismatch(before.rbegin(), before.rend(), installed.rbegin(), installed.rend()).first -
            before.rbegin();
        if (!had) {
            ASSERT_GE(prefix + suffix, std::ssize(before));
        }
        const std::string without = uninstall(installed);
        ASSERT_EQ(othersIn(without), othersIn(before));
        if (!had) {
            ASSERT_EQ(install(without), installed);
            ASSERT_TRUE(without == before || !decodeJSON<JSONValue>(before).find("mcpServers")) << without;
        }
        withEntry += had;
    }
    EXPECT_GT(withEntry, 300);
}

TEST(MCPConfiguration, takesAndRefusesWhatTheOtherReaderDoes) {
    RandomDocuments documents(7);
    int refused = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string text = documents.next();
        for (unsigned edits = documents.pick(3); edits > 0; --edits) {
            static constexpr std::string_view bytes = "{}[]\",:\\ \n0-.tu\x01\xC3";
            text[documents.pick(static_cast<unsigned>(text.size()))] =
                bytes[documents.pick(static_cast<unsigned>(bytes.size()))];
        }
        bool isTaken = true, isTakenByOther = true;
        try {
            const JSONText taken(text);
        } catch (const JSONTextError&) {
            isTaken = false;
        }
        try {
            (void)decodeJSON<JSONValue>(text);
        } catch (const JSONError&) {
            isTakenByOther = false;
        }
        refused += !isTaken;
        ASSERT_EQ(isTaken, isTakenByOther) << text;
    }
    EXPECT_GT(refused, 300);
}

} // namespace
} // namespace quorvel
