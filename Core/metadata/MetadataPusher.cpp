#include "Core/metadata/MetadataPusher.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/LocalizationWriter.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <mutex>

namespace quorvel {

namespace {

// More at once earns random refusals from App Store Connect.
constexpr std::size_t requestsAtOnce = 6;
constexpr std::string_view noAppInfo =
    "ASC has no AppInfo for this app — name and subtitle cannot be created. "
    "Add a localization in ASC web UI first.";

constexpr std::string_view conflictText =
    "changed on App Store Connect since the last pull; pull to see it, then push again";

constexpr std::string_view removedText =
    "its localization was removed on App Store Connect since the last pull; pull, then push again to "
    "create it with all of its texts";

// The changes of one localization, by their places in the list given.
struct Job {
    std::string locale;
    FieldHome home = FieldHome::versionLocalization;
    std::vector<std::size_t> changes;
};

// The localizations that exist; no app info: the app has none.
struct Resolution {
    RemoteLocalizations versionLocalizations;
    std::optional<std::string> appInfoID;
    RemoteLocalizations appInfoLocalizations;

    // What the field holds, also when its localization is missing; nothing for an app without app info.
    [[nodiscard]] std::optional<std::string> textOf(const Job& job, FieldType field) const {
        if (job.home == FieldHome::appInfoLocalization && !appInfoID) return std::nullopt;
        const RemoteLocalization* localization = find(job);
        return localization ? localization->texts[field].value_or("") : "";
    }

    [[nodiscard]] const RemoteLocalization* find(const Job& job) const {
        const auto& all =
            job.home == FieldHome::versionLocalization ? versionLocalizations : appInfoLocalizations;
        const auto found = all.find(job.locale);
        return found == all.end() ? nullptr : &found->second;
    }
};

std::vector<Job> jobsOf(const std::vector<PendingChange>& changes) {
    std::vector<Job> jobs;
    for (std::size_t index = 0; index < changes.size(); ++index) {
        const FieldHome home = homeOf(changes[index].field);
        auto job = std::ranges::find_if(
            jobs, [&](const Job& one) { return one.locale == changes[index].locale && one.home == home; });
        if (job == jobs.end()) job = jobs.insert(job, {changes[index].locale, home, {}});
        job->changes.push_back(index);
    }
    return jobs;
}

enum class Lists { needed, all };

Resolution resolve(const ASCClientProtocol& client, std::string_view appID, const PlatformContext& context,
                   const std::vector<Job>& jobs, Lists wanted = Lists::needed) {
    Resolution resolution;
    std::vector<std::function<void()>> lists;
    const auto isNeeded = [&](FieldHome home) {
        return wanted == Lists::all || std::ranges::find(jobs, home, &Job::home) != jobs.end();
    };
    if (isNeeded(FieldHome::versionLocalization))
        lists.emplace_back([&] {
            resolution.versionLocalizations =
                listLocalizations(client, FieldHome::versionLocalization, context.versionId);
        });
    if (isNeeded(FieldHome::appInfoLocalization))
        lists.emplace_back([&] {
            const auto info = chooseAppInfo(client.listAppInfos(appID), context.stateClass);
            if (!info) return;
            resolution.appInfoID = info->id;
            resolution.appInfoLocalizations =
                listLocalizations(client, FieldHome::appInfoLocalization, info->id);
        });
    parallelForEach(lists, lists.size(), [](const std::function<void()>& list) { list(); });
    return resolution;
}

LocaleTexts textsOf(const Resolution& resolution) {
    LocaleTexts all = textsOf(resolution.versionLocalizations);
    for (const auto& [locale, localization] : resolution.appInfoLocalizations)
        for (const FieldType field : allFieldTypes)
            if (localization.texts[field]) all[locale][field] = localization.texts[field];
    return all;
}

enum class RemoteState { asPulled, sameText, conflict };

RemoteState remoteStateOf(const PendingChange& change, const FieldTexts& onService) {
    const std::string text = onService[change.field].value_or("");
    if (text == change.textToSend() || (isBlank(text) && isBlank(change.local))) return RemoteState::sameText;
    const bool isKnown = saysTheSame(text, change.remote) || saysTheSame(text, change.local);
    return isKnown ? RemoteState::asPulled : RemoteState::conflict;
}

// Sends one job and tells the outcome of each of its changes.
class JobRunner {
  public:
    JobRunner(const ASCClientProtocol& client, const MetadataStore& store, const PlatformContext& context,
              const Resolution& resolution, const std::vector<PendingChange>& changes,
              const std::string& appName, PushRecording::Record begin = {})
        : client_(client),
          store_(store),
          context_(context),
          resolution_(resolution),
          changes_(changes),
          appName_(appName),
          begin_(std::move(begin)),
          hasCopies_(!store.localesOnDisk(TextSide::pulled).empty()) {}

    [[nodiscard]] LocalizationWriter::Result run(const Job& job) {
        LocalizationWriter::Result result;
        if (job.home == FieldHome::appInfoLocalization && !resolution_.appInfoID) {
            for (const std::size_t index : job.changes)
                result.failures[changes_[index].field].text = noAppInfo;
            return result;
        }
        std::vector<LocalizationWriter::Value> values;
        std::vector<PushOutcome> begun;
        const RemoteLocalization* existing = resolution_.find(job);
        std::vector<FieldType> conflicts;
        for (const std::size_t index : job.changes) {
            const PendingChange& change = changes_[index];
            const RemoteState state = existing              ? remoteStateOf(change, existing->texts)
                                      : wouldLoseTexts(job) ? RemoteState::conflict
                                                            : RemoteState::asPulled;
            if (state == RemoteState::conflict) conflicts.push_back(change.field);
            if (state != RemoteState::asPulled) continue;
            values.emplace_back(change.field, change.textToSend());
            begun.push_back({.change = change, .previous = textBefore(job, change)});
        }
        if (begin_ && !begun.empty() && !currentStopToken().stop_requested()) begin_(begun);
        if (!values.empty())
            result = LocalizationWriter(client_, targetOf(job), closed_).write(std::move(values));
        for (const FieldType field : conflicts)
            result.failures[field].text = existing ? conflictText : removedText;
        return result;
    }

    [[nodiscard]] std::vector<PushOutcome> outcomesOf(const Job& job,
                                                      const LocalizationWriter::Result& result) const {
        std::vector<PushOutcome> outcomes;
        for (const std::size_t index : job.changes) {
            PushOutcome outcome{.change = changes_[index], .success = true};
            outcome.previous = textBefore(job, outcome.change);
            if (const auto found = result.failures.find(outcome.change.field);
                found != result.failures.end()) {
                outcome.success = false;
                outcome.errorMessage = found->second.text;
                outcome.failure = found->second.kind;
                outcome.notSent = !found->second.wasSent;
            }
            outcomes.push_back(std::move(outcome));
        }
        return outcomes;
    }

  private:
    // Whether the localization had other texts at the last pull: made anew with the changes alone it would
    // lack them.
    [[nodiscard]] bool wouldLoseTexts(const Job& job) const {
        return std::ranges::any_of(localeFields, [&](FieldType field) {
            const bool isSent = std::ranges::any_of(
                job.changes, [&](std::size_t index) { return changes_[index].field == field; });
            return homeOf(field) == job.home && !isSent &&
                   !isBlank(store_.read(job.locale, field, TextSide::pulled).value_or(""));
        });
    }
    // See `PushOutcome::previous`. Without any copy, every text looks new that App Store Connect has.
    [[nodiscard]] std::optional<std::string> textBefore(const Job& job, const PendingChange& change) const {
        const RemoteLocalization* existing = resolution_.find(job);
        if (existing && hasCopies_ && remoteStateOf(change, existing->texts) == RemoteState::sameText)
            return std::nullopt;
        return resolution_.textOf(job, change.field);
    }

    [[nodiscard]] LocalizationWriter::Target targetOf(const Job& job) const {
        const bool ofVersion = job.home == FieldHome::versionLocalization;
        LocalizationWriter::Target target{
            job.home, ofVersion ? context_.versionId : *resolution_.appInfoID, job.locale, {}, {}};
        if (const RemoteLocalization* existing = resolution_.find(job))
            target.id = existing->id;
        else if (!ofVersion)
            target.fallbackName = fallbackName(job.locale);
        return target;
    }

    [[nodiscard]] std::optional<std::string> fallbackName(const std::string& locale) const {
        const auto isUsable = [](const std::string& name) {
            return !isBlank(name) && !isOverLimit(name, FieldType::name);
        };
        try {
            auto own = readTextThatCounts(store_.folder(), locale, FieldType::name);
            if (own && isUsable(*own)) return own;
        } catch (const MetadataError&) {
            // Skip files that are not UTF-8.
        }
        return isUsable(appName_) ? std::optional(appName_) : std::nullopt;
    }

    const ASCClientProtocol& client_;
    const MetadataStore& store_;
    const PlatformContext& context_;
    const Resolution& resolution_;
    const std::vector<PendingChange>& changes_;
    const std::string& appName_;
    PushRecording::Record begin_;
    bool hasCopies_;
    ClosedFields closed_;
};

// Records the writes without sending them, so that the code that pushes also makes the plan.
class RecordingClient : public ASCClientProtocol {
  public:
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        requests.push_back(
            {request.method, request.path, decodeJSON<JSONValue>(request.body.value_or("null"))});
        return R"({"data":{"type":"planned","id":"planned","attributes":{"locale":""}}})";
    }
    mutable std::vector<PlannedRequest> requests;
};

// A copy that is lost with the power does no harm: its change is listed and sent once more.
std::optional<std::string> refreshCopy(const MetadataStore& store, const std::string& locale, FieldType field,
                                       std::string_view text) {
    try {
        store.write(locale, field, text, TextSide::pulled, Durability::later);
        return std::nullopt;
    } catch (const std::exception& error) {
        return fmt::format(
            "Pushed, but the pulled copy could not be written, so the change is listed until the "
            "next pull: {}",
            error.what());
    }
}

// A name that the locale was created with becomes its own; says so when it was not its own before.
std::optional<std::string> adoptName(const MetadataStore& store, const std::string& locale,
                                     const std::string& name) {
    auto remark = refreshCopy(store, locale, FieldType::name, name);
    try {
        bool isSame = false;
        const FallbackTexts fallbacks(store.folder());
        store.update(locale, FieldType::name, [&](const std::optional<std::string>& local) {
            isSame = local == name || fallbacks.standingFor(local, FieldType::name) == name;
            return isSame ? std::nullopt : !local || isBlank(*local) ? std::optional(name) : std::nullopt;
        });
        if (isSame) return remark;
    } catch (const std::exception& error) {
        return error.what();
    }
    return fmt::format(
        "{} was created with the name \"{}\", as App Store Connect takes no locale without one. "
        "Write another into {}/{} and push again if it should differ.",
        locale, name, locale, fileNameOf(FieldType::name));
}

} // namespace

MetadataPusher::MetadataPusher(const ASCClientProtocol& client, MetadataStore store, std::string appName)
    : client_(client), store_(std::move(store)), appName_(std::move(appName)) {}

std::vector<PushOutcome> MetadataPusher::push(std::string_view appID, const PlatformContext& context,
                                              const std::vector<PendingChange>& changes,
                                              const PushProgress& progress,
                                              const PushRecording& record) const {
    record.resolved ? requireOpen(context) : requireChangeable(context);
    const std::vector<Job> jobs = jobsOf(changes);
    const Resolution resolution =
        resolve(client_, appID, context, jobs, record.resolved ? Lists::all : Lists::needed);
    if (record.resolved) record.resolved(textsOf(resolution));
    JobRunner runner(client_, store_, context, resolution, changes, appName_, record.begin);
    std::vector<PushOutcome> outcomes;
    for (const PendingChange& change : changes)
        outcomes.push_back({.change = change, .errorMessage = std::string(notSentText), .notSent = true});
    std::mutex mutex;
    std::size_t done = 0;
    if (progress) progress(done, jobs.size());
    const auto runJob = [&](const Job& job) {
        const LocalizationWriter::Result result = runner.run(job);
        std::vector<PushOutcome> known = runner.outcomesOf(job, result);
        if (record.end) record.end(known);
        for (std::size_t place = 0; place < known.size(); ++place) {
            PushOutcome& outcome = known[place];
            if (outcome.success)
                outcome.remark =
                    refreshCopy(store_, job.locale, outcome.change.field, outcome.change.textToSend());
            outcomes[job.changes[place]] = std::move(outcome);
        }
        if (result.sentName)
            if (const auto remark = adoptName(store_, job.locale, *result.sentName))
                for (const std::size_t index : job.changes)
                    if (outcomes[index].success) {
                        outcomes[index].remark = remark;
                        break;
                    }
        const std::lock_guard guard(mutex);
        if (progress) progress(++done, jobs.size());
    };
    try {
        parallelForEach(jobs, requestsAtOnce, runJob);
    } catch (const CancellationError&) {
        // what is on App Store Connect by now must be told
    }
    const auto failed = std::ranges::count(outcomes, false, &PushOutcome::success);
    logger_.info(
        fmt::format("Pushed {} changes in {} localizations, {} failed", changes.size(), jobs.size(), failed));
    return outcomes;
}

void MetadataPusher::requireOpen(const PlatformContext& context) const {
    if (!context.takesPushes()) throw MetadataError::readOnlyContext(context.appStoreState);
}

void MetadataPusher::requireChangeable(const PlatformContext& context) const {
    requireOpen(context);
    if (store_.hasInterruptedPull()) throw MetadataError::interruptedPull(store_.folder().rootURL);
    const auto pulled = store_.pulledVersionID();
    if (pulled && *pulled != context.versionId)
        throw MetadataError::otherVersionPulled(context.versionString);
}

PlannedPush MetadataPusher::plan(std::string_view appID, const PlatformContext& context,
                                 const std::vector<PendingChange>& changes, Base base) const {
    base == Base::remoteTexts ? requireOpen(context) : requireChangeable(context);
    const std::vector<Job> jobs = jobsOf(changes);
    const Resolution resolution = resolve(client_, appID, context, jobs);
    RecordingClient recorder;
    JobRunner runner(recorder, store_, context, resolution, changes, appName_);
    PlannedPush planned;
    for (const Job& job : jobs)
        for (PushOutcome& outcome : runner.outcomesOf(job, runner.run(job)))
            if (!outcome.success) planned.failures.push_back(std::move(outcome));
    planned.requests = std::move(recorder.requests);
    return planned;
}

LocaleTexts MetadataPusher::remoteTexts(std::string_view appID, const PlatformContext& context) const {
    requireOpen(context);
    return textsOf(resolve(client_, appID, context, {}, Lists::all));
}

} // namespace quorvel
