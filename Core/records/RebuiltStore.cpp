#include "Core/records/ModelContainer.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorvel {

namespace {

std::string joined(const std::vector<std::filesystem::path>& paths) {
    std::vector<std::string> names;
    for (const auto& path : paths)
        names.push_back(escapeControls(path.native()));
    return fmt::format("{}", fmt::join(names, ", "));
}

} // namespace

std::string RebuiltStore::description() const {
    std::string text = fmt::format(
        "The store of your records could not be opened, so a fresh one was made: {}.\n"
        "Lost: workspaces, imported apps, the folders that were chosen for them, "
        "their locale settings and field rules, the push history, cached translations, "
        "tracked keywords and competitors, and cached reviews.\n"
        "Not lost: the metadata folders with your texts, the key for all apps and your settings. "
        "Keys of a workspace or of a single app are still stored but belong to the lost records: "
        "enter them again. Import your apps again to go on, and choose the folder again of each that had "
        "one of its own.",
        reason);
    text += fmt::format("\nThe old files are backed up: {}", joined(backups));
    if (kind == StoreError::Kind::newerSchema)
        text += fmt::format(
            "\nA newer version of the program wrote them. "
            "To have your records back, update the program and put them back into {} under the names {}.",
            escapeControls(folder.native()), fmt::join(storeFileNames, ", "));
    return text;
}

} // namespace quorvel
