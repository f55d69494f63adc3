// One attempt to open the store, or to make it; for the sources of this folder.
#pragma once

#include "Core/records/StoreFiles.h"
#include "Platform/files/FileLock.h"
#include "Platform/store/Database.h"

namespace quorvel {

/// Acquires the lock that processes hold while they open, make or replace a store. Throws `StoreError`, of
/// the kind `busy` when it was not free within `timeout`.
[[nodiscard]] FileLock lockStore(const StoreFiles& files, std::chrono::milliseconds timeout);

/// An empty store under another name, so that the main file is always whole. Removed unless it is placed.
class NewStore {
  public:
    /// Throws `StoreError`.
    NewStore(const StoreFiles& files, std::chrono::milliseconds busyTimeout);
    ~NewStore();
    NewStore(const NewStore&) = delete;
    NewStore& operator=(const NewStore&) = delete;

    /// Makes it the main file. Throws `StoreError`.
    void place() const;

  private:
    std::filesystem::path main_;
    std::filesystem::path made_;
};

/// Opens the store, makes it when it is missing, migrates its schema and checks it: a small store whole, a
/// large one whole only after `demandCheck`. Throws `StoreError`.
[[nodiscard]] Database openStore(const StoreFiles& files, std::chrono::milliseconds busyTimeout);

/// Makes the next opening check the whole store.
void demandCheck(const StoreFiles& files);

} // namespace quorvel
