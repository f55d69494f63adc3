#include "Programs/xcrun-stand-in/StandIn.h"

#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/task/Task.h"

#include <algorithm>
#include <cstdio>

namespace quorvel::standin {

namespace {

std::vector<std::string> textsOf(const JSONValue* list) {
    std::vector<std::string> texts;
    if (list && list->items())
        for (const JSONValue& item : *list->items())
            if (const std::string* text = item.text()) texts.push_back(*text);
    return texts;
}

double secondsOf(const JSONValue* value) {
    if (!value) return 0;
    if (const auto* integer = value->integer()) return static_cast<double>(*integer);
    const auto* number = std::get_if<double>(&value->value);
    return number ? *number : 0;
}

} // namespace

Script::Script(const std::filesystem::path& folder) {
    if (const auto text = readFile(folder / "tools.json")) script_ = decodeJSON<JSONValue>(*text);
}

std::optional<int> Script::play(std::string_view tool) const {
    const JSONValue* manner = script_.find(tool);
    if (!manner) return std::nullopt;
    for (const std::string& line : textsOf(manner->find("lines")))
        std::puts(line.c_str());
    std::fflush(stdout);
    for (const std::string& line : textsOf(manner->find("errors")))
        std::fprintf(stderr, "%s\n", line.c_str());
    sleepFor(secondsOf(manner->find("seconds")));
    if (const JSONValue* exitCode = manner->find("exitCode"); exitCode && exitCode->integer())
        return static_cast<int>(*exitCode->integer());
    if (const JSONValue* leaveOut = manner->find("leaveOut");
        leaveOut && leaveOut->boolean() && *leaveOut->boolean())
        return 0;
    return std::nullopt;
}

void Script::linger(std::string_view tool) const {
    sleepFor(secondsOf(script_.at(tool, "linger")));
}

std::vector<std::string> Script::texts(std::string_view key) const {
    return textsOf(script_.find(key));
}

std::optional<std::string> Script::text(std::string_view key) const {
    const JSONValue* value = script_.find(key);
    return value && value->text() ? std::optional(*value->text()) : std::nullopt;
}

std::optional<std::string> projectSetting(const std::filesystem::path& project, std::string_view key) {
    const auto text = readFile(project / "project.pbxproj");
    const std::string start = std::string(key) + " = ";
    const auto at = text ? text->rfind(start) : std::string::npos;
    if (at == std::string::npos) return std::nullopt;
    std::string value = text->substr(at + start.size(), text->find(';', at) - at - start.size());
    std::erase(value, '"');
    return value;
}

std::string argumentAfter(const std::vector<std::string>& arguments, std::string_view name) {
    const auto found = std::ranges::find(arguments, name);
    return found == arguments.end() || found + 1 == arguments.end() ? std::string() : *(found + 1);
}

} // namespace quorvel::standin
