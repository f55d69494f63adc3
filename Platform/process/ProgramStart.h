// What every program of ours does first.
#pragma once

namespace quorvel {

/// Keeps memory with keys out of core dumps, lets no standard stream that the caller closed become a file or
/// socket that is opened later, and lets a reader that goes away show up where it is written to.
void prepareProcess();

} // namespace quorvel
