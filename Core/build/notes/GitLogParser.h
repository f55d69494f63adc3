// Reads git's formatted log while it arrives.
#pragma once

#include "Core/build/notes/GitRepoReader.h"

#include <functional>
#include <string>
#include <string_view>

namespace quorvel {

/// The format that `GitLogParser` reads: fields end with 0x1F, records with 0x1E.
inline constexpr std::string_view gitLogFormat = "--pretty=format:%H%x1f%h%x1f%aI%x1f%s%x1f%b%x1e";

/// Takes the log line by line. A message may hold the separators itself: what does not begin like a record
/// belongs to the record before.
class GitLogParser {
  public:
    explicit GitLogParser(const std::function<void(GitCommit)>& onCommit) : onCommit_(onCommit) {}
    void addLine(std::string_view line);
    void finish();

  private:
    void addPart(std::string_view part);
    void deliver();

    const std::function<void(GitCommit)>& onCommit_;
    std::string record_; // the record whose end is not known yet
    std::string part_;   // what came since the last record separator
};

} // namespace quorvel
