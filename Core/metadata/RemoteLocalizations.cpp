#include "Core/metadata/RemoteLocalizations.h"

#include "Core/metadata/LocalizationAttributes.h"

namespace quorvel {

RemoteLocalizations listLocalizations(const ASCClientProtocol& client, FieldHome home,
                                      std::string_view parentID) {
    RemoteLocalizations localizations;
    const auto collect = [&](const auto& list) {
        for (const auto& one : list)
            localizations[one.attributes.locale] = {one.id, textsIn(one.attributes)};
    };
    if (home == FieldHome::appInfoLocalization)
        collect(client.listAppInfoLocalizations(parentID));
    else
        collect(client.listVersionLocalizations(parentID));
    return localizations;
}

LocaleTexts textsOf(RemoteLocalizations localizations) {
    LocaleTexts texts;
    for (auto& [locale, localization] : localizations)
        texts.emplace_hint(texts.end(), locale, std::move(localization.texts));
    return texts;
}

} // namespace quorvel
