#include "Core/metadata/MetadataPusher.h"

#include "Core/metadata/AgeRating.h"
#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/FieldValue.h"
#include "Core/metadata/LocalizationWriter.h"
#include "Core/metadata/MetadataPuller.h"
#include "Core/metadata/PageTexts.h"
#include "Core/metadata/RemoteLocalizations.h"
#include "Core/metadata/merge/FieldMerge.h"
#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <set>

namespace quorvel {

namespace {

// More at once earns random refusals from App Store Connect.
constexpr std::size_t requestsAtOnce = 6;
constexpr std::string_view noAppInfo =
    "ASC has no AppInfo for this app — name and subtitle cannot be created. "
    "Add a localization in ASC web UI first.";

constexpr std::string_view conflictText =
    "changed on App Store Connect since the last pull; pull to see it, then push again";

constexpr std::string_view forbiddenAgeRatingText =
    "The API key may not see the age rating, so it was not sent.";
constexpr std::string_view forbiddenReviewText =
    "The API key may not see what App Review is told, so it was not sent.";
constexpr std::string_view noAgeRatingText =
    "App Store Connect has no age rating declaration for this app yet. Answer it once on its web page.";

bool isOfAppInfo(FieldHome home) {
    return home == FieldHome::appInfoLocalization || home == FieldHome::appInfo ||
           home == FieldHome::ageRating;
}

constexpr std::string_view removedText =
    "its localization was removed on App Store Connect since the last pull; pull, then push again to "
    "create it with all of its texts";

// The changes of one localization, or of one resource of the page, by their places in the list given.
struct Job {
    std::string locale;
    FieldHome home = FieldHome::versionLocalization;
    std::vector<std::size_t> changes;
};

// What exists; no app info: the app has none.
struct Resolution {
    RemoteLocalizations versionLocalizations;
    std::optional<std::string> appInfoID;
    RemoteLocalizations appInfoLocalizations;
    std::map<FieldHome, RemoteLocalization> page; // a resource that does not exist is missing
    std::set<FieldHome> forbidden;                // of the page; the key may not see them

    // What the field holds, also when its resource is missing; nothing for an app without app info.
    [[nodiscard]] std::optional<std::string> textOf(const Job& job, FieldType field) const {
        if ((isOfAppInfo(job.home) && !appInfoID) || forbidden.contains(job.home)) return std::nullopt;
        const RemoteLocalization* resource = find(job);
        return resource ? resource->texts[field].value_or("") : "";
    }

    [[nodiscard]] const RemoteLocalization* find(const Job& job) const {
        if (job.locale == pageLocale) {
            const auto found = page.find(job.home);
            return found == page.end() ? nullptr : &found->second;
        }
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

std::set<FieldHome> homesOf(const std::vector<Job>& jobs) {
    std::set<FieldHome> homes;
    for (const Job& job : jobs)
        homes.insert(job.home);
    return homes;
}

// All that a push of the whole tree looks at: every localization, and what the tree has files for.
std::set<FieldHome> homesOf(const MetadataStore& store) {
    std::set<FieldHome> homes = {FieldHome::versionLocalization, FieldHome::appInfoLocalization};
    for (const FieldType field : pageFields)
        if (store.exists(std::string(pageLocale), field)) homes.insert(homeOf(field));
    return homes;
}

using Requests = std::vector<std::function<void()>>;

void runAll(const Requests& requests) {
    parallelForEach(requests, requests.size(), [](const std::function<void()>& request) { request(); });
}

// Fetches what the jobs need, as much as possible at once.
class Resolver {
  public:
    Resolver(const ASCClientProtocol& client, std::string_view appID, const PlatformContext& context,
             std::set<FieldHome> homes)
        : client_(client), appID_(appID), context_(context), homes_(std::move(homes)) {}

    [[nodiscard]] Resolution resolve() {
        Requests requests;
        if (homes_.contains(FieldHome::versionLocalization))
            requests.emplace_back([&] {
                found_.versionLocalizations =
                    listLocalizations(client_, FieldHome::versionLocalization, context_.versionId);
            });
        if (homes_.contains(FieldHome::version))
            requests.emplace_back([&] {
                add(FieldHome::version, context_.versionId,
                    versionTexts(client_.getAppStoreVersion(context_.versionId).attributes));
            });
        if (homes_.contains(FieldHome::reviewDetail))
            requests.emplace_back([&] {
                const auto detail = ifAllowed([&] { return client_.getReviewDetail(context_.versionId); });
                if (!detail)
                    forbid(FieldHome::reviewDetail);
                else if (*detail)
                    add(FieldHome::reviewDetail, (*detail)->id, reviewTexts(*detail));
            });
        if (std::ranges::any_of(homes_, isOfAppInfo)) requests.emplace_back([&] { resolveAppInfo(); });
        runAll(requests);
        return std::move(found_);
    }

  private:
    void add(FieldHome home, const std::string& id, FieldTexts texts) {
        const std::lock_guard lock(mutex_);
        found_.page[home] = {id, std::move(texts)};
    }

    void forbid(FieldHome home) {
        const std::lock_guard lock(mutex_);
        found_.forbidden.insert(home);
    }

    void resolveAppInfo() {
        const auto info = chooseAppInfo(client_.listAppInfoSummaries(appID_), context_.stateClass);
        if (!info) return;
        const std::string& id = info->appInfo.id;
        found_.appInfoID = id;
        add(FieldHome::appInfo, id, categoryTexts(info->categories));
        Requests requests;
        if (homes_.contains(FieldHome::appInfoLocalization))
            requests.emplace_back([&] {
                found_.appInfoLocalizations = listLocalizations(client_, FieldHome::appInfoLocalization, id);
            });
        if (homes_.contains(FieldHome::ageRating))
            requests.emplace_back([&] {
                const auto declaration = ifAllowed([&] { return client_.getAgeRatingDeclaration(id); });
                if (!declaration)
                    forbid(FieldHome::ageRating);
                else if (*declaration)
                    add(FieldHome::ageRating, (*declaration)->id, ageRatingTexts(*declaration));
            });
        runAll(requests);
    }

    const ASCClientProtocol& client_;
    std::string_view appID_;
    const PlatformContext& context_;
    std::set<FieldHome> homes_;
    Resolution found_;
    std::mutex mutex_; // over the page of found_
};

enum class RemoteState { asPulled, sameText, conflict };

// The answers of the age rating that the change makes and that the service does not hold already.
JSONValue answersToSend(const PendingChange& change, std::string_view onService) {
    JSONValue answers = ageRatingChanges(change.remote, change.local);
    const JSONValue held = ageRatingChanges({}, onService);
    JSONValue::Object& members = *answers.members();
    std::erase_if(members, [&](const auto& member) {
        const JSONValue* now = held.find(member.first);
        return now ? *now == member.second : member.second.isNull();
    });
    return answers;
}

RemoteState ageRatingState(const PendingChange& change, std::string_view onService) {
    const JSONValue answers = answersToSend(change, onService);
    const JSONValue held = ageRatingChanges({}, onService);
    const JSONValue pulled = ageRatingChanges({}, change.remote);
    if (answers.members()->empty()) return RemoteState::sameText;
    const auto isAsPulled = [&](const auto& member) {
        const JSONValue* now = held.find(member.first);
        const JSONValue* before = pulled.find(member.first);
        return now && before ? *now == *before : now == before;
    };
    return std::ranges::all_of(*answers.members(), isAsPulled) ? RemoteState::asPulled
                                                               : RemoteState::conflict;
}

ReadTexts textsOf(const Resolution& resolution) {
    ReadTexts all{.texts = textsOf(resolution.versionLocalizations), .page = {}, .unreadable = {}};
    for (const auto& [locale, localization] : resolution.appInfoLocalizations)
        all.texts[locale].take(localization.texts);
    for (const auto& [home, resource] : resolution.page)
        all.page.take(resource.texts);
    return all;
}

RemoteState remoteStateOf(const PendingChange& change, const FieldTexts& onService) {
    const std::string text = onService[change.field].value_or("");
    if (kindOf(change.field) == FieldKind::json) return ageRatingState(change, text);
    if (text == change.textToSend() || (isBlank(text) && isBlank(change.local))) return RemoteState::sameText;
    const bool isKnown =
        saysTheSame(canonicalValue(change.field, text), canonicalValue(change.field, change.remote)) ||
        saysTheSame(canonicalValue(change.field, text), change.local);
    return isKnown ? RemoteState::asPulled : RemoteState::conflict;
}

// Sends one job and tells the outcome of each of its changes.
class JobRunner {
  public:
    // Whether the texts of secrets are sent, or what stands for them.
    enum class Secrets { send, mask };

    JobRunner(const ASCClientProtocol& client, const MetadataStore& store, const PlatformContext& context,
              const Resolution& resolution, const std::vector<PendingChange>& changes,
              const std::string& appName, Secrets secrets, MetadataPusher::Base base,
              PushRecording::Record begin = {})
        : client_(client),
          store_(store),
          context_(context),
          resolution_(resolution),
          changes_(changes),
          appName_(appName),
          secrets_(secrets),
          base_(base),
          begin_(std::move(begin)),
          hasCopies_(!store.localesOnDisk(TextSide::pulled).empty()) {
        // Read once: what is sent is what the copy holds then, whatever is saved meanwhile.
        for (const PendingChange& change : changes)
            if (isSecret(change.field)) secret_ = secretIn(TextSide::local, change.field);
    }

    [[nodiscard]] LocalizationWriter::Result run(const Job& job) {
        LocalizationWriter::Result result;
        if (isOfAppInfo(job.home) && !resolution_.appInfoID) return failed(job, noAppInfo);
        if (resolution_.forbidden.contains(job.home))
            return failed(job,
                          job.home == FieldHome::ageRating ? forbiddenAgeRatingText : forbiddenReviewText,
                          ASCError::Kind::credentialsRefused);
        std::vector<LocalizationWriter::Value> values;
        std::vector<PushOutcome> begun;
        const RemoteLocalization* existing = resolution_.find(job);
        if (!existing && job.home == FieldHome::ageRating) return failed(job, noAgeRatingText);
        std::vector<FieldType> conflicts;
        for (const std::size_t index : job.changes) {
            const PendingChange& change = changes_[index];
            const RemoteState state = stateOf(job, change, existing);
            if (state == RemoteState::conflict) conflicts.push_back(change.field);
            if (state != RemoteState::asPulled) continue;
            values.emplace_back(change.field, valueToSend(change, existing));
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

    // What the pulled copy of a change is now that App Store Connect took it.
    [[nodiscard]] std::string copyAfter(const PendingChange& change) const {
        return isSecret(change.field) ? secret_ : std::string(change.textToSend());
    }

  private:
    [[nodiscard]] LocalizationWriter::Result failed(const Job& job, std::string_view text,
                                                    std::optional<ASCError::Kind> kind = {}) const {
        LocalizationWriter::Result result;
        for (const std::size_t index : job.changes)
            result.failures[changes_[index].field] = {std::string(text), kind};
        return result;
    }

    [[nodiscard]] std::string secretIn(TextSide side, FieldType field) const {
        return canonicalValue(field, store_.read(pageLocale, field, side).value_or(""));
    }

    // A change of a secret with its texts, for here alone.
    [[nodiscard]] PendingChange revealed(PendingChange change, const FieldTexts& onService) const {
        if (!isSecret(change.field)) return change;
        change.remote = base_ == MetadataPusher::Base::remoteTexts ? onService[change.field].value_or("")
                                                                   : secretIn(TextSide::pulled, change.field);
        change.local = secret_;
        return change;
    }

    [[nodiscard]] RemoteState stateOf(const Job& job, const PendingChange& change,
                                      const RemoteLocalization* existing) const {
        if (existing) return remoteStateOf(revealed(change, existing->texts), existing->texts);
        return wouldLoseTexts(job) ? RemoteState::conflict : RemoteState::asPulled;
    }

    [[nodiscard]] std::string valueToSend(const PendingChange& change,
                                          const RemoteLocalization* existing) const {
        if (kindOf(change.field) == FieldKind::json && existing)
            return encodeJSON(answersToSend(change, existing->texts[change.field].value_or("")));
        if (isSecret(change.field) && secrets_ == Secrets::send && !change.clears()) return secret_;
        return std::string(change.textToSend());
    }

    // Whether the localization had other texts at the last pull: made anew with the changes alone it would
    // lack them.
    [[nodiscard]] bool wouldLoseTexts(const Job& job) const {
        if (job.locale == pageLocale) return false;
        return std::ranges::any_of(localeFields, [&](FieldType field) {
            const bool isSent = std::ranges::any_of(
                job.changes, [&](std::size_t index) { return changes_[index].field == field; });
            return homeOf(field) == job.home && !isSent &&
                   !isBlank(store_.read(job.locale, field, TextSide::pulled).value_or(""));
        });
    }
    // See `PushOutcome::previous`. Without any copy, every text looks new that App Store Connect has.
    [[nodiscard]] std::optional<std::string> textBefore(const Job& job, const PendingChange& change) const {
        if (isSecret(change.field)) return std::nullopt;
        const RemoteLocalization* existing = resolution_.find(job);
        if (existing && hasCopies_ &&
            remoteStateOf(revealed(change, existing->texts), existing->texts) == RemoteState::sameText)
            return std::nullopt;
        return resolution_.textOf(job, change.field);
    }

    [[nodiscard]] LocalizationWriter::Target targetOf(const Job& job) const {
        const bool ofVersion = !isOfAppInfo(job.home);
        LocalizationWriter::Target target{
            job.home, ofVersion ? context_.versionId : *resolution_.appInfoID, job.locale, {}, {}};
        if (const RemoteLocalization* existing = resolution_.find(job))
            target.id = existing->id;
        else if (job.home == FieldHome::appInfoLocalization)
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
    Secrets secrets_;
    MetadataPusher::Base base_; // of the changes
    std::string secret_;        // the local text of the changed one
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
        Resolver(client_, appID, context, record.resolved ? homesOf(store_) : homesOf(jobs)).resolve();
    if (record.resolved) record.resolved(textsOf(resolution));
    JobRunner runner(client_, store_, context, resolution, changes, appName_, JobRunner::Secrets::send,
                     Base::pulledCopies, record.begin);
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
                    refreshCopy(store_, job.locale, outcome.change.field, runner.copyAfter(outcome.change));
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
    const Resolution resolution = Resolver(client_, appID, context, homesOf(jobs)).resolve();
    RecordingClient recorder;
    JobRunner runner(recorder, store_, context, resolution, changes, appName_, JobRunner::Secrets::mask,
                     base);
    PlannedPush planned;
    for (const Job& job : jobs)
        for (PushOutcome& outcome : runner.outcomesOf(job, runner.run(job)))
            if (!outcome.success) planned.failures.push_back(std::move(outcome));
    planned.requests = std::move(recorder.requests);
    return planned;
}

ReadTexts MetadataPusher::remoteTexts(std::string_view appID, const PlatformContext& context) const {
    requireOpen(context);
    return textsOf(Resolver(client_, appID, context, homesOf(store_)).resolve());
}

} // namespace quorvel
