#include "Core/metadata/RemoteLocalizations.h"

namespace quorvel {

namespace {

FieldTexts textsOf(const AppInfoLocalizationAttributes& attributes) {
    FieldTexts texts;
    texts[FieldType::name] = attributes.name.value_or("");
    texts[FieldType::subtitle] = attributes.subtitle.value_or("");
    return texts;
}

FieldTexts textsOf(const AppStoreVersionLocalizationAttributes& attributes) {
    FieldTexts texts;
    texts[FieldType::description] = attributes.description.value_or("");
    texts[FieldType::promotionalText] = attributes.promotionalText.value_or("");
    texts[FieldType::releaseNotes] = attributes.whatsNew.value_or("");
    texts[FieldType::keywords] = attributes.keywords.value_or("");
    return texts;
}

} // namespace

RemoteLocalizations listLocalizations(const ASCClientProtocol& client, FieldHome home,
                                      std::string_view parentID) {
    RemoteLocalizations localizations;
    const auto collect = [&](const auto& list) {
        for (const auto& one : list)
            localizations[one.attributes.locale] = {one.id, textsOf(one.attributes)};
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
