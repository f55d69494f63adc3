#include "Core/records/ModelContainer.h"

#include "Core/records/StoreFiles.h"
#include "Core/records/StoreOpening.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <mutex>

namespace quorvel {

// Recursive: the work of a transaction uses records that lock as well.
struct ModelContainer::Connection {
    explicit Connection(Database opened) : database(std::move(opened)) {}
    std::recursive_mutex mutex;
    Database database;
};

namespace {

using Kind = StoreError::Kind;

// Whether the store itself is the reason, and not what the machine lacks at this moment.
bool isWorthReplacing(Kind kind) {
    return kind == Kind::damaged || kind == Kind::newerSchema || kind == Kind::noFile;
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
            logger_.error(
                fmt::format("ModelContainer init failed: {} — attempting fresh store.", error.what()));
            return openFresh(error);
        }
    }

    [[nodiscard]] const std::optional<RebuiltStore>& rebuilt() const { return rebuilt_; }
    [[nodiscard]] std::filesystem::path file() const { return files_.main(); }

  private:
    Database attempt() {
        if (!lock_) lock_ = lockStore(files_, busyTimeout_);
        return openStore(files_, busyTimeout_);
    }

    Database openFresh(const StoreError& reason) {
        try {
            const auto present = files_.present();
            const bool isReplaced = lock_ && !present.empty() && isWorthReplacing(reason.kind());
            if (isReplaced) replace(present, reason);
            Database opened = attempt();
            if (!isReplaced)
                logger_.warning(fmt::format("The store of your records was opened at the second attempt; "
                                            "nothing was lost. The first one failed: {}",
                                            reason.what()));
            return opened;
        } catch (const StoreError& error) {
            fail(error.kind(), error.what());
        } catch (const FileError& error) {
            fail(kindOfSystemError(error.errorNumber()), error.what());
        }
    }

    // The fresh store is made first: when the disk is full, the old one stays as it is. The journals of the
    // old one are moved before its main file, so that the fresh store never finds them.
    void replace(const std::vector<std::filesystem::path>& old, const StoreError& reason) {
        replaced_ = old;
        const NewStore fresh(files_, busyTimeout_);
        rebuilt_ = RebuiltStore{.kind = reason.kind(),
                                .reason = reason.what(),
                                .folder = files_.folder(),
                                .backups = files_.moveToBackup(old, clock_())};
        fresh.place();
    }

    [[nodiscard]] std::string advice(Kind kind) const {
        const std::string folder = escapeControls(files_.folder().native());
        switch (kind) {
        case Kind::readOnly:
            return fmt::format(
                " Give yourself the right to write in {}, or make its disk writable, and start again.",
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

    // Where the files of the old store are.
    [[nodiscard]] std::string outcome() const {
        if (rebuilt_)
            return fmt::format(" The old files are in {}.",
                               escapeControls(rebuilt_->backups.front().parent_path().native()));
        if (replaced_.empty()) return " No fresh store was tried. Nothing was changed.";
        return files_.present() == replaced_ ? " Nothing was changed." : "";
    }

    [[noreturn]] void fail(Kind kind, const std::string& reason) const {
        throw StoreError(kind,
                         fmt::format("Failed to initialize ModelContainer even after fresh store: {}.{}{}",
                                     reason, outcome(), advice(kind)));
    }

    StoreFiles files_;
    const Clock& clock_;
    std::chrono::milliseconds busyTimeout_;
    std::optional<FileLock> lock_;
    std::vector<std::filesystem::path> replaced_; // what a fresh store was made for
    std::optional<RebuiltStore> rebuilt_;
    Logger logger_{"ModelContainer"};
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
        throw StoreError(
            Kind::damaged,
            fmt::format("{}. Start the program again: it checks the store, and backs it up and makes a fresh "
                        "one when it cannot be used.",
                        error.what()));
    }
}

void ModelContainer::write(const std::function<void(Database&)>& work) const {
    read([&](Database& database) { database.transaction([&] { work(database); }); });
}

} // namespace quorvel
