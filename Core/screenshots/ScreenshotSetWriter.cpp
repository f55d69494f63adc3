#include "Core/screenshots/ScreenshotSetWriter.h"

#include "Core/asc/services/CreateOrAdopt.h"
#include "Core/screenshots/PartSender.h"
#include "Core/screenshots/Retry.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotLists.h"
#include "Core/screenshots/SetReservations.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

namespace quorvel {

namespace {

constexpr double clearingPatience = 10; // seconds that an interrupted user waits at most

} // namespace

void PushSteps::tell(std::string stage, std::int64_t steps) {
    const std::int64_t completed = completed_ += steps;
    if (observer_.progress) observer_.progress({std::move(stage), completed, total_});
}

void PushSteps::tell(const ScreenshotTransfer& transfer) const {
    if (observer_.transfer) observer_.transfer(transfer);
}

/// What became of one file.
struct ScreenshotSetWriter::Sent {
    enum class How { failed, postponed, foundThere, sent };
    How how = How::failed;
    std::string id;
    std::string failure;
};

ScreenshotSetWriter::ScreenshotSetWriter(const SetWriterParts& parts, const ScreenshotSetEdit& edit)
    : parts_(parts),
      edit_(edit),
      name_(setText(edit.locale, edit.displayType)),
      reservations_(std::make_unique<SetReservations>(edit.localsToUpload)) {}

ScreenshotSetWriter::~ScreenshotSetWriter() = default;

std::int64_t ScreenshotSetWriter::stepsOf(const ScreenshotSetEdit& edit) {
    return static_cast<std::int64_t>(edit.ascIdsToDelete.size() + edit.localsToUpload.size() +
                                     edit.posterFrames.size()) +
           1;
}

SetOutcome ScreenshotSetWriter::write(const std::string& localizationID, std::optional<std::string> setID) {
    try {
        findOrCreateSet(localizationID, std::move(setID));
        removeLeftovers(before_);
        deleteUnwanted();
        choosePosterFrames();
        try {
            uploadAll();
        } catch (const CancellationError&) {
            clearAway();
            throw;
        }
        arrange();
    } catch (const ASCError& error) {
        outcome_.summary.failures.push_back(fmt::format("{}: {}", name_, error.description()));
    }
    return std::move(outcome_);
}

void ScreenshotSetWriter::findOrCreateSet(const std::string& localizationID,
                                          std::optional<std::string> setID) {
    if (!setID) {
        const auto find = [&]() -> std::optional<std::string> {
            for (const StoreAssetSet& set : parts_.operations.listSets(localizationID))
                if (set.displayType == edit_.displayType) return set.id;
            return std::nullopt;
        };
        const auto create = [&] { return parts_.operations.createSet(localizationID, edit_.displayType); };
        setID_ = retry(parts_.options,
                       [&] { return createOrAdopt(create, find, [](const std::string& id) { return id; }); });
        ++outcome_.summary.setsCreated;
    } else {
        setID_ = std::move(*setID);
    }
    before_ = list();
}

StoreAssets ScreenshotSetWriter::list() const {
    StoreAssets listed = retry(parts_.options, [&] { return parts_.operations.list(setID_); });
    // A list may still show what was deleted a moment ago.
    std::erase_if(listed, [&](const StoreAsset& asset) { return reservations_->wasRemoved(asset.id); });
    return listed;
}

std::size_t ScreenshotSetWriter::removeLeftovers(const StoreAssets& listed) {
    std::size_t removed = 0;
    for (const StoreAsset& asset : listed) {
        if (asset.state() != assetAwaitsUpload || !reservations_->isLeftover(asset)) continue;
        try {
            remove(asset.id);
            ++removed;
        } catch (const ASCError& error) {
            parts_.logger.warning(
                fmt::format("{}: a reservation that was never used could not be removed: {}", name_,
                            error.description()));
        }
    }
    return removed;
}

// After a cancellation: a reservation shows as an empty screenshot. What is not cleared away in time is
// removed by the next push.
void ScreenshotSetWriter::clearAway() {
    const TaskScope evenWhenCancelled{std::stop_token()};
    const std::vector<std::function<void()>> either = {
        [&] { removeLeftovers(parts_.operations.list(setID_)); }, [&] { sleepFor(clearingPatience); }};
    try {
        parallelForEach(either, either.size(), [](const std::function<void()>& work) {
            work();
            throw CancellationError(); // the first to end stops the other
        });
    } catch (const CancellationError&) {
    } catch (const ASCError&) {
    }
}

void ScreenshotSetWriter::remove(const std::string& id) {
    try {
        parts_.operations.remove(id);
    } catch (const ASCError& error) {
        if (error.httpStatus() != 404) throw; // gone, perhaps by an attempt whose answer was lost
    }
    reservations_->noteRemoved(id);
}

void ScreenshotSetWriter::deleteUnwanted() {
    const auto stage = [&] {
        return fmt::format("{} · {} · removing existing", edit_.locale, edit_.displayType);
    };
    const auto present = idsOf(before_);
    for (const std::string& id : edit_.ascIdsToDelete) {
        try {
            if (isIn(present, id) && !reservations_->wasRemoved(id)) {
                retry(parts_.options, [&] { remove(id); });
                ++outcome_.summary.deleted;
            }
        } catch (const ASCError& error) {
            outcome_.summary.failures.push_back(fmt::format("{}: a {} was not removed: {}", name_,
                                                            traitsOf(parts_.operations.kind()).one,
                                                            error.description()));
        }
        parts_.steps.tell(stage(), 1);
    }
}

void ScreenshotSetWriter::choosePosterFrames() {
    for (const auto& [id, fileName, timeCode] : edit_.posterFrames) {
        try {
            retry(parts_.options, [&] { parts_.operations.choosePosterFrame(id, timeCode); });
            ++outcome_.summary.posterFrames;
        } catch (const ASCError& error) {
            outcome_.summary.failures.push_back(fmt::format("{} {}: the poster frame was not changed: {}",
                                                            name_, shownPath(fileName), error.description()));
        }
        parts_.steps.tell(fmt::format("{} · {} · poster frame", edit_.locale, edit_.displayType), 1);
    }
}

void ScreenshotSetWriter::uploadAll() {
    auto results = parallelMap(edit_.localsToUpload, parts_.filesAtOnce,
                               [&](const ScreenshotPushItem& item) { return upload(item, Pass::first); });
    // With no reservation under way it is certain which of them are leftovers.
    if (std::ranges::find(results, Sent::How::postponed, &Sent::how) != results.end())
        removeLeftovers(list());
    for (std::size_t at = 0; at < results.size(); ++at)
        if (results[at].how == Sent::How::postponed)
            results[at] = upload(edit_.localsToUpload[at], Pass::second);
    for (std::size_t at = 0; at < results.size(); ++at) {
        const ScreenshotPushItem& item = edit_.localsToUpload[at];
        if (results[at].how == Sent::How::failed) {
            outcome_.summary.failures.push_back(fmt::format("{}: {}", item.text(), results[at].failure));
            continue;
        }
        if (results[at].how == Sent::How::sent)
            ++outcome_.summary.uploaded;
        else
            foundThere_.insert(results[at].id);
        outcome_.summary.successfullyUploadedLocalURLs.push_back(item.fileURL);
        sent_[item.fileURL] = results[at].id;
    }
}

ScreenshotSetWriter::Sent ScreenshotSetWriter::upload(const ScreenshotPushItem& item, Pass pass) {
    const auto tell = [&](ScreenshotTransfer::Stage stage, std::uint64_t size) {
        parts_.steps.tell(ScreenshotTransfer{item.fileURL, size, size, stage});
        parts_.steps.tell(
            fmt::format("{} · {} · {}", edit_.locale, edit_.displayType, shownPath(item.fileURL.filename())),
            1);
    };
    Sent sent;
    try {
        const ScreenshotFile file(item.sentFile());
        const std::string checksum = fileChecksum(item.sentFile());
        if (auto id = alreadyThere(item, file.size(), checksum))
            sent = {Sent::How::foundThere, std::move(*id), {}};
        else
            sent = {Sent::How::sent, sendFile(item, file, checksum), {}};
        tell(ScreenshotTransfer::Stage::finished, file.size());
        return sent;
    } catch (const ScreenshotFileError& error) {
        sent.failure = error.what();
    } catch (const ASCError& error) {
        // Other files' reservations whose answers were lost may fill the set.
        if (error.httpStatus() == 409 && pass == Pass::first) return {Sent::How::postponed, {}, {}};
        sent.failure = error.description();
    }
    tell(ScreenshotTransfer::Stage::failed, 0);
    return sent;
}

std::string ScreenshotSetWriter::sendFile(const ScreenshotPushItem& item, const ScreenshotFile& file,
                                          const std::string& checksum) {
    parts_.places.acquire();
    const std::shared_ptr<void> place(nullptr, [&](void*) { parts_.places.release(); });
    checkCancellation();
    const auto reserved = reserve(item, file.size());
    try {
        const auto& operations = reserved.uploadOperations;
        if (operations.empty())
            throw ScreenshotFileError("ASC didn't return upload operations for " +
                                      shownPath(item.fileURL.filename()));
        PartSender(parts_.uploads, parts_.options).send(file, operations, [&](std::uint64_t sent) {
            parts_.steps.tell(ScreenshotTransfer{item.fileURL, sent, file.size()});
        });
        file.requireUnchanged();
        commit(reserved.id, checksum);
    } catch (...) {
        try {
            remove(reserved.id);
        } catch (const std::exception&) { // the end of the set's edit, or the next push, removes it
        }
        reservations_->giveUp(reserved.id);
        throw;
    }
    return reserved.id;
}

StoreAsset ScreenshotSetWriter::reserve(const ScreenshotPushItem& item, std::uint64_t size) {
    for (int attempt = 1;; ++attempt) {
        try {
            const SetReservations::Attempt underWay(*reservations_, item.fileName(), size);
            auto reserved = parts_.operations.reserve(setID_, item, size);
            reservations_->noteOwn(reserved.id);
            return reserved;
        } catch (const ASCError& error) {
            const bool isRefusal = !mayHaveBeenDone(error);
            if (attempt >= parts_.options.attempts || (isRefusal && error.httpStatus() != 409)) throw;
            // Reservations whose answers were lost take places in the set.
            if (removeLeftovers(list()) == 0 && isRefusal) throw;
        }
        parts_.options.sleepFor(parts_.options.backoff(attempt));
    }
}

void ScreenshotSetWriter::commit(const std::string& id, const std::string& checksum) {
    for (int attempt = 1;; ++attempt) {
        try {
            parts_.operations.commit(id, checksum);
            return;
        } catch (const ASCError& error) {
            const bool isRefusal = !mayHaveBeenDone(error);
            if (isRefusal && error.httpStatus() != 409) throw;
            // A commit whose answer was lost was carried out all the same, and is refused the second time.
            for (const StoreAsset& asset : list())
                if (asset.id == id && !asset.state().empty() && asset.state() != assetAwaitsUpload) return;
            if (isRefusal || attempt >= parts_.options.attempts) throw;
        }
        parts_.options.sleepFor(parts_.options.backoff(attempt));
    }
}

// Of a push that was cut off after the catalogue was read, or by another hand.
std::optional<std::string> ScreenshotSetWriter::alreadyThere(const ScreenshotPushItem& item,
                                                             std::uint64_t size,
                                                             const std::string& checksum) {
    const LocalScreenshot local{item, size, checksum};
    for (const StoreAsset& asset : before_) {
        const bool isToBeDeleted = isIn(edit_.ascIdsToDelete, asset.id) ||
                                   std::ranges::find(edit_.finalOrder, ScreenshotOrderToken::asc(asset.id)) !=
                                       edit_.finalOrder.end();
        if (!isToBeDeleted && isSameScreenshot(catalogEntryOf(asset, 0), local) &&
            reservations_->claim(asset.id))
            return asset.id;
    }
    return std::nullopt;
}

} // namespace quorvel
