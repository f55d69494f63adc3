// What one push has learnt of the fields that the version's state does not take.
#pragma once

#include "Core/metadata/FieldType.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace quorvel {

/// Shared by the threads of a push. A state is the version's or the app info's, so what it does not take in
/// one locale it takes in none.
class ClosedFields {
  public:
    /// The text of the refusal of a field that is known to be closed.
    [[nodiscard]] std::optional<std::string> refusalOf(FieldType field) const;
    void close(FieldType field, const std::string& refusal);
    /// Closes all fields of a resource but the promotional text, which states that close the others may take.
    void closeAll(FieldHome home, const std::string& refusal);
    /// Held while the fields of one localization are tried one by one, for the others to learn from.
    [[nodiscard]] std::unique_lock<std::mutex> lockTrials() { return std::unique_lock(trials_); }

  private:
    std::mutex trials_;
    mutable std::mutex mutex_;
    std::map<FieldType, std::string> refusals_; // guarded by mutex_
};

} // namespace quorvel
