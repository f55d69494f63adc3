#include "Programs/quorvel/Output.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Wording.h"

#include <fmt/format.h>

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

// As it is shown, before anything is measured.
Table escaped(Table table) {
    for (auto& row : table.rows)
        for (Table::Cell& cell : row)
            cell.text = escapeControls(cell.text);
    return table;
}

// The lines of a cell in a column of this width.
std::vector<std::string> piecesOf(std::string_view text, Table::Fit fit, std::size_t width) {
    if (fit == Table::Fit::wrap) return wrap(text, width);
    return {fit == Table::Fit::cut ? cutToWidth(text, width) : std::string(text)};
}

} // namespace

Output::Output(const Streams& streams, Form form, Noise noise, Colour colour)
    : streams_(streams),
      form_(form),
      noise_(noise),
      colour_(colour),
      outColours_(colour == Colour::automatic && streams.outIsTerminal),
      errorColours_(colour == Colour::automatic && streams.errorIsTerminal) {}

void Output::line(std::string_view text) {
    lines(onOneLine(text));
}

void Output::lines(std::string_view text) {
    styledLine(wrapLines(printable(inCommands(text)), streams_.outIsTerminal ? streams_.width : 0));
}

void Output::verbatim(std::string_view text) {
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

void Output::table(const Table& whole) {
    if (isJSON()) return;
    const std::size_t maximum = streams_.outIsTerminal ? streams_.width : 0;
    const Table table = fitted(escaped(whole), maximum);
    const auto widths = columnWidths(table, maximum);
    const auto end = [&](std::string& text) {
        const std::size_t used = text.find_last_not_of(' ') + 1;
        if (used > 0) styledLine(std::string_view(text).substr(0, used));
        text.clear();
    };
    const auto print = [&](const std::vector<Table::Cell>& cells, bool isTitle) {
        std::string text;
        std::size_t start = 0; // of the column
        for (std::size_t index = 0; index < cells.size() && index < widths.size(); ++index) {
            const Style style = isTitle ? Style::bold : cells[index].style;
            const auto pieces = piecesOf(cells[index].text, table.columns[index].fit, widths[index]);
            const bool isLeft = table.columns[index].align == Table::Align::left;
            const bool keeps = table.columns[index].fit == Table::Fit::keep;
            const std::size_t needed = keeps && isLeft ? displayWidth(pieces.front()) : widths[index];
            if (maximum > 0 && start > 0 && start + needed > maximum) {
                end(text);
                text.assign(start = tableLayout::continuation, ' ');
            }
            for (std::size_t piece = 0; piece < pieces.size(); ++piece) {
                if (piece > 0) {
                    end(text);
                    text.assign(start, ' ');
                }
                const std::string padded =
                    padToWidth(pieces[piece], widths[index], table.columns[index].align);
                const std::size_t lead = isLeft ? 0 : padded.size() - pieces[piece].size();
                text.append(lead, ' ');
                text += styled(style, pieces[piece]);
                text.append(padded.size() - pieces[piece].size() - lead, ' ');
            }
            text.append(tableLayout::gap, ' ');
            start += widths[index] + tableLayout::gap;
        }
        end(text);
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
    streams_.out((streams_.outIsTerminal ? escapeControlsInJSON(text) : text) + "\n");
    hasDocument_ = true;
}

void Output::note(std::string_view text) {
    if (noise_ == Noise::quiet) return;
    clearProgress();
    streams_.error(wrapLines(onOneLine(inCommands(text)), messageWidth()) + "\n");
}

void Output::detail(std::string_view text) {
    clearProgress();
    streams_.error(onOneLine(text) + "\n");
}

void Output::warning(std::string_view text) {
    clearProgress();
    constexpr std::string_view lead = "warning:";
    const std::string whole =
        wrapLines(fmt::format("{} {}", lead, onOneLine(inCommands(text))), messageWidth());
    streams_.error((errorColours_ ? withStyle(Style::yellow, lead) : std::string(lead)) +
                   whole.substr(lead.size()) + "\n");
}

void Output::error(std::string_view text, std::string_view hint) {
    clearProgress();
    constexpr std::string_view plainLead = "quorvel:";
    const std::string lead = errorColours_ ? withStyle(Style::red, plainLead) : std::string(plainLead);
    const std::string whole = wrapLines(fmt::format("{} {}", plainLead, onOneLine(text)), messageWidth());
    streams_.error(lead + whole.substr(plainLead.size()) + "\n");
    if (!hint.empty()) streams_.error(wrapLines("  " + onOneLine(hint), messageWidth()) + "\n");
}

void Output::progress(std::string_view text) {
    if (!streams_.errorIsTerminal || !streams_.takesSequences || noise_ == Noise::quiet) return;
    const std::string_view firstLine = text.substr(0, text.find('\n')); // the next one can replace no more
    streams_.error("\r\x1b[K" +
                   cutToWidth(escapeControls(firstLine), streams_.width ? streams_.width - 1 : 79));
    progressShown_ = true;
}

void Output::clearProgress() {
    if (!progressShown_) return;
    streams_.error("\r\x1b[K");
    progressShown_ = false;
}

void Output::showOnTerminal(const std::function<void(Output&)>& show) {
    clearProgress();
    const Terminal& terminal = *streams_.terminal;
    const Streams streams{.out = terminal.write,
                          .error = terminal.write,
                          .readAll = {},
                          .outIsTerminal = true,
                          .errorIsTerminal = true,
                          .width = terminal.width,
                          .terminal = std::nullopt};
    Output output(streams, Form::text, Noise::normal, colour_);
    show(output);
}

std::optional<std::string> Output::ask(std::string_view question) {
    clearProgress();
    const Terminal& terminal = *streams_.terminal;
    terminal.write(wrapLines(printable(question), terminal.width) + " ");
    try {
        auto answer = terminal.readLine();
        if (!answer) terminal.write("\n"); // nobody's return key ended the line of the question
        return answer;
    } catch (const CancellationError&) {
        terminal.write("\n");
        throw;
    }
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
