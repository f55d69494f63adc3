#include "Core/records/ModelContainer.h"

#include "Core/records/StoreFiles.h"
#include "Core/records/StoreOpening.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>

namespace quorvel {

// Recursive: what a transaction runs uses the same records as everybody else.
struct ModelContainer::Connection {
    explicit Connection(Database opened) : database(std::move(opened)) {}
    std::recursive_mutex mutex;
    Database database;
};

namespace {

using Kind = StoreError::Kind;

// Whether the store itself is to blame, so that a fresh one would open in its place.
bool isWorthReplacing(Kind kind) {
    return kind != Kind::busy && kind != Kind::full && kind != Kind::readOnly;
}

// Opens a store, at most twice.
class Opening {
  public:
    Opening(const std::filesystem::path& folder, const Clock& clock, std::chrono::milliseconds busyTimeout)
        : files_(folder), clock_(clock), busyTimeout_(busyTimeout) {}

    Database open() {
        try {
            return attempt();
        } catch (const StoreError& error) {
            if (error.kind() == Kind::busy) throw;
            Logger("ModelContainer")
                .error(fmt::format("ModelContainer init failed: {} — attempting fresh store.", error.what()));
            return openFresh(error);
        }
    }

    [[nodiscard]] const std::optional<RebuiltStore>& rebuilt() const { return rebuilt_; }
    [[nodiscard]] std::filesystem::path file() const { return files_.main(); }

  private:
    Database attempt() {
        if (!lock_) lock_ = lockStore(files_, busyTimeout_);
        return openStore(files_, clock_(), busyTimeout_);
    }

    Database openFresh(const StoreError& reason) {
        try {
            const auto present = files_.present();
            if (lock_ && !present.empty() && isWorthReplacing(reason.kind())) putAside(present, reason);
            return attempt();
        } catch (const StoreError& error) {
            fail(error.kind(), error.what());
        } catch (const FileError& error) {
            fail(kindOfSystemError(error.errorNumber()), error.what());
        }
    }

    void putAside(const std::vector<std::filesystem::path>& present, const StoreError& reason) {
        RebuiltStore rebuilt{reason.kind(), reason.what(), files_.folder(), {}, {}};
        try {
            moves_ = files_.moveAside(present, clock_());
            for (const StoreFiles::Move& move : moves_)
                rebuilt.movedAside.push_back(move.to);
        } catch (const FileError&) {
            // Only what is beyond use is given up.
            if (reason.kind() != Kind::damaged) throw;
            for (const auto& file : present)
                if (removeFile(file)) rebuilt.removed.push_back(file);
        }
        rebuilt_ = std::move(rebuilt);
    }

    [[nodiscard]] std::string advice(Kind kind) const {
        const std::string folder = escapeControls(files_.folder().native());
        switch (kind) {
        case Kind::readOnly:
            return fmt::format(
                " Give yourself the right to write in {}, or make its disk writable, and start "
                "again.",
                folder);
        case Kind::full:
            return fmt::format(" Make room on the disk of {} and start again.", folder);
        case Kind::unavailable:
            return fmt::format(
                " See that {} and the files in it are yours to read and write, and start again.", folder);
        default:
            return {};
        }
    }

    [[noreturn]] void fail(Kind kind, const std::string& reason) const {
        std::string outcome =
            rebuilt_ ? " Nothing was changed." : " No fresh store was tried. Nothing was changed.";
        try {
            // What the second attempt left must not be taken for a part of the old store.
            if (!moves_.empty()) std::ranges::for_each(files_.present(), removeFile);
            StoreFiles::putBack(moves_);
            if (!moves_.empty()) outcome = " The old files are in their place.";
        } catch (const FileError& error) {
            outcome = fmt::format(" The old files are in {}: {}", moves_.back().to.parent_path().native(),
                                  error.what());
        }
        throw StoreError(
            kind, fmt::format("Failed to initialize ModelContainer even after fresh store: {}.{}{}", reason,
                              rebuilt_ && !rebuilt_->removed.empty() ? "" : outcome, advice(kind)));
    }

    StoreFiles files_;
    const Clock& clock_;
    std::chrono::milliseconds busyTimeout_;
    std::optional<FileLock> lock_;
    std::vector<StoreFiles::Move> moves_;
    std::optional<RebuiltStore> rebuilt_;
};

} // namespace

std::shared_ptr<ModelContainer> ModelContainer::open(const std::filesystem::path& folder, const Clock& clock,
                                                     std::chrono::milliseconds busyTimeout) {
    Opening opening(folder, clock, busyTimeout);
    auto connection = std::make_unique<Connection>(opening.open());
    return std::shared_ptr<ModelContainer>(
        new ModelContainer(opening.file(), std::move(connection), opening.rebuilt()));
}

ModelContainer::ModelContainer(std::filesystem::path file, std::unique_ptr<Connection> connection,
                               std::optional<RebuiltStore> rebuilt)
    : file_(std::move(file)), connection_(std::move(connection)), rebuilt_(std::move(rebuilt)) {}

ModelContainer::~ModelContainer() = default;

void ModelContainer::read(const std::function<void(Database&)>& work) const {
    const std::lock_guard lock(connection_->mutex);
    try {
        work(connection_->database);
    } catch (const StoreError& error) {
        if (error.kind() != Kind::damaged) throw;
        demandCheck(StoreFiles(file_.parent_path()));
        throw StoreError(Kind::damaged,
                         fmt::format("{}. Start the program again: the store is checked then, and made anew "
                                     "when it cannot be used.",
                                     error.what()));
    }
}

void ModelContainer::write(const std::function<void(Database&)>& work) const {
    read([&](Database& database) { database.transaction([&] { work(database); }); });
}

} // namespace quorvel
