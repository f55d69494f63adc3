// The texts of --help, written from the table of commands.
#pragma once

#include "Programs/quorvel/Command.h"
#include "Programs/quorvel/Output.h"

#include <string>
#include <vector>

namespace quorvel {

/// What the help of a command says, in the order of its printing.
struct HelpPage {
    struct Entry {
        std::string name;
        std::string description;
    };
    struct Section {
        std::string title;
        std::vector<Entry> entries;
    };
    std::string command; // empty for the program
    std::string summary;
    std::string usage;
    std::vector<Section> sections;       // those without entries are not printed
    std::vector<std::string> paragraphs; // each of several lines
};

/// The page of a command or of a group and its members; the overview of the program where there is none.
[[nodiscard]] HelpPage helpPage(const Command* command);
/// The page in lines of at most `width` terminal cells.
[[nodiscard]] std::string helpText(const HelpPage& page, std::size_t width);
/// Prints the help of a command, or the overview where there is none, in the form of the output.
ExitStatus showHelp(Output& output, const Command* command);

} // namespace quorvel
