// The next action of a release in plain words.
#pragma once

#include "Core/build/ReleasePipeline.h"
#include "Programs/quorvel/GlobalOptions.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

struct NextStep {
    std::string_view sentence;                  // what to do, without a point at its end
    std::vector<std::string_view> command = {}; // the words after "quorvel"; none: not done by this program
    bool isRunnable = false;                    // the command needs no further word
};

[[nodiscard]] NextStep nextStepOf(NextAction action);

/// The words of the step's command after "quorvel", with the options of this call that name what a release
/// is of, as far as the command takes them: push --app garden --context ios/next.
[[nodiscard]] std::vector<std::string> commandWords(const NextStep& step,
                                                    const std::optional<PlatformContext>& context,
                                                    const GlobalOptions& global);
/// The same as somebody would type it.
[[nodiscard]] std::string commandText(const NextStep& step, const std::optional<PlatformContext>& context,
                                      const GlobalOptions& global);

} // namespace quorvel
