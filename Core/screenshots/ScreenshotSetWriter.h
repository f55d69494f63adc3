// Carries out the edit of one set of screenshots or previews.
#pragma once

#include "Core/screenshots/AssetOperations.h"
#include "Core/screenshots/ScreenshotPusher.h"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <semaphore>
#include <set>
#include <string>
#include <vector>

namespace quorvel {

class SetReservations;

/// Counts the steps of a whole push and tells the observer. Thread-safe.
class PushSteps {
  public:
    PushSteps(const ScreenshotPusher::Observer& observer, std::int64_t total)
        : observer_(observer), total_(total) {}
    /// Says what goes on, after `steps` more were completed.
    void tell(std::string stage, std::int64_t steps = 0);
    void tell(const ScreenshotTransfer& transfer) const;

  private:
    const ScreenshotPusher::Observer& observer_;
    std::int64_t total_;
    std::atomic<std::int64_t> completed_ = 0;
};

/// An upload that App Store Connect has not finished with.
struct PendingAsset {
    std::string setID;
    std::string id;
    ScreenshotPushItem item;
    bool isCounted = true; // among the uploads of this push
};

struct SetOutcome {
    ScreenshotPushSummary summary;
    std::vector<PendingAsset> pending;
};

/// What all sets of a push share.
struct SetWriterParts {
    const AssetOperations& operations;
    HTTPClient& uploads;
    const ScreenshotPushOptions& options;
    PushSteps& steps;
    std::counting_semaphore<>& places; // of the uploads at once
    std::size_t filesAtOnce = 1;       // of one set
    const Logger& logger;
};

class ScreenshotSetWriter {
  public:
    ScreenshotSetWriter(const SetWriterParts& parts, const ScreenshotSetEdit& edit);
    ~ScreenshotSetWriter();

    /// `setID` is of the set when there is one. What fails is in the outcome; throws only
    /// `CancellationError`.
    [[nodiscard]] SetOutcome write(const std::string& localizationID, std::optional<std::string> setID);

    /// The steps that an edit counts as.
    [[nodiscard]] static std::int64_t stepsOf(const ScreenshotSetEdit& edit);

  private:
    struct Sent;

    void findOrCreateSet(const std::string& localizationID, std::optional<std::string> setID);
    [[nodiscard]] StoreAssets list() const;
    std::size_t removeLeftovers(const StoreAssets& listed);
    void clearAway();
    void deleteUnwanted();
    void choosePosterFrames();
    void remove(const std::string& id);

    void uploadAll();
    enum class Pass { first, second };
    [[nodiscard]] Sent upload(const ScreenshotPushItem& item, Pass pass);
    [[nodiscard]] std::string sendFile(const ScreenshotPushItem& item, const ScreenshotFile& file,
                                       const std::string& checksum);
    [[nodiscard]] StoreAsset reserve(const ScreenshotPushItem& item, std::uint64_t size);
    void commit(const std::string& id, const std::string& checksum);
    [[nodiscard]] std::optional<std::string> alreadyThere(const ScreenshotPushItem& item, std::uint64_t size,
                                                          const std::string& checksum);

    void arrange();
    [[nodiscard]] std::vector<std::string> wantedOrder() const;
    [[nodiscard]] StoreAssets listWhole(const std::vector<std::string>& wanted);
    [[nodiscard]] bool reorder(const std::vector<std::string>& order);
    void compare(const StoreAssets& listed, const std::vector<std::string>& order, std::size_t wantedCount);
    void notePending(const StoreAssets& listed);

    const SetWriterParts& parts_;
    const ScreenshotSetEdit& edit_;
    std::string name_; // "en-US APP_IPHONE_67"
    std::string setID_;
    StoreAssets before_;                                // what the set held at the beginning
    std::map<std::filesystem::path, std::string> sent_; // local files → what they became
    std::set<std::string> foundThere_;                  // those of them that were there already
    std::unique_ptr<SetReservations> reservations_;
    SetOutcome outcome_;
};

} // namespace quorvel
