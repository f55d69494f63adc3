// Giving a build to testers.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// What to test in one locale, as it is on App Store Connect and as it is to be.
struct TestNotesChange {
    std::string locale;
    std::optional<std::string> before; // nothing where the locale has no notes
    std::string after;
    QUORVEL_RECORD(TestNotesChange, locale, before, after)
    bool operator==(const TestNotesChange&) const = default;
};

/// Whether a step changed anything.
enum class StepEnd { done, wasDone };

template <>
struct RawValues<StepEnd> {
    static constexpr std::pair<StepEnd, std::string_view> values[] = {{StepEnd::done, "done"},
                                                                      {StepEnd::wasDone, "wasDone"}};
};

/// Gives a build to testers. Every step looks at what is there first, or reads back after a lost answer, so
/// that all of them may be repeated.
class TestFlightService {
  public:
    explicit TestFlightService(const ASCClientProtocol& client) : client_(client) {}

    /// Writes what to test in one locale: patches the localization that exists, or creates it. When the
    /// create finds one made meanwhile, or its answer is lost, it becomes a patch.
    ASCResource<BetaBuildLocalizationAttributes>
    writeTestNotes(std::string_view buildID, std::string_view locale, std::string_view whatsNew) const;
    /// The locales whose notes on App Store Connect differ from these, in the order of the locales.
    [[nodiscard]] std::vector<TestNotesChange>
    compareTestNotes(std::string_view buildID, const std::map<std::string, std::string>& notes) const;

    /// Makes a group; one of the name that a lost answer leaves behind is taken.
    [[nodiscard]] ASCResource<BetaGroupAttributes>
    createGroup(std::string_view appID, const BetaGroupCreateAttributes& attributes) const;
    StepEnd addBuildToGroup(std::string_view groupID, std::string_view buildID) const;
    /// Asks for beta review unless that was done for this build, whatever its outcome.
    StepEnd requestBetaReview(std::string_view buildID) const;
    /// Whether testers are told of the build as soon as they can have it.
    StepEnd setAutoNotify(std::string_view buildID, bool notify) const;
    StepEnd addTester(std::string_view groupID, const BetaTesterCreateAttributes& tester) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
