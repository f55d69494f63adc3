// The apps that one country's store sells on one day, and their order.
#pragma once

#include "Sandbox/rules/World.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

struct ShelvedApp {
    std::string id, bundle, seller, name, subtitle, keywords, description, version;
    int genre = 0;
    double price = 0;
    std::string currency;
    int popularity = 0;
    std::int64_t ratings = 0;
    double rating = 0;

    /// The address of its product page.
    [[nodiscard]] std::string page(std::string_view country) const;
};

enum class StoreChart { free, paid, grossing };
/// The chart of "top-free" and "topfreeapplications".
[[nodiscard]] std::optional<StoreChart> chartNamed(std::string_view name);
[[nodiscard]] std::string_view genreName(int genre);

class Shelf {
  public:
    Shelf(const World& world, std::string country);

    [[nodiscard]] const std::string& country() const { return country_; }
    [[nodiscard]] const std::vector<ShelvedApp>& apps() const { return apps_; }
    /// Those that a term finds, the best first.
    [[nodiscard]] std::vector<ShelvedApp> search(std::string_view term) const;
    /// At most ten terms that begin so, the most sought first.
    [[nodiscard]] std::vector<std::string> suggestions(std::string_view prefix) const;
    /// In order; of one genre unless that is 36, which is all.
    [[nodiscard]] std::vector<ShelvedApp> chart(StoreChart kind, int genre = 36) const;

  private:
    void addOwn(const World& world);
    void addOthers();
    /// How much better or worse an app does on this day, from -1 to 1.
    [[nodiscard]] double drift(const ShelvedApp& app, std::string_view where) const;
    [[nodiscard]] std::vector<ShelvedApp>
    ordered(std::vector<std::pair<double, const ShelvedApp*>> scored) const;

    std::string country_;
    int day_;
    std::vector<ShelvedApp> apps_;
};

} // namespace quorvel::sandbox
