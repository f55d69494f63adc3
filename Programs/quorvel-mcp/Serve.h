// Serves one client over two descriptors until its messages end.
#pragma once

#include "Platform/task/StopToken.h"
#include "Quorvel/protocol/Connection.h"

namespace quorvel {

/// Reads messages from `input` and writes to `output` until the input ends, the output is closed by its
/// reader, or `stop` is requested. What was read is handed on first, what runs is cancelled then; returns
/// when all of it has ended.
void serve(RequestHandler& handler, int input, int output, const std::stop_token& stop);

} // namespace quorvel
