#include "Quorvel/controllers/keywords/SearchedTexts.h"

#include "Core/aso/KeywordTerms.h"
#include "Core/aso/StorefrontLocales.h"
#include "Core/metadata/MetadataError.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/time/Date.h"
#include "Quorvel/controllers/metadata/AppContexts.h"

#include <fmt/format.h>

#include <utility>

namespace quorvel {

namespace {

std::string readText(const MetadataStore& store, std::string_view locale, FieldType field) {
    try {
        return store.read(locale, field).value_or("");
    } catch (const MetadataError&) {
        return {};
    }
}

std::vector<FieldType> fieldsHolding(const SearchedTexts::Texts& texts, std::string_view term) {
    std::vector<FieldType> fields;
    if (textHoldsTerm(texts.name, term)) fields.push_back(FieldType::name);
    if (textHoldsTerm(texts.subtitle, term)) fields.push_back(FieldType::subtitle);
    if (textHoldsTerm(texts.keywords, term)) fields.push_back(FieldType::keywords);
    return fields;
}

bool holdsTogether(const SearchedTexts::Texts& texts, std::string_view term) {
    return textHoldsTerm(fmt::format("{}\n{}\n{}", texts.name, texts.subtitle, texts.keywords), term);
}

} // namespace

SearchedTexts::SearchedTexts(const MetadataFolder& appFolder, const ContextID& context,
                             std::string sourceLocale)
    : context_(context.text()),
      folder_(appFolder.contextFolder(context)),
      sourceLocale_(std::move(sourceLocale)) {}

bool SearchedTexts::hasLocale(std::string_view locale) const {
    std::error_code ignored;
    return std::filesystem::is_directory(folder_.rootURL / locale, ignored);
}

std::optional<std::string> SearchedTexts::localeOf(std::string_view country) const {
    for (const std::string_view locale : storefrontLocales(country))
        if (hasLocale(locale)) return std::string(locale);
    if (!sourceLocale_.empty() && hasLocale(sourceLocale_)) return sourceLocale_;
    return std::nullopt;
}

const SearchedTexts::Texts& SearchedTexts::of(const std::string& locale) {
    if (const auto found = texts_.find(locale); found != texts_.end()) return found->second;
    const MetadataStore store(folder_);
    return texts_
        .emplace(locale,
                 Texts{readText(store, locale, FieldType::name), readText(store, locale, FieldType::subtitle),
                       readText(store, locale, FieldType::keywords)})
        .first->second;
}

std::optional<TermUse> SearchedTexts::use(std::string_view term, std::string_view country) {
    const auto shown = localeOf(country);
    if (!shown) return std::nullopt;
    TermUse use{.context = context_, .locale = *shown, .fields = fieldsHolding(of(*shown), term)};
    use.isSpread = use.fields.empty() && holdsTogether(of(*shown), term);
    for (const std::string_view locale : storefrontLocales(country))
        if (locale != *shown && hasLocale(locale) && holdsTogether(of(std::string(locale)), term))
            use.others.emplace_back(locale);
    return use;
}

std::optional<ContextID> searchedContext(const MetadataFolder& appFolder,
                                         const std::optional<std::string>& given,
                                         std::string_view trackedPlatform) {
    if (!given && trackedPlatform == "mac")
        for (const auto slot : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
            if (const ContextID mac{ASCPlatform::macOS, slot}; isFolder(appFolder.contextFolder(mac)))
                return mac;
    return AppContexts(appFolder, systemClock()).known(given);
}

} // namespace quorvel
