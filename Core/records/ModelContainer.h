// Opens the store of all records, and rebuilds it when it cannot be opened.
#pragma once

#include "Platform/store/StoreError.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel {

class Database;

/// The files of the store in the user's Application Support folder.
inline constexpr std::string_view storeFileNames[] = {"default.store", "default.store-shm",
                                                      "default.store-wal"};

/// What became of a store that could not be opened.
struct RebuiltStore {
    StoreError::Kind kind = StoreError::Kind::damaged;
    std::string reason;
    std::filesystem::path folder;                  // where its files were
    std::vector<std::filesystem::path> movedAside; // where its files are now
    std::vector<std::filesystem::path> removed;    // those that could not be kept
    /// What was lost, what was not, and where the old files are, for the user.
    [[nodiscard]] std::string description() const;
};

/// The one container of a process; shared by pointer, safe to use from several threads. Several processes may
/// have the same store open.
class ModelContainer {
  public:
    /// Opens the store under `folder`, making it when there is none, and brings an older schema up to date.
    /// One that cannot be opened is moved aside and made anew once; where only the disk is full or writing is
    /// not allowed, it is left alone and tried once more. Throws `StoreError`: of the kind `busy` when
    /// another process holds the store, else with the text "Failed to initialize ModelContainer even after
    /// fresh store: " and the reason. The old files are in their place then.
    [[nodiscard]] static std::shared_ptr<ModelContainer>
    open(const std::filesystem::path& folder, const Clock& clock,
         std::chrono::milliseconds busyTimeout = std::chrono::seconds(30));
    ~ModelContainer();
    ModelContainer(const ModelContainer&) = delete;
    ModelContainer& operator=(const ModelContainer&) = delete;

    /// What opening had to do away with; nothing in the usual case.
    [[nodiscard]] const std::optional<RebuiltStore>& rebuilt() const { return rebuilt_; }
    [[nodiscard]] const std::filesystem::path& file() const { return file_; }

    /// Runs `work` alone with the connection; in one transaction for `write`, or as a part of the one that
    /// this thread is in. Only the records use these.
    void read(const std::function<void(Database&)>& work) const;
    void write(const std::function<void(Database&)>& work) const;

  private:
    struct Connection;
    ModelContainer(std::filesystem::path file, std::unique_ptr<Connection> connection,
                   std::optional<RebuiltStore> rebuilt);

    std::filesystem::path file_;
    std::unique_ptr<Connection> connection_;
    std::optional<RebuiltStore> rebuilt_;
};

} // namespace quorvel
