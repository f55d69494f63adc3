// What one push has learnt of the fields that the version's state does not take.
#pragma once

#include "Core/metadata/FieldType.h"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace quorvel {

/// Shared by the threads of a push. A state is the version's or the app info's, so what it does not take in
/// one locale it takes in none. A refusal may pass, though: a field counts as closed only once two locales
/// were refused.
class ClosedFields {
  public:
    /// The text of the last refusal of a field that is known to be closed.
    [[nodiscard]] std::optional<std::string> refusalOf(FieldType field) const;
    /// The state did not take the field of this locale.
    void note(FieldType field, const std::string& locale, const std::string& refusal);
    /// The state took no field of this locale's resource: that concerns all but the promotional text, which
    /// states that close the others may take.
    void noteAll(FieldHome home, const std::string& locale, const std::string& refusal);
    /// Held while the fields of one localization are tried one by one, for the others to learn from.
    [[nodiscard]] std::unique_lock<std::mutex> lockTrials() { return std::unique_lock(trials_); }

  private:
    struct Refusals {
        std::set<std::string> locales;
        std::string text;
    };
    std::mutex trials_;
    mutable std::mutex mutex_;
    std::map<FieldType, Refusals> refusals_; // guarded by mutex_
};

} // namespace quorvel
