# Finds every third-party library, all from the distribution.
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)
find_package(Boost 1.81 REQUIRED) # headers: Describe, Mp11
find_package(CURL 7.88 REQUIRED)
find_package(OpenSSL 3 REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(simdjson 3 REQUIRED)
find_package(fmt 9 REQUIRED)
find_package(SQLite3 3.40 REQUIRED)
find_package(PNG 1.6 REQUIRED) # brings zlib along
find_package(CLI11 QUIET)
find_package(PkgConfig REQUIRED)
pkg_check_modules(httplib REQUIRED IMPORTED_TARGET cpp-httplib) # ships only a .pc file
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd) # the client of the session bus
endif()
if(NOT CLI11_FOUND)
    find_path(CLI11_INCLUDE CLI/CLI.hpp REQUIRED)
    add_library(CLI11::CLI11 INTERFACE IMPORTED)
    target_include_directories(CLI11::CLI11 INTERFACE ${CLI11_INCLUDE})
endif()
if(NOT QUORVEL_FUZZ)
    find_package(GTest REQUIRED)
    find_package(benchmark REQUIRED)
    include(GoogleTest)
endif()
