// Which reservations of a set are ours and alive, and which are leftovers of ours.
#pragma once

#include "Core/screenshots/AssetOperations.h"
#include "Core/screenshots/ScreenshotPushScanner.h"

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace quorvel {

/// The bookkeeping of one set while its files are sent. Thread-safe.
class SetReservations {
  public:
    explicit SetReservations(const std::vector<ScreenshotPushItem>& items);

    /// A reservation that is being asked for: until its answer is there, one like it may be it.
    class [[nodiscard]] Attempt {
      public:
        Attempt(SetReservations& all, const std::string& fileName, std::uint64_t size);
        ~Attempt();
        Attempt(const Attempt&) = delete;
        Attempt& operator=(const Attempt&) = delete;

      private:
        SetReservations& all_;
        std::pair<std::string, std::int64_t> file_;
    };

    /// A reservation is in use. To be noted before its attempt ends.
    void noteOwn(const std::string& id);
    /// It is no longer.
    void giveUp(const std::string& id);
    /// Whether `asset`, which awaits its upload, is of one of our files, but of no upload under way: the
    /// answer to its reservation was lost, or the push that made it was cut off.
    [[nodiscard]] bool isLeftover(const StoreAsset& asset) const;

    /// Takes an asset for one file; whether no other file had taken it.
    [[nodiscard]] bool claim(const std::string& id);

    void noteRemoved(const std::string& id);
    [[nodiscard]] bool wasRemoved(const std::string& id) const;

  private:
    std::set<std::string> names_; // of our files
    mutable std::mutex mutex_;    // guards all below
    std::multiset<std::pair<std::string, std::int64_t>> underWay_;
    std::set<std::string> own_;
    std::set<std::string> claimed_;
    std::set<std::string> removed_;
};

} // namespace quorvel
