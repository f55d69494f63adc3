// Everything that commands print.
#pragma once

#include "Platform/json/JSON.h"
#include "Programs/quorvel/Surroundings.h"
#include "Programs/quorvel/Table.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

enum class Style { plain, bold, dim, red, green, yellow, cyan };

/// Results go to standard output: texts and tables, or with --json one JSON document instead. Notes, warnings
/// and progress go to standard error.
class Output {
  public:
    enum class Form { text, json };
    enum class Noise { normal, quiet };
    enum class Colour { automatic, never };

    Output(const Streams& streams, Form form, Noise noise, Colour colour);

    [[nodiscard]] bool isJSON() const { return form_ == Form::json; }
    /// Whether the one JSON document was printed.
    [[nodiscard]] bool hasDocument() const { return hasDocument_; }
    [[nodiscard]] const Streams& streams() const { return streams_; }

    /// A line of the result, broken at blanks on a terminal; control characters are escaped, and line breaks,
    /// of a name for example, make no further line. Nothing with --json.
    void line(std::string_view text = {});
    /// The same for a text of several lines.
    void lines(std::string_view text);
    /// Like `lines`, but not broken.
    void verbatim(std::string_view text);
    /// Like `line`, for a text with styles whose parts were escaped.
    void styledLine(std::string_view text);
    void table(const Table& table);
    /// Text as it is, whatever the form.
    void raw(std::string_view text);
    /// The JSON document of the result, on a terminal with its control characters escaped; nothing without
    /// --json.
    template <typename Record>
    void document(const Record& record) {
        if (isJSON()) printDocument(encodeJSON(record, {JSONLayout::pretty, JSONKeyOrder::declared}));
    }

    /// A message of one line beside the result, like each below; silent with --quiet.
    void note(std::string_view text);
    /// What --verbose tells.
    void detail(std::string_view text);
    /// A message that --quiet does not silence.
    void warning(std::string_view text);
    void error(std::string_view text, std::string_view hint);
    /// A line on the terminal that the next one replaces; nothing when standard error is no terminal.
    void progress(std::string_view text);

    /// Whether somebody sits at a terminal, whatever is redirected.
    [[nodiscard]] bool canAsk() const { return streams_.terminal.has_value(); }
    /// Shows on the terminal itself what `show` prints. Only when `canAsk()`.
    void showOnTerminal(const std::function<void(Output&)>& show);
    /// The answer to a question on the terminal itself; nothing at its end. Only when `canAsk()`.
    [[nodiscard]] std::optional<std::string> ask(std::string_view question);
    /// Whether the answer is yes.
    [[nodiscard]] bool confirm(std::string_view question);

    /// `text` with a style for standard output, where that shows colours.
    [[nodiscard]] std::string styled(Style style, std::string_view text) const;
    [[nodiscard]] bool showsColours() const { return outColours_; }

  private:
    void printDocument(const std::string& text);
    void clearProgress();
    [[nodiscard]] std::size_t messageWidth() const { return streams_.errorIsTerminal ? streams_.width : 0; }

    const Streams& streams_;
    Form form_;
    Noise noise_;
    Colour colour_;
    bool outColours_;
    bool errorColours_;
    bool hasDocument_ = false;
    bool progressShown_ = false;
};

} // namespace quorvel
