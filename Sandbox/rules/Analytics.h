// The analytics reports that the sandbox produces.
#pragma once

#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// Gives a request its reports, each with instances of the last days and their segments.
void produceReports(World& world, const Resource& request);

/// The compressed file of a segment, with its MD5 checksum in hexadecimal.
struct Segment {
    std::string bytes;
    std::string checksum;
};
[[nodiscard]] Segment segmentFile(std::string_view report, std::string_view date);

} // namespace quorvel::sandbox
