// The user's settings: one JSON file of dotted keys and typed values.
#pragma once

#include "Platform/files/Files.h"
#include "Platform/json/JSONValue.h"
#include "Platform/notify/NotificationCenter.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// Typed settings under dotted keys. Reads see the file as it is now; every write is a read-modify-write
/// under a lock file, so that two processes keep each other's keys. A reader of another type than the stored
/// one gets nothing. A file that cannot be read as JSON reads as no settings and is moved aside (".damaged")
/// by the next write. Thread-safe; shared by pointer.
class UserDefaults {
  public:
    explicit UserDefaults(std::filesystem::path file);
    ~UserDefaults();

    [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;
    [[nodiscard]] std::optional<double> number(std::string_view key) const;
    [[nodiscard]] std::optional<bool> boolean(std::string_view key) const;
    [[nodiscard]] std::optional<std::vector<std::string>> strings(std::string_view key) const;

    /// Stores one value. Throws `FileError`.
    void set(std::string_view key, JSONValue value);
    void remove(std::string_view key);

    /// Calls `observer` with the key after each change made through this object.
    NotificationCenter::Subscription observe(std::function<void(std::string_view key)> observer);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace quorvel
