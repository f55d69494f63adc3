// Faults of the machine that come once and pass, which no real disk can be asked for.
#pragma once

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <map>

namespace quorvel::test {

/// What a call to the system fails with: the engine's result and the error number behind it.
struct DiskFault {
    int result;
    int systemError;
};

/// The engine's own calls to the system, of which one fails while this lives. One at a time.
class FailingDisk {
  public:
    /// The call after `before` others fails.
    FailingDisk(DiskFault fault, int before) {
        state() = {fault, before, false, sqlite3_vfs_find(nullptr), {}, {}};
        state().calls = *state().real;
        state().calls.zName = "failing";
        state().calls.xOpen = &open;
        state().calls.xGetLastError = [](sqlite3_vfs*, int, char*) { return state().fault.systemError; };
        sqlite3_vfs_register(&state().calls, 1);
    }
    ~FailingDisk() {
        sqlite3_vfs_unregister(&state().calls);
        sqlite3_vfs_register(state().real, 1);
    }
    FailingDisk(const FailingDisk&) = delete;
    FailingDisk& operator=(const FailingDisk&) = delete;

    [[nodiscard]] bool wasMet() const { return state().wasMet; }

  private:
    struct State {
        DiskFault fault{};
        int before = 0;
        bool wasMet = false;
        sqlite3_vfs* real = nullptr;
        sqlite3_vfs calls{};
        std::map<const sqlite3_io_methods*, sqlite3_io_methods> methods; // of files, by the real ones
    };
    static State& state() {
        static State one;
        return one;
    }
    static bool strikes() {
        if (state().wasMet || state().before-- > 0) return false;
        return state().wasMet = true;
    }

    static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
        file->pMethods = nullptr;
        if (strikes()) return state().fault.result;
        const int result = state().real->xOpen(state().real, name, file, flags, outFlags);
        if (file->pMethods) file->pMethods = &failing(file->pMethods);
        return result;
    }
    template <auto Call, typename... Arguments>
    static int call(sqlite3_file* file, Arguments... arguments) {
        if (strikes()) return state().fault.result;
        for (const auto& [real, ours] : state().methods)
            if (&ours == file->pMethods) return (real->*Call)(file, arguments...);
        return SQLITE_INTERNAL;
    }
    static const sqlite3_io_methods& failing(const sqlite3_io_methods* real) {
        using M = sqlite3_io_methods;
        M ours = *real;
        ours.xRead = &call<&M::xRead, void*, int, sqlite3_int64>;
        ours.xWrite = &call<&M::xWrite, const void*, int, sqlite3_int64>;
        ours.xTruncate = &call<&M::xTruncate, sqlite3_int64>;
        ours.xSync = &call<&M::xSync, int>;
        ours.xFileSize = &call<&M::xFileSize, sqlite3_int64*>;
        ours.xLock = &call<&M::xLock, int>;
        if (real->xShmMap) ours.xShmMap = &call<&M::xShmMap, int, int, int, void volatile**>;
        if (real->xShmLock) ours.xShmLock = &call<&M::xShmLock, int, int, int>;
        return state().methods.try_emplace(real, ours).first->second;
    }
};

/// Leaves this process so many more descriptors while it lives.
class FewDescriptors {
  public:
    explicit FewDescriptors(int left) {
        const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(next);
        ::getrlimit(RLIMIT_NOFILE, &usual_);
        const rlimit few{static_cast<rlim_t>(next + left), usual_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &usual_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

  private:
    rlimit usual_{};
};

} // namespace quorvel::test
