#include "Programs/quorvel/ManualPages.h"

#include "Platform/files/Files.h"
#include "Programs/quorvel/Command.h"
#include "Programs/quorvel/Help.h"
#include "Programs/quorvel/Run.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// A text whose characters mean nothing to the formatter; a line of it may begin with any.
std::string roffText(std::string_view text) {
    std::string escaped;
    bool beginsLine = true;
    for (const char character : text) {
        if (beginsLine && (character == '.' || character == '\'')) escaped += "\\&";
        if (character == '\\')
            escaped += "\\e";
        else if (character == '-')
            escaped += "\\-";
        else
            escaped += character;
        beginsLine = character == '\n';
    }
    return escaped;
}

std::string pageName(std::string_view command) {
    return command.empty() ? "quorvel" : fmt::format("quorvel-{}", command);
}

std::string roffEntries(const std::vector<HelpPage::Entry>& entries) {
    std::string text;
    for (const HelpPage::Entry& entry : entries)
        text += fmt::format(".TP\n.B {}\n{}\n", roffText(entry.name), roffText(entry.description));
    return text;
}

// Each line is one of its own, as examples are.
std::string roffParagraph(std::string_view paragraph) {
    std::string text = ".PP\n";
    for (std::size_t start = 0; start <= paragraph.size();) {
        const std::size_t end = std::min(paragraph.find('\n', start), paragraph.size());
        text +=
            fmt::format("{}{}\n", start == 0 ? "" : ".br\n", roffText(paragraph.substr(start, end - start)));
        start = end + 1;
    }
    return text;
}

std::string uppercased(std::string text) {
    for (char& character : text)
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
    return text;
}

// What a page says of a member of its group.
std::string roffMember(const HelpPage& page) {
    std::string text = fmt::format(".SS quorvel {}\n{}\n.PP\n.B {}\n", roffText(page.command),
                                   roffText(page.summary), roffText(page.usage));
    for (const auto& [title, entries] : page.sections)
        text += roffEntries(entries);
    for (const std::string& paragraph : page.paragraphs)
        if (&paragraph != &page.paragraphs.back())
            text += roffParagraph(paragraph); // the page's own tells it
    return text;
}

} // namespace

std::string manualPage(std::string_view name) {
    const HelpPage page = helpPage(name.empty() ? nullptr : findCommand(name));
    std::string summary = page.summary;
    if (name.empty()) summary = summary.substr(summary.find(": ") + 2);
    std::string text =
        fmt::format(".TH {} 1 \"\" \"{}\" \"Quorvel\"\n", uppercased(pageName(name)), versionLine());
    text += fmt::format(".SH NAME\n{} \\- {}\n", pageName(name), roffText(summary));
    text += fmt::format(".SH SYNOPSIS\n.B {}\n", roffText(page.usage));
    for (const auto& [title, entries] : page.sections)
        if (!entries.empty())
            text += fmt::format(".SH {}\n{}", roffText(uppercased(title)), roffEntries(entries));
    text += ".SH DESCRIPTION\n";
    for (const std::string& paragraph : page.paragraphs)
        text += roffParagraph(paragraph);
    for (const Command& member : allCommands())
        if (!name.empty() && member.name.starts_with(std::string(name) + " "))
            text += roffMember(helpPage(&member));
    return text + fmt::format(".SH SEE ALSO\n{}\n", name.empty()
                                                        ? "Each command has a page of its own, such as "
                                                          "quorvel\\-push(1)."
                                                        : "quorvel(1)");
}

std::vector<std::filesystem::path> writeManualPages(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    createFolders(folder);
    const auto write = [&](std::string_view command) {
        files.push_back(folder / (pageName(command) + ".1"));
        writeFileAtomically(files.back(), manualPage(command));
    };
    write("");
    for (const Command& command : allCommands())
        if (command.parent().empty()) write(command.name);
    return files;
}

} // namespace quorvel
