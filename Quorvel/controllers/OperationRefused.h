// Why a controller does not begin an operation.
#pragma once

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
    previewsNotPulled,
    stalePlan,      // what it is of has changed since it was made
    sourceIsTarget, // only the source locale is to be translated
    noTargetLocales,
    noBaseKeywords, // of the English locales
    unknownCommit,
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
