#include "Programs/quorvel/Performing.h"

#include "Core/metadata/FieldType.h"

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

ArgumentSpec fieldOption(Fields fields) {
    ArgumentSpec field = fieldArgument(fields);
    field.name = "--field";
    field.description = "Only these fields, by the names here or those of files and of App Store Connect";
    field.need = ArgumentSpec::Need::optional;
    field.count = ArgumentSpec::Count::repeated;
    return field;
}

ArgumentSpec fieldArgument(Fields fields) {
    ArgumentSpec field{"FIELD", "FIELD", "The field", {}, ArgumentSpec::Need::required};
    for (const FieldType type : localeFields)
        if (fields == Fields::all || isStoreText(type)) field.choices.push_back(rawValue(type));
    field.choiceOf = [](std::string_view name) -> std::optional<std::string_view> {
        const auto meant = fieldNamed(name);
        return meant && !isPageField(*meant) ? std::optional(rawValue(*meant)) : std::nullopt;
    };
    if (fields == Fields::ofStoreTexts)
        field.choiceOf = [](std::string_view name) -> std::optional<std::string_view> {
            const auto meant = fieldNamed(name);
            return meant && isStoreText(*meant) ? std::optional(rawValue(*meant)) : std::nullopt;
        };
    return field;
}

ArgumentSpec folderArgument() {
    return {"--folder", "DIR", "Use this metadata folder instead of the app's own, this time only"};
}

std::vector<std::string> listOf(const Arguments& arguments, std::string_view name) {
    std::vector<std::string> items;
    for (const std::string& value : arguments.values(name))
        for (std::string& item : itemsOf(value))
            items.push_back(std::move(item));
    return items;
}

} // namespace quorvel
