#include "Platform/files/FileLock.h"

#include "Platform/files/FileDescriptor.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/file.h>

#include <charconv>
#include <csignal>

namespace quorvel {

namespace {

constexpr std::size_t longestNote = 80; // characters

bool lock(const FileDescriptor& descriptor, int operation) {
    return uninterrupted([&] { return ::flock(descriptor.number(), operation); }) == 0;
}

bool isRunning(std::int64_t processID) {
    return ::kill(static_cast<pid_t>(processID), 0) == 0 || errno == EPERM;
}

// "4711 a push" and a line break; a note without its end is one that is being written.
std::optional<FileLock::Holder> parseNote(std::string_view note) {
    const std::size_t end = note.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    note = note.substr(0, end);
    std::int32_t processID = 0;
    const auto [rest, error] = std::from_chars(note.data(), note.data() + note.size(), processID);
    note.remove_prefix(static_cast<std::size_t>(rest - note.data()));
    if (error != std::errc() || processID <= 0 || !note.starts_with(' ')) return std::nullopt;
    const std::string text = repairUTF8(trim(note));
    if (text.empty()) return std::nullopt;
    return FileLock::Holder{escapeControls(graphemePrefix(text, longestNote)), processID};
}

} // namespace

struct FileLock::Held {
    FileDescriptor descriptor;
    bool isNoted = false;

    // Before the lock goes: the next holder's waiters must not be told of this one.
    ~Held() {
        if (isNoted) static_cast<void>(clear());
    }

    [[nodiscard]] bool clear() const {
        return uninterrupted([&] { return ::ftruncate(descriptor.number(), 0); }) == 0;
    }
};

std::unique_ptr<FileLock::Held> FileLock::open(const std::filesystem::path& file) {
    auto held = std::make_unique<Held>(FileDescriptor(uninterrupted(
        [&] { return ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); })));
    if (!held->descriptor.isOpen()) throw FileError(file, "cannot be locked", errno);
    return held;
}

FileLock::FileLock(const std::filesystem::path& file) : held_(open(file)) {
    if (!lock(held_->descriptor, LOCK_EX)) throw FileError(file, "cannot be locked", errno);
}

FileLock::FileLock(std::unique_ptr<Held> held) : held_(std::move(held)) {}

std::optional<FileLock> FileLock::tryLock(const std::filesystem::path& file) {
    auto held = open(file);
    if (lock(held->descriptor, LOCK_EX | LOCK_NB)) return FileLock(std::move(held));
    if (errno == EWOULDBLOCK) return std::nullopt;
    throw FileError(file, "cannot be locked", errno);
}

void FileLock::noteHolder(std::string_view what) const {
    const std::string note = fmt::format("{} {}\n", ::getpid(), what);
    held_->isNoted = true;
    // A full disk is no reason to do without the lock.
    if (held_->clear()) [[maybe_unused]]
        const auto written =
            uninterrupted([&] { return ::pwrite(held_->descriptor.number(), note.data(), note.size(), 0); });
}

std::optional<FileLock::Holder> FileLock::holderOf(const std::filesystem::path& file) {
    constexpr std::size_t limit = 1024; // bytes; the file is the user's, and may hold anything
    const FileDescriptor descriptor(
        uninterrupted([&] { return ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC); }));
    std::string note(limit, '\0');
    const auto count = uninterrupted([&] { return ::read(descriptor.number(), note.data(), note.size()); });
    if (count <= 0) return std::nullopt;
    const auto holder = parseNote(std::string_view(note).substr(0, static_cast<std::size_t>(count)));
    return holder && isRunning(holder->processID) ? holder : std::nullopt;
}

FileLock::FileLock(FileLock&& other) noexcept = default;
FileLock& FileLock::operator=(FileLock&& other) noexcept = default;
FileLock::~FileLock() = default;

} // namespace quorvel
