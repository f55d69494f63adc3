// What a line break at the end of a text file is worth, and where the user's choice is kept.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"

#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

/// Editors end a file with a line break that nobody meant.
enum class FinalLineBreak {
    keep,  // it is part of the text: counted, compared and sent
    strip, // it stays in the file and is no part of the text
};

template <>
struct RawValues<FinalLineBreak> {
    static constexpr std::pair<FinalLineBreak, std::string_view> values[] = {
        {FinalLineBreak::keep, "keep"}, {FinalLineBreak::strip, "strip"}};
};

/// The text that a local file stands for beside its pulled copy. With `strip` one final line break is no part
/// of it, and a text that differs from the copy by that alone is the copy. Of a field that is no store text
/// it is the value, whatever the rule; a value that is the copy's is the copy, and answers of the age rating
/// that the file does not name are those of the copy.
[[nodiscard]] std::string countedText(FinalLineBreak rule, FieldType field, std::string_view local,
                                      const std::optional<std::string>& pulled);
/// The same of all texts.
void countTexts(FinalLineBreak rule, ReadTexts& local, const ReadTexts& pulled);

/// The choice for a tree, kept in <app folder>/.brevant/settings.json: it describes the files, and so lies
/// with them. Without such a file it is `keep`, and `strip` in place, as for an
/// import of the tree. Throws `MetadataError` for a file that cannot be understood,
/// `FileError`.
[[nodiscard]] FinalLineBreak finalLineBreakOf(const MetadataFolder& appFolder);
/// Keeps the choice, making the folder. Throws `FileError`.
void keepFinalLineBreak(const MetadataFolder& appFolder, FinalLineBreak rule);

} // namespace quorvel
