// Takes the text that was asked for out of a model's answer.
#pragma once

#include "Core/metadata/FieldType.h"

#include <string>
#include <string_view>

namespace quorvel {

/// The translation in an answer: without a code fence, quotation marks, separator lines or an introduction
/// that the source text does not have as well, without control characters; one line for fields of one line,
/// without remarks behind it, and keywords tidied. Empty when nothing is left.
[[nodiscard]] std::string translationIn(std::string_view reply, FieldType field, std::string_view sourceText);

} // namespace quorvel
