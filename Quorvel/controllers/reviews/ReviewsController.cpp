#include "Quorvel/controllers/reviews/ReviewsController.h"

#include "Core/asc/services/CustomerReviewService.h"
#include "Platform/files/FileLock.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Counted.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

using Phase = ReviewsState::RefreshState::Phase;
constexpr std::string_view unansweredKey = "Reviews.unanswered.v1";

std::filesystem::path notesFile(const std::filesystem::path& folder, const ManagedApp& app) {
    // Without an App Store id there is nothing to read reviews of.
    return folder / ((isSafeName(app.appStoreId) ? app.appStoreId : "unknown") + ".json");
}

std::string countText(std::int64_t count) {
    return counted(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)), "review");
}

} // namespace

ReviewsController::ReviewsController(Parts parts)
    : parts_(std::move(parts)),
      folder_(parts_.home.applicationSupport() / "Brevant" / "Reviews"),
      context_{ReviewRecords(parts_.container), ReviewNotesFile(notesFile(folder_, parts_.app))},
      drafts_(folder_ / "Replies") {}

ReviewsService ReviewsController::service(const Model& model) const {
    return ReviewsService({.asc = parts_.client ? parts_.client() : nullptr,
                           .claude = model.client,
                           .model = model.name,
                           .clock = parts_.clock});
}

ReviewsService::RefreshOutcome
ReviewsController::run(std::string message, const std::function<ReviewsService::RefreshOutcome()>& work,
                       const std::function<std::string(const ReviewsService::RefreshOutcome&)>& end) {
    state_.update([&](ReviewsState& state) {
        state.refreshState = {Phase::running, std::move(message)};
        state.lastError.reset();
    });
    try {
        auto outcome = work();
        state_.update([&](ReviewsState& state) {
            state.refreshState = {Phase::finished, end(outcome)};
            if (!outcome.errors.empty()) state.lastError = outcome.errors.front();
        });
        return outcome;
    } catch (const std::exception& error) {
        state_.update([&](ReviewsState& state) {
            state.refreshState = {};
            state.lastError = error.what();
        });
        throw;
    }
}

ReviewsService::RefreshOutcome ReviewsController::fetch(ReviewsService::Reach reach,
                                                        const ReviewsService::Progress& progress) {
    const auto work = [&] {
        auto outcome = service({}).fetch(parts_.app, context_, reach, progress);
        settleReplies(outcome);
        countUnanswered();
        return outcome;
    };
    return run("Reading reviews…", work, [](const auto& outcome) {
        return fmt::format("{}, {} new", countText(outcome.fetched), outcome.newRecords);
    });
}

ReviewsController::Classification ReviewsController::plannedClassification(const std::string& model) const {
    const auto waiting = ReviewsService::unclassifiedAmong(context_.records.all(parts_.app.id));
    return {std::ssize(waiting), ReviewsService({.asc = nullptr, .model = model}).estimatedCostUSD(waiting)};
}

ReviewsService::RefreshOutcome ReviewsController::classify(const Model& model,
                                                           const ReviewsService::Progress& progress) {
    const auto work = [&] {
        ReviewsService::RefreshOutcome outcome;
        ReviewsService({.asc = nullptr, .claude = model.client, .model = model.name, .clock = parts_.clock})
            .classifyAll(parts_.app, context_, outcome, progress);
        return outcome;
    };
    return run("Classifying reviews…", work,
               [](const auto& outcome) { return countText(outcome.classified) + " classified"; });
}

std::vector<SeenReview> ReviewsController::reviews() const {
    const ReviewNotes notes = context_.notes.load();
    const auto ids = drafts_.reviewIDs();
    const std::set<std::string> typed(ids.begin(), ids.end());
    std::vector<SeenReview> seen;
    for (CachedReview& review : context_.records.all(parts_.app.id)) {
        SeenReview each;
        if (const auto found = notes.responses.find(review.id); found != notes.responses.end())
            each.response = found->second;
        each.hasDraft = typed.contains(review.id);
        each.review = std::move(review);
        seen.push_back(std::move(each));
    }
    return seen;
}

std::vector<std::string> ReviewsController::strandedReplies() const {
    std::vector<std::string> files;
    for (const std::string& id : drafts_.reviewIDs())
        if (!context_.records.find(id)) files.push_back(drafts_.textFile(id).string());
    return files;
}

std::shared_ptr<ReplySheet> ReviewsController::openReply(const SeenReview& seen) {
    auto sheet = std::make_shared<ReplySheet>(ReplySheet::Parts{
        .app = parts_.app,
        .seen = seen,
        .drafts = drafts_,
        .client = parts_.client,
        .record = [parts = parts_, id = seen.review.id](
                      const std::string& text) { ReviewsController(parts).recordReply(id, text); },
        .onSent = {},
        .clock = parts_.clock});
    state_.update([&](ReviewsState& state) { state.replyingTo = seen.review.id; });
    return sheet;
}

void ReviewsController::closeReply() {
    state_.update([](ReviewsState& state) { state.replyingTo.reset(); });
}

// A reply that was on its way when the program ended, and arrived.
void ReviewsController::settleReplies(const ReviewsService::RefreshOutcome& outcome) const {
    for (const std::string& id : drafts_.reviewIDs()) {
        const auto response = outcome.responses.find(id);
        if (response == outcome.responses.end()) continue;
        const auto draft = drafts_.load(id);
        if (!draft || !draft->sending ||
            !isSameReply(draft->sending->text, response->second.responseBody.value_or("")))
            continue;
        recordReply(id, draft->sending->text);
        // What was typed since is not sent yet.
        if (isSameReply(draft->replyText, draft->sending->text)) drafts_.remove(id);
    }
}

void ReviewsController::recordReply(const std::string& reviewID, const std::string& text) const {
    createFolders(folder_, FolderMode::secret);
    {
        const FileLock lock(lockFile());
        ReviewReplyLog(parts_.defaults, parts_.clock).record(reviewID, text);
    }
    context_.notes.update([&](ReviewNotes& notes) {
        auto& response = notes.responses[reviewID];
        if (isSameReply(response.responseBody.value_or(""), text)) return;
        response = {text, formatISO8601(parts_.clock()), "PENDING_PUBLISH"};
    });
    countUnanswered();
}

std::map<std::string, UnansweredReviews> ReviewsController::unanswered(const UserDefaults& defaults) {
    const auto kept = defaults.string(unansweredKey);
    if (!kept) return {};
    try {
        return decodeJSON<std::map<std::string, UnansweredReviews>>(*kept);
    } catch (const JSONError&) {
        return {};
    }
}

// For the home, which reads neither the reviews nor their responses.
void ReviewsController::countUnanswered() const {
    const ReviewFilter news{.stars = {},
                            .territories = {},
                            .sentiments = {},
                            .theme = {},
                            .since = parts_.clock() - std::chrono::days(UnansweredReviews::days),
                            .unanswered = true};
    const auto count =
        std::ranges::count_if(reviews(), [&](const SeenReview& seen) { return news.matches(seen); });
    try {
        createFolders(folder_, FolderMode::secret);
        const FileLock lock(lockFile());
        auto all = unanswered(*parts_.defaults);
        all[parts_.app.id] = {count, refreshedAt().value_or(parts_.clock())};
        parts_.defaults->set(unansweredKey, encodeJSON(all));
    } catch (const FileError& error) {
        Logger("Reviews").warning(fmt::format("The number of reviews cannot be kept: {}", error.what()));
    }
}

} // namespace quorvel
