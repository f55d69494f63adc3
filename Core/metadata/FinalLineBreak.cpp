#include "Core/metadata/FinalLineBreak.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TextRemarks.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

struct TreeSettings {
    FinalLineBreak finalLineBreak = FinalLineBreak::keep;
    QUORVEL_RECORD(TreeSettings, finalLineBreak)
};

std::filesystem::path settingsFile(const MetadataFolder& appFolder) {
    return appFolder.privateFolder() / "settings.json";
}

} // namespace

std::string countedText(FinalLineBreak rule, FieldType field, std::string_view local,
                        const std::optional<std::string>& pulled) {
    if (!isStoreText(field)) {
        std::string value = kindOf(field) == FieldKind::json ? ageRatingOver(pulled.value_or(""), local)
                                                             : canonicalValue(field, local);
        return pulled && canonicalValue(field, *pulled) == value ? *pulled : value;
    }
    if (rule == FinalLineBreak::keep) return std::string(local);
    const std::string_view text = withoutFinalLineBreak(local);
    return pulled && withoutFinalLineBreak(*pulled) == text ? *pulled : std::string(text);
}

void countTexts(FinalLineBreak rule, ReadTexts& local, const ReadTexts& pulled) {
    static const FieldTexts nothing;
    const auto count = [&](FieldTexts& texts, const FieldTexts& copies, std::span<const FieldType> fields) {
        for (const FieldType field : fields)
            if (texts[field]) texts[field] = countedText(rule, field, *texts[field], copies[field]);
    };
    for (auto& [locale, texts] : local.texts) {
        const auto found = pulled.texts.find(locale);
        count(texts, found == pulled.texts.end() ? nothing : found->second, localeFields);
    }
    count(local.page, pulled.page, pageFields);
}

FinalLineBreak finalLineBreakOf(const MetadataFolder& appFolder) {
    const auto file = settingsFile(appFolder);
    const auto text = readFile(file);
    if (!text) return appFolder.inPlace ? FinalLineBreak::strip : FinalLineBreak::keep;
    try {
        return decodeJSON<TreeSettings>(*text).finalLineBreak;
    } catch (const JSONError& error) {
        throw MetadataError(
            MetadataError::Kind::failed,
            fmt::format("{}: cannot be understood ({}). Set finalLineBreak of the app again, or "
                        "remove the file.",
                        escapeControls(file.native()), error.what()),
            {file, {}, {}});
    }
}

void keepFinalLineBreak(const MetadataFolder& appFolder, FinalLineBreak rule) {
    createFolders(appFolder.privateFolder());
    writeFileAtomically(settingsFile(appFolder), encodeJSON(TreeSettings{rule}, JSONFormat::stateFile()));
}

} // namespace quorvel
