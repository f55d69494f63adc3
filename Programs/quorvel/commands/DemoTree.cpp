#include "Programs/quorvel/commands/DemoTree.h"

#include "Platform/files/Files.h"

namespace quorvel {

std::filesystem::path DemoTree::file(std::string_view locale, FieldType field) const {
    return folder_ / locale / fileNameOf(field);
}

std::string DemoTree::read(std::string_view locale, FieldType field) const {
    return readFile(file(locale, field)).value_or("");
}

void DemoTree::write(std::string_view locale, FieldType field, std::string_view text) const {
    createFolders(file(locale, field).parent_path());
    writeFileAtomically(file(locale, field), text);
}

DemoTree::Texts DemoTree::readAll() const {
    Texts texts;
    for (const FolderEntry& entry : listFolder(folder_).value_or(std::vector<FolderEntry>()))
        if (entry.kind == FolderEntry::Kind::folder && !entry.name.starts_with('.'))
            for (const FieldType field : localeFields)
                texts[{entry.name, field}] = read(entry.name, field);
    return texts;
}

} // namespace quorvel
