// Translations kept in the records, so that the same one is not paid for twice.
#pragma once

#include "Core/ai/translation/Translation.h"
#include "Core/records/Records.h"
#include "Platform/log/Log.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What a translation depends on.
struct TranslationKeyParts {
    std::string_view model;
    std::string_view sourceText;
    std::string_view targetLocale;
    FieldType field = FieldType::name;
    const BrandContext& brand;
    std::string_view preferredScript = {};
    std::vector<std::string> keywordContext = {}; // what keywords depend on besides: name, subtitle, terms
};

/// A store that is busy, full or damaged makes a miss and a warning in the log, never a failure. Thread-safe.
class TranslationCache {
  public:
    explicit TranslationCache(SharedContainer container) : records_(std::move(container)) {}

    /// 64 hexadecimal digits; another one as soon as any part changes, the order of terms aside.
    [[nodiscard]] static std::string key(const TranslationKeyParts& parts);

    [[nodiscard]] std::optional<CachedTranslation> lookup(std::string_view key) const;
    void store(const CachedTranslation& translation) const;

  private:
    TranslationRecords records_;
    Logger logger_{"TranslationCache"};
};

} // namespace quorvel
