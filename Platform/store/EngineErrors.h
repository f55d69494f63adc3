// What the database engine's results mean; for the sources of this folder.
#pragma once

#include "Platform/store/StoreError.h"

#include <filesystem>

struct sqlite3;

namespace quorvel {

/// The error of an operation on `file` that ended with the engine's extended `result`; `connection` may be
/// null.
[[nodiscard]] StoreError storeError(const std::filesystem::path& file, int result, sqlite3* connection);

} // namespace quorvel
