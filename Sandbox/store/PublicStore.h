// The public App Store: search and look-up, suggestions, both kinds of charts and product pages.
#pragma once

#include "Sandbox/rules/World.h"
#include "Sandbox/server/HTTPServer.h"

#include <deque>
#include <string_view>

namespace quorvel::sandbox {

/// The base addresses of the services, below the sandbox's own.
namespace storePrefix {
inline constexpr std::string_view all = "/store/";
inline constexpr std::string_view search = "/store/itunes";
inline constexpr std::string_view hints = "/store/hints";
inline constexpr std::string_view marketing = "/store/marketing";
inline constexpr std::string_view legacy = "/store/legacy";
inline constexpr std::string_view site = "/store/site";
} // namespace storePrefix

/// Sells the account's apps that are ready for sale, with the texts of their live versions, beside those of
/// other makers. Ranks follow the texts, move from day to day of the virtual clock, and are the same whenever
/// they are asked for on one day.
class PublicStore {
  public:
    explicit PublicStore(int searchesPerMinute) : searchesPerMinute_(searchesPerMinute) {}

    [[nodiscard]] Response handle(const World& world, const Request& request);
    /// How many searches and look-ups are answered in a minute of the virtual clock; 0 is no bound.
    void setSearchesPerMinute(int count) { searchesPerMinute_ = count; }

  private:
    [[nodiscard]] bool takeSearch(double now);

    int searchesPerMinute_;
    std::deque<double> searches_;
};

/// An answer of the public store to a request that goes wrong on purpose.
[[nodiscard]] Response storeFailure(int status);

} // namespace quorvel::sandbox
