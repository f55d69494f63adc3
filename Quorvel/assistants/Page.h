// Long results in parts.
#pragma once

#include "Platform/json/JSONValue.h"
#include "Platform/time/Date.h"

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorvel {

/// What a result did not show of one of its lists, under a name that nobody can guess.
struct RestOfList {
    std::string tool;
    std::optional<std::string> workspace;    // that was served
    std::shared_ptr<const JSONValue> result; // all of it
    std::string main;                        // the tool's own list
    std::string list;                        // this one: a member, or "statistics.themes" within one
    std::size_t offset = 0;                  // where the rest begins
};

/// The rests of a few results, each for ten minutes: to call a tool again may do its work again. Thread-safe.
class KeptRests {
  public:
    static constexpr std::chrono::minutes lifetime{10};
    static constexpr std::size_t most = 32;            // the oldest go
    static constexpr std::size_t mostBytes = 8u << 20; // of the results as JSON, though one is kept always

    explicit KeptRests(Clock clock) : clock_(std::move(clock)) {}

    /// Keeps a rest and returns its token. `bytes` is the size of the result as JSON.
    [[nodiscard]] std::string keep(RestOfList rest, std::size_t bytes);
    /// The rest behind a token, as often as it is asked for. Throws `ApplicationError` for a token that is
    /// unknown, expired, or of another tool or workspace.
    [[nodiscard]] RestOfList find(std::string_view token, std::string_view tool,
                                  const std::optional<std::string>& workspace);

  private:
    struct Kept {
        std::string token;
        Date expiresAt;
        std::size_t bytes = 0;
        RestOfList rest;
    };
    const Clock clock_;
    std::mutex mutex_;     // guards all below
    std::list<Kept> kept_; // the oldest first
    std::size_t bytes_ = 0;
};

/// The argument that takes a token.
inline constexpr std::string_view moreMember = "more";

/// Takes the argument "more" away; nothing where there is none. Throws `ApplicationError` for what is no
/// text.
[[nodiscard]] std::optional<std::string> takeMore(JSONValue& arguments);

/// A result with its long lists cut, and a sentence about each that was.
struct PagedResult {
    JSONValue structured;
    std::string text;
};

/// Leaves at most fifty items and 24 kB of the tool's own list, and 6 kB of each other one in the result or
/// in one of its members, though one item at least of each. Sets "total", of its own list, and "more",
/// which holds a token for each list that was cut, under its name. The tokens are for what `origin` says.
[[nodiscard]] PagedResult cutToPage(JSONValue result, const RestOfList& origin, KeptRests& rests);
/// The next part of a list, with the other members of its result and the other lists empty.
[[nodiscard]] PagedResult nextPage(const RestOfList& rest, KeptRests& rests);

} // namespace quorvel
