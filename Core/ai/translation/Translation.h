// The items of a translation, its settings and its outcomes.
#pragma once

#include "Core/metadata/FieldType.h"
#include "Core/metadata/ReviewMarks.h"
#include "Core/records/Models.h"

#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// One field of one target locale.
struct TranslationItem {
    std::string sourceLocale;
    std::string targetLocale;
    FieldType field = FieldType::name;
    QUORVEL_RECORD(TranslationItem, sourceLocale, targetLocale, field)
    auto operator<=>(const TranslationItem&) const = default;
};

/// What an app wants said of itself and how.
struct BrandContext {
    std::string brandVoice;
    std::vector<std::string> protectedTerms;
    std::map<std::string, std::map<std::string, std::string>> glossary; // term → locale → rendering

    [[nodiscard]] static BrandContext of(const ManagedApp& app) {
        return {app.brandVoice, app.protectedTerms, app.glossary};
    }
    bool operator==(const BrandContext&) const = default;
};

/// How one locale is to be treated.
struct LocaleSettings {
    bool aiSafeMode = false; // a text is never replaced
    // The script to write in where a locale has several: its four-letter code ("Latn") or its name.
    std::optional<std::string> preferredScript;
    bool enabled = true;

    [[nodiscard]] static LocaleSettings of(const ManagedLocale& locale) {
        return {locale.aiSafeMode, locale.preferredScript, locale.enabled};
    }
    bool operator==(const LocaleSettings&) const = default;
};

struct TranslationOutcome {
    TranslationItem item;
    std::string translation; // as written; empty when skipped or failed
    std::int64_t inputTokens = 0;
    std::int64_t outputTokens = 0;
    double costUSD = 0;
    bool isOverLimit = false; // the model's text was, also after its retries; what is written was cut
    bool fromCache = false;
    bool skipped = false;
    std::optional<std::string> kept;  // the backup of the text that it replaced
    std::optional<ReviewMark> review; // nobody read it yet; nothing when nothing was written
    std::optional<std::string> warning;
    std::vector<std::string> remarks;     // what may not have survived the translation
    std::optional<std::string> error;     // what ended this item; nothing was written then
    std::exception_ptr failure = nullptr; // what `error` is the text of
    QUORVEL_RECORD_EXCEPT(TranslationOutcome, (failure), item, translation, inputTokens, outputTokens,
                          costUSD, isOverLimit, fromCache, skipped, kept, review, warning, remarks, error)
    bool operator==(const TranslationOutcome&) const = default;
};

inline constexpr std::string_view nothingToTranslateText = "Nothing to translate.";
inline constexpr std::string_view noTargetLocalesText =
    "No target locales found. Pull first or add a locale folder.";
inline constexpr std::string_view folderUnavailableText = "Metadata folder unavailable.";

} // namespace quorvel
