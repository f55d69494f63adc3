// Conversations that a user can begin with a click.
#pragma once

#include "Platform/json/JSONValue.h"

#include <span>
#include <string_view>

namespace quorvel {

struct PromptArgument {
    std::string_view name;
    std::string_view description;
};

struct Prompt {
    std::string_view name;
    std::string_view title;
    std::string_view description;
    std::span<const PromptArgument> arguments; // all may be left out
    std::string_view text;                     // "{app}" and so on stand for the arguments
};

[[nodiscard]] std::span<const Prompt> allPrompts();
[[nodiscard]] const Prompt* findPrompt(std::string_view name);

/// The result of "prompts/list"; with titles where the revision has them.
[[nodiscard]] JSONValue promptList(bool withTitles);
/// The result of "prompts/get". Throws `ProtocolError` for arguments that the prompt does not have.
[[nodiscard]] JSONValue promptMessages(const Prompt& prompt, const JSONValue* arguments);

} // namespace quorvel
