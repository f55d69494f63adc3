// What is kept of an app's reviews beside their records: the developer's responses, and how far was read.
#pragma once

#include "Core/asc/records/Reviews.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace quorvel {

struct ReviewNotes {
    std::optional<Date> refreshedAt; // when the newest reviews were read last
    std::optional<Date> unreadBelow; // reviews older than this were not all read: a refresh was cut off
    std::map<std::string, CustomerReviewResponseAttributes> responses; // by review id
    QUORVEL_RECORD(ReviewNotes, refreshedAt, unreadBelow, responses)
    bool operator==(const ReviewNotes&) const = default;
};

/// A JSON file that only its owner can read. Thread-safe, also between processes.
class ReviewNotesFile {
  public:
    explicit ReviewNotesFile(std::filesystem::path file) : file_(std::move(file)) {}

    /// Empty notes where there is no file, or one that cannot be understood. Throws `FileError`.
    [[nodiscard]] ReviewNotes load() const;
    /// Changes what is kept; one caller at a time. Throws `FileError`.
    void update(const std::function<void(ReviewNotes&)>& change) const;

  private:
    std::filesystem::path file_;
};

} // namespace quorvel
