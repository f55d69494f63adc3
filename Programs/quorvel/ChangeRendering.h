// Shows how a text changed, word by word.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Programs/quorvel/DiffRendering.h"
#include "Programs/quorvel/Output.h"

#include <string_view>
#include <vector>

namespace quorvel {

/// The field's name, what is said of the change, a remark of some lines, and the words in marks or colours.
void printTextChange(Output& output, const FieldKey& key, std::string_view explanation,
                     const std::vector<DiffSegment>& segments, std::string_view remark = {});

} // namespace quorvel
