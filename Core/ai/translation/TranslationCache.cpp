#include "Core/ai/translation/TranslationCache.h"

#include "Platform/crypto/Digest.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

// Each part with its length before it, so that no two lists of parts run together to the same text.
void append(std::string& text, std::string_view part) {
    text += fmt::format("{}:", part.size());
    text += part;
}

std::string protectedTermsOf(const BrandContext& brand) {
    std::vector<std::string> terms = brand.protectedTerms;
    std::ranges::sort(terms);
    std::string text;
    for (const std::string& term : terms)
        append(text, term);
    return text;
}

std::string glossaryOf(const BrandContext& brand) {
    std::string text;
    for (const auto& [term, renderings] : brand.glossary)
        for (const auto& [locale, rendering] : renderings)
            for (const std::string_view part :
                 {std::string_view(term), std::string_view(locale), std::string_view(rendering)})
                append(text, part);
    return text;
}

} // namespace

std::string TranslationCache::key(const TranslationKeyParts& parts) {
    std::string locale(parts.targetLocale);
    if (!parts.preferredScript.empty()) locale += fmt::format("/{}", parts.preferredScript);
    std::string text;
    append(text, parts.model);
    append(text, parts.sourceText);
    append(text, locale);
    append(text, rawValue(parts.field));
    append(text, parts.brand.brandVoice);
    append(text, protectedTermsOf(parts.brand));
    append(text, glossaryOf(parts.brand));
    for (const std::string& part : parts.keywordContext)
        append(text, part);
    return sha256Hex(text);
}

std::optional<CachedTranslation> TranslationCache::lookup(std::string_view key) const {
    try {
        return records_.find(key);
    } catch (const StoreError& error) {
        logger_.warning(fmt::format("A cached translation is not used: {}", error.what()));
        return std::nullopt;
    }
}

void TranslationCache::store(const CachedTranslation& translation) const {
    try {
        records_.store(translation);
    } catch (const StoreError& error) {
        logger_.warning(fmt::format("A translation is not kept for later: {}", error.what()));
    }
}

} // namespace quorvel
