#include "Programs/quorvel/Output.h"

#include "Platform/text/Text.h"

#include <array>

namespace quorvel {

namespace {

std::string withStyle(Style style, std::string_view text) {
    static constexpr std::array<std::string_view, 7> codes = {"", "1", "2", "31", "32", "33", "36"};
    if (style == Style::plain || text.empty()) return std::string(text);
    return "\x1b[" + std::string(codes[static_cast<std::size_t>(style)]) + "m" + std::string(text) +
           "\x1b[0m";
}

// Escaped, except for line breaks.
std::string printable(std::string_view text) {
    std::string result;
    while (true) {
        const std::size_t end = text.find('\n');
        result += escapeControls(text.substr(0, end));
        if (end == std::string_view::npos) return result;
        result += '\n';
        text.remove_prefix(end + 1);
    }
}

} // namespace

Output::Output(const Streams& streams, Form form, Noise noise, Colour colour)
    : streams_(streams),
      form_(form),
      noise_(noise),
      outColours_(colour == Colour::automatic && streams.outIsTerminal),
      errorColours_(colour == Colour::automatic && streams.errorIsTerminal) {}

void Output::line(std::string_view text) {
    styledLine(printable(text));
}

void Output::styledLine(std::string_view text) {
    if (isJSON()) return;
    clearProgress();
    streams_.out(std::string(text) + "\n");
}

void Output::raw(std::string_view text) {
    clearProgress();
    streams_.out(text);
}

void Output::table(const Table& table) {
    if (isJSON()) return;
    const auto widths = columnWidths(table, streams_.outIsTerminal ? streams_.width : 0);
    const auto print = [&](const std::vector<Table::Cell>& cells, bool isTitle) {
        std::string text;
        for (std::size_t index = 0; index < cells.size() && index < widths.size(); ++index) {
            const std::string cut = cutToWidth(escapeControls(cells[index].text), widths[index]);
            const bool last = index + 1 == widths.size();
            const bool left = table.columns[index].align == Table::Align::left;
            const std::string padded =
                last && left ? cut : padToWidth(cut, widths[index], table.columns[index].align);
            text += styled(isTitle ? Style::bold : cells[index].style, padded);
            if (!last) text += "  ";
        }
        styledLine(std::string_view(text).substr(0, text.find_last_not_of(' ') + 1));
    };
    std::vector<Table::Cell> titles;
    for (const auto& column : table.columns)
        titles.emplace_back(column.title);
    print(titles, true);
    for (const auto& row : table.rows)
        print(row, false);
}

void Output::printDocument(const std::string& text) {
    clearProgress();
    streams_.out(text + "\n");
    hasDocument_ = true;
}

void Output::note(std::string_view text) {
    if (noise_ == Noise::quiet) return;
    clearProgress();
    streams_.error(printable(text) + "\n");
}

void Output::detail(std::string_view text) {
    clearProgress();
    streams_.error(printable(text) + "\n");
}

void Output::warning(std::string_view text) {
    clearProgress();
    const std::string lead = errorColours_ ? withStyle(Style::yellow, "warning:") : "warning:";
    streams_.error(lead + " " + printable(text) + "\n");
}

void Output::error(std::string_view text, std::string_view hint) {
    clearProgress();
    const std::string lead = errorColours_ ? withStyle(Style::red, "quorvel:") : "quorvel:";
    streams_.error(lead + " " + printable(text) + "\n");
    if (!hint.empty()) streams_.error("  " + printable(hint) + "\n");
}

void Output::progress(std::string_view text) {
    if (!streams_.errorIsTerminal || noise_ == Noise::quiet) return;
    streams_.error("\r\x1b[K" + cutToWidth(printable(text), streams_.width ? streams_.width - 1 : 79));
    progressShown_ = true;
}

void Output::clearProgress() {
    if (!progressShown_) return;
    streams_.error("\r\x1b[K");
    progressShown_ = false;
}

std::optional<std::string> Output::ask(std::string_view question) {
    clearProgress();
    streams_.error(printable(question) + " ");
    return streams_.readLine();
}

bool Output::confirm(std::string_view question) {
    const auto answer = ask(std::string(question) + " [y/N]");
    const std::string word = asciiLowercase(trim(answer.value_or("")));
    return word == "y" || word == "yes";
}

std::string Output::styled(Style style, std::string_view text) const {
    return outColours_ ? withStyle(style, text) : std::string(text);
}

} // namespace quorvel
