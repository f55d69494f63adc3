// Why a controller does not begin an operation.
#pragma once

#include "Platform/json/RawValue.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

enum class Refusal {
    operationRunning,
    noAppStoreID,
    folderNotResolved, // the bookmark leads nowhere
    folderUnavailable,
    noVersions,
    noContextSelected,
    readOnlyContext,
    nothingSelected,
    noPendingChanges,
    screenshotsNotPulled,
    stalePlan,      // what it is of has changed since it was made
    sourceIsTarget, // only the source locale is to be translated
    noTargetLocales,
    noBaseKeywords, // of the English locales
};

template <>
struct RawValues<Refusal> {
    static constexpr std::pair<Refusal, std::string_view> values[] = {
        {Refusal::operationRunning, "operationRunning"},
        {Refusal::noAppStoreID, "noAppStoreID"},
        {Refusal::folderNotResolved, "folderNotResolved"},
        {Refusal::folderUnavailable, "folderUnavailable"},
        {Refusal::noVersions, "noVersions"},
        {Refusal::noContextSelected, "noContextSelected"},
        {Refusal::readOnlyContext, "readOnlyContext"},
        {Refusal::nothingSelected, "nothingSelected"},
        {Refusal::noPendingChanges, "noPendingChanges"},
        {Refusal::screenshotsNotPulled, "screenshotsNotPulled"},
        {Refusal::stalePlan, "stalePlan"},
        {Refusal::sourceIsTarget, "sourceIsTarget"},
        {Refusal::noTargetLocales, "noTargetLocales"},
        {Refusal::noBaseKeywords, "noBaseKeywords"},
    };
};

/// The words for a refusal.
[[nodiscard]] std::string_view textOf(Refusal refusal);

/// An operation that was not begun; nothing was sent or written.
class OperationRefused : public std::runtime_error {
  public:
    /// `detail` says more than the fixed words, for a second line.
    explicit OperationRefused(Refusal refusal, std::string detail = {});
    [[nodiscard]] Refusal refusal() const { return refusal_; }
    [[nodiscard]] const std::string& detail() const { return detail_; }
    bool operator==(const OperationRefused& other) const { return refusal_ == other.refusal_; }

  private:
    Refusal refusal_;
    std::string detail_;
};

} // namespace quorvel
