// What is to be done until a version is built, submitted or on the App Store.
#pragma once

#include "Core/asc/services/ReviewSubmissionService.h"
#include "Quorvel/application/BuildRuns.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/metadata/PushPlan.h"
#include "Quorvel/controllers/screenshots/ScreenshotPlans.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

/// How far a shipment goes.
enum class ShipUntil {
    build,  // a processed build is attached
    submit, // the version is submitted
    review, // it waits for review
    live,   // it is on the App Store
};

template <>
struct RawValues<ShipUntil> {
    static constexpr std::pair<ShipUntil, std::string_view> values[] = {{ShipUntil::build, "build"},
                                                                        {ShipUntil::submit, "submit"},
                                                                        {ShipUntil::review, "review"},
                                                                        {ShipUntil::live, "live"}};
};

struct ShipStep {
    enum class Kind {
        version,
        pull,
        texts,
        screenshots,
        build,
        compliance,
        attach,
        testFlight,
        submission,
        review,
        release,
    };
    enum class State {
        done,
        planned, // is to be done
        waits,   // for App Store Connect or App Review
        person,  // only a person can do it
        failed,
    };
    Kind kind = Kind::version;
    State state = State::done;
    std::string text;          // what is to be done or was done
    std::int64_t requests = 0; // that change App Store Connect
    bool isExact = true;       // else the requests are known only after the steps before
    QUORVEL_RECORD(ShipStep, kind, state, text, requests, isExact)
    bool operator==(const ShipStep&) const = default;

    /// Whether a shipment goes no further.
    [[nodiscard]] bool isEnd() const { return state == State::person || state == State::failed; }
};

template <>
struct RawValues<ShipStep::Kind> {
    using K = ShipStep::Kind;
    static constexpr std::pair<K, std::string_view> values[] = {
        {K::version, "version"},       {K::pull, "pull"},
        {K::texts, "texts"},           {K::screenshots, "screenshots"},
        {K::build, "build"},           {K::compliance, "compliance"},
        {K::attach, "attach"},         {K::testFlight, "testFlight"},
        {K::submission, "submission"}, {K::review, "review"},
        {K::release, "release"}};
};
template <>
struct RawValues<ShipStep::State> {
    using S = ShipStep::State;
    static constexpr std::pair<S, std::string_view> values[] = {{S::done, "done"},
                                                                {S::planned, "planned"},
                                                                {S::waits, "waits"},
                                                                {S::person, "person"},
                                                                {S::failed, "failed"}};
};

/// What the user wants of a shipment.
struct ShipOptions {
    std::string version;
    ASCPlatform platform = ASCPlatform::iOS;
    ShipUntil until = ShipUntil::review;
    ScreenshotPushMode screenshots = ScreenshotPushMode::append;
    bool allowClear = false;
    bool allowUnreviewed = false;
    bool exempt = false;                       // the build uses no encryption that needs a declaration
    std::vector<std::string> testFlightGroups; // names
    QUORVEL_RECORD(ShipOptions, version, platform, until, screenshots, allowClear, allowUnreviewed, exempt,
                   testFlightGroups)
    bool operator==(const ShipOptions&) const = default;
};

struct ShipPlan {
    AppReference app;
    std::string folder;  // the app's metadata folder
    std::string context; // "ios/next"
    ShipOptions options;
    std::optional<PlatformContext> version; // as it is; nothing: it is to be made
    std::vector<ShipStep> steps;
    std::int64_t requests = 0;     // that change App Store Connect, up to the first step that is a person's
    bool isExact = true;           // else there may be more
    std::optional<PushPlan> texts; // of the step of this name, where it is known already
    std::optional<ScreenshotPushPlan> screenshots; // the same
    std::optional<BuildConfig> config;             // where a build is to be made
    std::optional<BuildRunPlan> build;             // of the step of this name, where it is known already
    std::optional<SubmissionPlan> submission;      // the same
    QUORVEL_RECORD(ShipPlan, app, folder, context, options, version, steps, requests, isExact, texts,
                   screenshots, config, build, submission)
};

/// What a shipment did, and where it ended.
struct ShipOutcome {
    std::vector<ShipStep> steps;            // as far as it came; the last one says where it ended
    std::optional<PlatformContext> version; // as it is then
    std::vector<std::string> causes;        // of a build that failed: the tools' own lines
    std::optional<std::string> log;         // of the build
    std::optional<Failure> failure;         // that ended it, after something was done
    QUORVEL_RECORD(ShipOutcome, steps, version, causes, log, failure)

    /// Whether it came as far as it was asked to.
    [[nodiscard]] bool isComplete() const { return steps.empty() || !steps.back().isEnd(); }
};

} // namespace quorvel
