// What every job that a user can ask for has in common.
//
// A job is a type with an `ActionInfo`, a described request and a described result, and one function:
//
//     struct ListRuns {
//         static constexpr ActionInfo info{"list_runs", "List what was pushed", Effect::none};
//         struct Request { …; QUORVEL_RECORD(Request, …) static constexpr JSONMember members[] = {…}; };
//         struct Result { …; QUORVEL_RECORD(Result, …) };
//         [[nodiscard]] static Result perform(Application&, const Request&, const ActionProgress& = {});
//     };
//
// A job that changes something outside this machine is two: a preparing action without an effect, whose
// result is the plan, and a performing one whose request holds that plan. All actions block, obey the current
// task's cancellation, may run several at once, and throw what `failureOf` understands.
#pragma once

#include "Platform/json/JSON.h"
#include "Platform/json/JSONSchema.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

class Application;

/// What a performed action may change.
enum class Effect {
    none,       // nothing that a user would miss
    localFiles, // files, records and keys of this machine
    deletion,   // records or keys of this machine go away
    remote,     // App Store Connect, too
};

/// Whether the user has to agree before each performance.
[[nodiscard]] constexpr bool needsConsent(Effect effect) {
    return effect == Effect::deletion || effect == Effect::remote;
}

template <>
struct RawValues<Effect> {
    static constexpr std::pair<Effect, std::string_view> values[] = {{Effect::none, "none"},
                                                                     {Effect::localFiles, "localFiles"},
                                                                     {Effect::deletion, "deletion"},
                                                                     {Effect::remote, "remote"}};
};

struct ActionInfo {
    std::string_view name;  // such as "push_texts"
    std::string_view title; // one line for people
    Effect effect = Effect::none;
};

/// What a running action tells its face; the functions are called from any thread, several at once.
struct ActionProgress {
    /// The bytes of one file on their way.
    struct Transfer {
        enum class Stage { running, finished, failed };
        std::string file; // as it is shown
        std::uint64_t sent = 0;
        std::uint64_t total = 0;
        Stage stage = Stage::running;
    };
    struct Step {
        std::string text;
        std::optional<std::size_t> done;
        std::size_t total = 0;
    };
    /// A line of a long job's output, in the stage that the job is in.
    struct Line {
        std::string stage;
        std::string text;
    };
    std::function<void(const Step&)> step = [](const Step&) {};
    std::function<void(const Transfer&)> transfer = [](const Transfer&) {};
    std::function<void(const Line&)> line = [](const Line&) {};
};

/// An action without its types, for faces that hold all of them.
struct ActionDescription {
    ActionInfo info;
    JSONValue (*requestSchema)();
    JSONValue (*resultSchema)();
    /// Performs the action with a request in JSON; returns the result in JSON. Throws `JSONError` for what is
    /// no request of it.
    std::string (*perform)(Application&, std::string_view request, const ActionProgress&);
};

template <typename Action>
constexpr ActionDescription describeAction() {
    return {Action::info, &jsonSchema<typename Action::Request>, &jsonSchema<typename Action::Result>,
            [](Application& application, std::string_view request, const ActionProgress& progress) {
                return encodeJSON(
                    Action::perform(application, decodeJSON<typename Action::Request>(request), progress));
            }};
}

} // namespace quorvel
