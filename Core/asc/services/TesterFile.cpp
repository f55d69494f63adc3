#include "Core/asc/services/TesterFile.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

namespace quorvel {

namespace {

constexpr std::size_t longestAddress = 254;
constexpr std::size_t longestLocalPart = 64;

struct CSVRow {
    std::int64_t line = 1; // of its first character
    std::vector<std::string> cells;
    bool isWhole = true; // its last quote is closed

    [[nodiscard]] bool isBlankRow() const {
        return std::ranges::all_of(cells, [](const std::string& cell) { return isBlank(cell); });
    }
};

char separatorOf(std::string_view text) {
    std::map<char, int> counts;
    bool quoted = false;
    for (const char character : text) {
        if (character == '"') quoted = !quoted;
        if (quoted) continue;
        if ((character == '\n' || character == '\r') && !counts.empty()) break;
        if (character == ',' || character == ';' || character == '\t') ++counts[character];
    }
    char separator = ',';
    for (const auto& [character, count] : counts)
        if (count > counts[separator]) separator = character;
    return separator;
}

// Line breaks are "\n", "\r\n" or "\r"; a quoted cell may hold them.
class CSVReader {
  public:
    CSVReader(std::string_view text, char separator) : text_(text), separator_(separator) {}

    [[nodiscard]] bool isAtEnd() const { return position_ >= text_.size(); }

    CSVRow next() {
        CSVRow row{.line = line_, .cells = {}};
        do
            row.cells.push_back(cell(row));
        while (take(separator_));
        (void)takeLineBreak();
        return row;
    }

  private:
    bool take(char character) {
        if (isAtEnd() || text_[position_] != character) return false;
        ++position_;
        return true;
    }
    bool takeLineBreak() {
        if (!take('\r')) {
            if (!take('\n')) return false;
        } else {
            (void)take('\n');
        }
        ++line_;
        return true;
    }
    std::string cell(CSVRow& row) {
        std::string value;
        while (take(' ')) {
        }
        if (take('"')) value = quoted(row);
        while (!isAtEnd() && text_[position_] != separator_ && text_[position_] != '\n' &&
               text_[position_] != '\r')
            value += text_[position_++];
        return std::string(trim(value));
    }
    std::string quoted(CSVRow& row) {
        std::string value;
        while (!isAtEnd()) {
            if (take('"')) {
                if (!take('"')) return value;
                value += '"';
            } else if (takeLineBreak()) {
                value += '\n';
            } else {
                value += text_[position_++];
            }
        }
        row.isWhole = false;
        return value;
    }

    std::string_view text_;
    char separator_;
    std::size_t position_ = 0;
    std::int64_t line_ = 1;
};

enum class TesterColumn { firstName, lastName, email };

std::optional<TesterColumn> columnNamed(std::string_view title) {
    std::string letters;
    for (const char character : asciiLowercase(title))
        if (character >= 'a' && character <= 'z') letters += character;
    struct Name {
        std::string_view letters;
        TesterColumn column;
    };
    using C = TesterColumn;
    constexpr Name names[] = {
        {"email", C::email},        {"emailaddress", C::email},  {"mail", C::email},
        {"address", C::email},      {"testeremail", C::email},   {"firstname", C::firstName},
        {"first", C::firstName},    {"givenname", C::firstName}, {"vorname", C::firstName},
        {"forename", C::firstName}, {"lastname", C::lastName},   {"last", C::lastName},
        {"surname", C::lastName},   {"familyname", C::lastName}, {"nachname", C::lastName},
    };
    const auto found = std::ranges::find(names, letters, &Name::letters);
    return found == std::end(names) ? std::nullopt : std::optional(found->column);
}

// Which cell of a row is what.
struct TesterColumns {
    std::map<TesterColumn, std::size_t> places;

    [[nodiscard]] std::string cell(const CSVRow& row, TesterColumn column) const {
        const auto place = places.find(column);
        if (place == places.end() || place->second >= row.cells.size()) return {};
        return row.cells[place->second];
    }
    [[nodiscard]] std::optional<std::string> name(const CSVRow& row, TesterColumn column) const {
        std::string value = cell(row, column);
        return value.empty() ? std::nullopt : std::optional(std::move(value));
    }
};

bool holdsAddress(const std::string& cell) {
    return cell.find('@') != std::string::npos;
}

TesterColumns columnsOfHeader(const CSVRow& header) {
    TesterColumns columns;
    for (std::size_t place = 0; place < header.cells.size(); ++place)
        if (const auto column = columnNamed(header.cells[place])) columns.places.try_emplace(*column, place);
    return columns;
}

TesterColumns columnsOfRow(const CSVRow& row) {
    TesterColumns columns;
    const auto address = std::ranges::find_if(row.cells, holdsAddress);
    columns.places[TesterColumn::email] = static_cast<std::size_t>(address - row.cells.begin());
    for (std::size_t place = 0; place < row.cells.size(); ++place)
        if (place != columns.places[TesterColumn::email])
            columns.places.try_emplace(columns.places.contains(TesterColumn::firstName)
                                           ? TesterColumn::lastName
                                           : TesterColumn::firstName,
                                       place);
    return columns;
}

TesterFile unreadable(std::int64_t line, std::string text) {
    return {.testers = {}, .problems = {{line, std::move(text)}}, .repeated = {}};
}

std::int64_t lineOfBadUTF8(std::string_view text) {
    std::int64_t line = 1;
    for (std::size_t begin = 0; begin <= text.size(); ++line) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (!isValidUTF8(text.substr(begin, end - begin))) return line;
        begin = end + 1;
    }
    return line;
}

} // namespace

bool isEmailAddress(std::string_view text) {
    const std::size_t at = text.find('@');
    if (at == 0 || at == text.npos || at > longestLocalPart || text.size() > longestAddress) return false;
    const std::string_view domain = text.substr(at + 1);
    constexpr std::string_view forbidden = " \t\r\n\"<>()[],;:\\@";
    if (text.substr(0, at).find_first_of(forbidden) != text.npos ||
        domain.find_first_of(forbidden) != text.npos)
        return false;
    for (const std::string_view part : {text.substr(0, at), domain})
        if (part.empty() || part.front() == '.' || part.back() == '.' || part.find("..") != part.npos)
            return false;
    return domain.find('.') != domain.npos && std::ranges::none_of(text, [](char character) {
               return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
           });
}

TesterFile readTesterFile(std::string_view bytes) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return unreadable(1, "the file is in UTF-16; save it as CSV in UTF-8");
    if (bytes.starts_with(mark)) bytes.remove_prefix(mark.size());
    if (!isValidUTF8(bytes))
        return unreadable(lineOfBadUTF8(bytes), "this is no text in UTF-8; save the file as CSV in UTF-8");
    std::int64_t skipped = 0;
    char separator = separatorOf(bytes);
    if (bytes.size() > 4 && bytes.starts_with("sep=")) { // as a spreadsheet says it
        separator = bytes[4];
        bytes.remove_prefix(std::min(bytes.find_first_of("\r\n"), bytes.size()));
        bytes.remove_prefix(bytes.starts_with("\r\n") ? 2 : std::min<std::size_t>(1, bytes.size()));
        skipped = 1;
    }
    TesterFile file;
    std::optional<TesterColumns> columns;
    std::map<std::string, std::int64_t> lines; // by address
    for (CSVReader reader(bytes, separator); !reader.isAtEnd();) {
        CSVRow row = reader.next();
        row.line += skipped;
        if (!row.isWhole) {
            file.problems.push_back({row.line, "a quotation mark is not closed"});
            break;
        }
        if (row.isBlankRow()) continue;
        if (!columns) {
            const bool isHeader = std::ranges::none_of(row.cells, holdsAddress);
            columns = isHeader ? columnsOfHeader(row) : columnsOfRow(row);
            if (!columns->places.contains(TesterColumn::email))
                return unreadable(row.line,
                                  "no column is named \"Email\", and there is no address in the line");
            if (isHeader) continue;
        }
        const std::string email = columns->cell(row, TesterColumn::email);
        if (!isEmailAddress(email)) {
            file.problems.push_back({row.line, email.empty() ? std::string("there is no e-mail address")
                                                             : fmt::format("\"{}\" is no e-mail address",
                                                                           escapeControls(email))});
            continue;
        }
        const auto [known, isNew] = lines.try_emplace(asciiLowercase(email), row.line);
        if (!isNew)
            file.repeated.push_back(
                {row.line, fmt::format("{} stands in line {} already", email, known->second)});
        else
            file.testers.push_back({columns->name(row, TesterColumn::firstName),
                                    columns->name(row, TesterColumn::lastName), email});
    }
    return file;
}

} // namespace quorvel
