#include "Core/metadata/check/PageCheck.h"

#include "Core/metadata/AppCategories.h"
#include "Core/metadata/FieldValue.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

namespace quorvel {

namespace {

using F = FieldType;

class PageCheck {
  public:
    PageCheck(const FieldTexts& local, const FieldTexts& pulled, bool wasPulled, std::optional<Date> now)
        : local_(local), pulled_(pulled), wasPulled_(wasPulled), now_(now) {}

    [[nodiscard]] std::vector<PageFault> run() {
        checkSubcategories(F::primaryCategory, F::primarySubcategoryOne, F::primarySubcategoryTwo);
        checkSubcategories(F::secondaryCategory, F::secondarySubcategoryOne, F::secondarySubcategoryTwo);
        checkCategories();
        checkRelease();
        checkDemoAccount();
        return std::move(faults_);
    }

  private:
    // The value that counts; nothing where there is none, or nobody can tell.
    [[nodiscard]] std::optional<std::string> valueOf(F field) const {
        const auto& text = isWritten(field) ? local_[field] : pulled_[field];
        if (!text || isBlank(*text) || valueFault(field, *text, pulled_[field].value_or("")))
            return std::nullopt;
        return canonicalValue(field, *text);
    }

    [[nodiscard]] bool isWritten(F field) const { return local_[field] && !isBlank(*local_[field]); }
    // Whether a push would send it.
    [[nodiscard]] bool isChosen(F field) const {
        return isWritten(field) && (!pulled_[field] || *pulled_[field] != *local_[field]);
    }
    // Whether neither side holds anything, valid or not.
    [[nodiscard]] bool isNone(F field) const {
        return !isWritten(field) && (!pulled_[field] || isBlank(*pulled_[field]));
    }

    void add(F field, std::string text, CheckSeverity severity = CheckSeverity::error,
             CheckRule rule = CheckRule::contradiction) {
        faults_.push_back({severity, rule, field, std::move(text)});
    }

    void checkSubcategories(F category, F first, F second) {
        for (const F subcategory : {first, second})
            checkSubcategory(category, subcategory);
        const auto one = valueOf(first);
        const auto two = valueOf(second);
        if (one && one == two && (isChosen(first) || isChosen(second)))
            add(isChosen(second) ? second : first,
                fmt::format("The first and the second subcategory are both {}. Write another one.", *one),
                CheckSeverity::warning);
        if (isChosen(second) && two && wasPulled_ && isNone(first))
            add(second,
                fmt::format("There is a second subcategory and no first. Write it into {}.",
                            fileNameOf(first)),
                CheckSeverity::warning);
    }

    void checkSubcategory(F category, F subcategory) {
        const auto below = valueOf(subcategory);
        if (!below) return;
        const std::string_view wanted = categoryOf(*below);
        const auto above = valueOf(category);
        if (!above && wasPulled_ && isNone(category) && isChosen(subcategory))
            add(subcategory, fmt::format("{} needs its category. Write {} into {}.", *below, wanted,
                                         fileNameOf(category)));
        if (!above || *above == wanted) return;
        if (isChosen(subcategory))
            add(subcategory,
                fmt::format(
                    "{} belongs to {}, and the category is {}. Choose one that belongs to it, or write "
                    "{} into {}.",
                    *below, wanted, *above, wanted, fileNameOf(category)));
        else if (isChosen(category))
            add(category,
                fmt::format(
                    "The category cannot become {} while the app has the subcategory {}, which App Store "
                    "Connect lets only its web page take away. Change both there, then pull.",
                    *above, *below));
    }

    void checkCategories() {
        const auto primary = valueOf(F::primaryCategory);
        const bool isOurs = isChosen(F::primaryCategory) || isChosen(F::secondaryCategory);
        if (primary && isOurs && primary == valueOf(F::secondaryCategory))
            add(isChosen(F::secondaryCategory) ? F::secondaryCategory : F::primaryCategory,
                fmt::format("The category and the secondary category are both {}. Write another one.",
                            *primary));
    }

    void checkRelease() {
        constexpr std::string_view scheduled = "SCHEDULED";
        const auto type = valueOf(F::releaseType);
        const auto date = valueOf(F::earliestReleaseDate);
        if (type == scheduled && isNone(F::earliestReleaseDate))
            add(F::earliestReleaseDate,
                fmt::format("Is missing, though {} says {}. Write when the version may be released.",
                            fileNameOf(F::releaseType), scheduled),
                wasPulled_ ? CheckSeverity::error : CheckSeverity::warning, CheckRule::missingText);
        if (!date || !isWritten(F::earliestReleaseDate)) return;
        const bool isDateOurs = isChosen(F::earliestReleaseDate);
        if (type && type != scheduled && (isDateOurs || isChosen(F::releaseType)))
            add(F::earliestReleaseDate,
                fmt::format(
                    "A date goes with {} only, and the release type is {}. Write {} into {}, or remove "
                    "this file.",
                    scheduled, *type, scheduled, fileNameOf(F::releaseType)));
        else if (const auto moment = parseISO8601(*date); isDateOurs && now_ && moment && *moment <= *now_)
            add(F::earliestReleaseDate, fmt::format("{} is past. Write a later hour.", *date),
                CheckSeverity::error, CheckRule::invalidValue);
    }

    void checkDemoAccount() {
        constexpr F flag = F::demoAccountRequired;
        if (valueOf(flag) == "true" || (!valueOf(flag) && !(wasPulled_ && isNone(flag)))) return;
        for (const F field : {F::demoAccountName, F::demoAccountPassword})
            if (isWritten(field))
                return add(
                    field,
                    fmt::format("Is set, though {} does not say true, so App Review is not told to sign "
                                "in. Write true there, or remove the account.",
                                fileNameOf(flag)),
                    CheckSeverity::warning);
    }

    const FieldTexts& local_;
    const FieldTexts& pulled_;
    bool wasPulled_;
    std::optional<Date> now_;
    std::vector<PageFault> faults_;
};

} // namespace

std::vector<PageFault> faultsBetween(const FieldTexts& local, const FieldTexts& pulled, bool wasPulled,
                                     std::optional<Date> now) {
    return PageCheck(local, pulled, wasPulled, now).run();
}

} // namespace quorvel
