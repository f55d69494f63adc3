#include "Core/build/AltoolVerdict.h"

#include "Core/build/ToolOutput.h"
#include "Platform/text/Text.h"

namespace quorvel {

namespace {

// The JSON object that starts at `start`, up to its closing brace; nothing when it is not closed.
std::optional<std::string_view> objectAt(std::string_view text, std::size_t start) {
    std::size_t depth = 0;
    bool isInString = false;
    for (std::size_t at = start; at < text.size(); ++at) {
        const char character = text[at];
        if (isInString) {
            if (character == '\\') ++at;
            if (character == '"') isInString = false;
        } else if (character == '"') {
            isInString = true;
        } else if (character == '{') {
            ++depth;
        } else if (character == '}' && --depth == 0) {
            return text.substr(start, at - start + 1);
        }
    }
    return std::nullopt;
}

// The first object with errors in it: a log line may hold a brace before the verdict, or other text after it.
std::optional<AltoolOutput::ProductError> firstErrorIn(std::string_view text) {
    constexpr int maxAttempts = 200; // a verbose log is full of braces
    int attempts = 0;
    for (std::size_t at = text.find('{'); at != std::string_view::npos && attempts < maxAttempts;
         at = text.find('{', at + 1), ++attempts) {
        const auto object = objectAt(text, at);
        if (!object) continue;
        try {
            const auto output = decodeJSON<AltoolOutput>(*object);
            if (output.productErrors && !output.productErrors->empty()) return output.productErrors->front();
            if (output.productErrors) return std::nullopt;
            at += object->size() - 1; // a whole document without errors holds none further in
        } catch (const JSONError&) {  // this brace starts no JSON
        }
    }
    return std::nullopt;
}

std::string textOf(const AltoolOutput::ProductError& error) {
    const auto userInfo = error.userInfo.value_or(AltoolOutput::UserInfo{});
    for (const auto& candidate :
         {userInfo.detail, userInfo.title, userInfo.NSLocalizedFailureReason, error.message})
        if (candidate && !isBlank(*candidate)) return *candidate;
    return "altool reported an error (code " + std::to_string(error.code.value_or(-1)) + ")";
}

} // namespace

std::optional<std::string> uploadFailureIn(std::string_view stdoutText, std::string_view stderrText) {
    const std::string joined = std::string(stdoutText) + "\n" + std::string(stderrText);
    if (const auto error = firstErrorIn(joined)) return textOf(*error);
    if (asciiLowercase(joined).find("upload failed") != std::string::npos)
        return "altool reported UPLOAD FAILED.\n" + lastLines(joined, 40);
    return std::nullopt;
}

} // namespace quorvel
