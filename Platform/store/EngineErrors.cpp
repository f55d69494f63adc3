#include "Platform/store/EngineErrors.h"

#include "Platform/text/Text.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <cerrno>

namespace quorvel {

namespace {

using Kind = StoreError::Kind;

// For some results only the error number of the system tells the cause.
Kind kindOf(int result, int systemError) {
    if (result == SQLITE_IOERR_SHMSIZE) return Kind::full; // the shared memory's file could not grow
    switch (result & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL: // repeatedly lost the race for the shared memory
        return Kind::busy;
    case SQLITE_FULL:
        return Kind::full;
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return Kind::readOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return Kind::damaged;
    case SQLITE_CONSTRAINT:
        return Kind::constraint;
    case SQLITE_IOERR:
        // The file is shorter than its content.
        return result == SQLITE_IOERR_SHORT_READ ? Kind::damaged : kindOfSystemError(systemError);
    case SQLITE_CANTOPEN:
        return kindOfSystemError(systemError);
    case SQLITE_ERROR:
        return Kind::statement;
    default:
        return Kind::unavailable;
    }
}

std::string_view explanationOf(Kind kind) {
    switch (kind) {
    case Kind::busy:
        return "another process is using it; wait until it is done and try again";
    case Kind::full:
        return "the disk is full; make room and try again";
    case Kind::readOnly:
        return "may not be written; check the permissions of the file and of its folder";
    case Kind::damaged:
        return "is damaged";
    case Kind::newerSchema:
        return "was written by a later version of the program";
    case Kind::constraint:
        return "refuses the change by a rule of its schema";
    case Kind::statement:
    case Kind::noFile:
    case Kind::unavailable:
        break;
    }
    return "cannot be used";
}

} // namespace

StoreError::Kind kindOfSystemError(int number) {
    switch (number) {
    case ENOSPC:
    case EDQUOT:
        return Kind::full;
    case EACCES:
    case EPERM:
    case EROFS:
        return Kind::readOnly;
    default:
        return Kind::unavailable;
    }
}

StoreError storeError(const std::filesystem::path& file, int result, sqlite3* connection) {
    const Kind kind = kindOf(result, connection ? sqlite3_system_errno(connection) : 0);
    const bool reported = connection && sqlite3_extended_errcode(connection) == result;
    const char* reason = reported ? sqlite3_errmsg(connection) : sqlite3_errstr(result);
    return {kind, fmt::format("{}: {} ({})", escapeControls(file.native()), explanationOf(kind),
                              escapeControls(reason))};
}

} // namespace quorvel
