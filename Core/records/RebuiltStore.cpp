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
        "Lost: workspaces, imported apps, their locale settings and field rules, the push history, "
        "cached translations, tracked keywords and competitors, and cached reviews.\n"
        "Not lost: the metadata folders with your texts, your keys and your settings. Import your "
        "apps again to go on.",
        reason);
    if (!movedAside.empty()) text += fmt::format("\nThe old files are kept: {}", joined(movedAside));
    if (!removed.empty()) text += fmt::format("\nCould not be kept and were removed: {}", joined(removed));
    if (kind == StoreError::Kind::newerSchema)
        text +=
            fmt::format("\nA newer version of the program wrote them. To have your records back, update the "
                        "program and put them back into {} under the names {}.",
                        escapeControls(folder.native()), fmt::join(storeFileNames, ", "));
    return text;
}

} // namespace quorvel
