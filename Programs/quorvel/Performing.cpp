#include "Programs/quorvel/Performing.h"

#include <fmt/format.h>

namespace quorvel {

void printImported(Invocation& invocation, const std::optional<ImportedAppReport>& imported) {
    if (!imported) return;
    Output& output = invocation.output;
    if (imported->madeWorkspace)
        output.note(fmt::format("Made the workspace \"{}\".", imported->workspaceName.value_or("")));
    output.note(
        fmt::format("{} {}{}.", imported->wasRecorded ? "Updated" : "Imported", imported->app.displayName,
                    imported->workspaceName
                        ? fmt::format("{} the workspace \"{}\"", imported->wasMoved ? ", moved to" : " in",
                                      *imported->workspaceName)
                        : ""));
    if (imported->avoidedFolder && !invocation.arguments.has("--folder"))
        output.warning(fmt::format("{} holds the texts of another app, so those of {} go into {}",
                                   *imported->avoidedFolder, imported->app.displayName, imported->folder));
}

ArgumentSpec folderArgument() {
    return {"--folder", "DIR", "Use this metadata folder instead of the app's own, this time only"};
}

std::vector<std::string> listOf(const Arguments& arguments, std::string_view name) {
    std::vector<std::string> items;
    for (std::string_view value : arguments.values(name))
        while (true) {
            const std::size_t end = std::min(value.find(','), value.size());
            if (end > 0) items.emplace_back(value.substr(0, end));
            if (end == value.size()) break;
            value.remove_prefix(end + 1);
        }
    return items;
}

} // namespace quorvel
