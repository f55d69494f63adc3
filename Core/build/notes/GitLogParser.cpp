#include "Core/build/notes/GitLogParser.h"

#include "Platform/text/Text.h"

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

constexpr char fieldSeparator = '\x1f';
constexpr char recordSeparator = '\x1e';
constexpr std::size_t maxRecordBytes = 256 << 10; // of a message; nobody reads the rest

bool isHexDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

// A full hash and its end.
bool beginsRecord(std::string_view part) {
    const auto end = part.find(fieldSeparator);
    return (end == 40 || end == 64) && std::ranges::all_of(part.substr(0, end), isHexDigit);
}

void append(std::string& text, std::string_view more) {
    text.append(more.substr(0, maxRecordBytes - std::min(maxRecordBytes, text.size())));
}

} // namespace

void GitLogParser::addLine(std::string_view line) {
    for (auto end = line.find(recordSeparator); end != std::string_view::npos;
         end = line.find(recordSeparator)) {
        append(part_, line.substr(0, end));
        addPart(part_);
        part_.clear();
        line.remove_prefix(end + 1);
    }
    append(part_, line);
    append(part_, "\n");
}

void GitLogParser::finish() {
    if (!isBlank(part_)) addPart(part_);
    part_.clear();
    deliver();
}

void GitLogParser::addPart(std::string_view part) {
    if (part.starts_with('\n')) part.remove_prefix(1); // git's own separator of records
    if (!beginsRecord(part) && !record_.empty()) {
        append(record_, part);
        return;
    }
    deliver();
    record_ = part;
}

void GitLogParser::deliver() {
    if (!beginsRecord(record_)) {
        record_.clear();
        return;
    }
    std::array<std::string, 5> fields;
    std::string_view rest = record_;
    for (std::size_t index = 0; index < 4; ++index) {
        const auto end = rest.find(fieldSeparator);
        fields[index] = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
    fields[4] = rest;
    onCommit_({.sha = fields[0],
               .shortSha = fields[1],
               .authorDate = parseISO8601(fields[2]),
               .subject = repairUTF8(fields[3]),
               .body = repairUTF8(trim(fields[4]))});
    record_.clear();
}

} // namespace quorvel
