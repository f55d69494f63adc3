#include "Core/metadata/RemovedLocales.h"

#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

std::filesystem::path removalNote(const MetadataFolder& folder) {
    return folder.privateFolder() / "removed.json";
}

bool isOfTheVersion(const FieldTexts& texts) {
    return std::ranges::any_of(localeFields, [&](FieldType field) {
        return homeOf(field) == FieldHome::versionLocalization && texts[field];
    });
}

} // namespace

RemovedLocales::RemovedLocales(const MetadataFolder& folder) : folder_(folder) {
    const auto note = readFile(removalNote(folder));
    if (!note) return;
    try {
        for (std::string& locale : decodeJSON<std::vector<std::string>>(*note))
            if (isSafeName(locale)) locales_.insert(std::move(locale));
    } catch (const JSONError& error) {
        Logger("RemovedLocales")
            .warning(fmt::format("{} is damaged ({}), so no locale counts as removed",
                                 escapeControls(removalNote(folder).native()), error.what()));
    }
}

bool RemovedLocales::leaveOut(std::string_view locale, const FieldTexts& texts) const {
    std::error_code unreachable;
    return locales_.contains(locale) && !isOfTheVersion(texts) &&
           !std::filesystem::exists(folder_.localeFolder(locale), unreachable);
}

void RemovedLocales::leaveOutOf(LocaleTexts& remote) const {
    std::erase_if(remote, [&](const auto& one) { return leaveOut(one.first, one.second); });
}

void RemovedLocales::add(const std::string& locale) {
    if (locales_.insert(locale).second) save();
}

void RemovedLocales::forgetOthers(const LocaleTexts& remote) {
    const auto forgotten = std::erase_if(locales_, [&](const std::string& locale) {
        const auto texts = remote.find(locale);
        return !leaveOut(locale, texts == remote.end() ? FieldTexts() : texts->second);
    });
    if (forgotten > 0) save();
}

void RemovedLocales::save() const {
    if (locales_.empty()) {
        removeFile(removalNote(folder_));
        return;
    }
    createFolders(folder_.privateFolder());
    writeFileAtomically(
        removalNote(folder_),
        encodeJSON(std::vector<std::string>(locales_.begin(), locales_.end()), JSONFormat::stateFile()) +
            "\n");
}

} // namespace quorvel
