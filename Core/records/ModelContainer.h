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

/// A store that could not be opened and was replaced.
struct RebuiltStore {
    StoreError::Kind kind = StoreError::Kind::damaged;
    std::string reason;
    std::filesystem::path folder;               // where its files were
    std::vector<std::filesystem::path> backups; // where its files are now
    /// Tells the user what was lost, what was not, and where the old files are.
    [[nodiscard]] std::string description() const;
};

/// The one container of a process; shared by pointer, safe to use from several threads. Several processes may
/// have the same store open.
class ModelContainer {
  public:
    /// Opens the store under `folder`, making it when there is none, and brings an older schema up to date.
    /// One that is damaged, of a newer schema or no store at all is moved to a backup and replaced by a fresh
    /// one. After any other failure, which may pass, it is left alone and tried once more; a warning tells.
    /// Throws `StoreError`: of the kind `busy` when another process holds the store, else with the text
    /// "Failed to initialize ModelContainer even after fresh store: ", the reason and where the old files
    /// are.
    [[nodiscard]] static std::shared_ptr<ModelContainer>
    open(const std::filesystem::path& folder, const Clock& clock,
         std::chrono::milliseconds busyTimeout = std::chrono::seconds(30));
    ~ModelContainer();
    ModelContainer(const ModelContainer&) = delete;
    ModelContainer& operator=(const ModelContainer&) = delete;

    /// The store that opening replaced; usually none.
    [[nodiscard]] const std::optional<RebuiltStore>& rebuilt() const { return rebuilt_; }
    [[nodiscard]] const std::filesystem::path& file() const { return file_; }

    /// Runs `work` with the connection, one thread at a time. `write` runs it in a transaction, nested when
    /// this thread is in one already. Only the records use these.
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
