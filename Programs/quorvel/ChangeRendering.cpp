#include "Programs/quorvel/ChangeRendering.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

DiffMarks marksFor(const Output& output) {
    if (!output.showsColours()) return {"[-", "-]", "{+", "+}"};
    return {"\x1b[31;9m", "\x1b[0m", "\x1b[32m", "\x1b[0m"};
}

} // namespace

void printTextChange(Output& output, const FieldKey& key, std::string_view explanation,
                     const std::vector<DiffSegment>& segments, std::string_view remark) {
    output.styledLine(output.styled(Style::bold, fmt::format("{} {}", escapeControls(shownLocale(key.locale)),
                                                             shortLabelOf(key.field))) +
                      output.styled(Style::dim, fmt::format("  {}", escapeControls(explanation))));
    while (!remark.empty()) {
        const std::size_t end = std::min(remark.find('\n'), remark.size());
        output.line(fmt::format("    {}", remark.substr(0, end)));
        remark.remove_prefix(std::min(end + 1, remark.size()));
    }
    const bool hasWords = !isSecret(key.field); // its texts are what is done to it, as the explanation says
    for (const std::string& line :
         hasWords ? renderDiff(segments, marksFor(output)) : std::vector<std::string>())
        output.styledLine(line.empty() ? line : "    " + line);
    output.line();
}

} // namespace quorvel
