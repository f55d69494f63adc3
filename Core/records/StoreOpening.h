// One attempt to open the store, or to make it; for the sources of this folder.
#pragma once

#include "Core/records/StoreFiles.h"
#include "Platform/files/FileLock.h"
#include "Platform/store/Database.h"

namespace quorvel {

/// The lock that processes take turns at while they open, make or rebuild a store. Throws `StoreError`, of
/// the kind `busy` when it was not free within `timeout`.
[[nodiscard]] FileLock lockStore(const StoreFiles& files, std::chrono::milliseconds timeout);

/// Opens the store, makes it where there is none, brings its schema up to date and checks it. A small store
/// is checked whole each time, a large one once a day. Throws `StoreError`.
[[nodiscard]] Database openStore(const StoreFiles& files, Date now, std::chrono::milliseconds busyTimeout);

/// Makes the next opening check the whole store.
void demandCheck(const StoreFiles& files);

} // namespace quorvel
