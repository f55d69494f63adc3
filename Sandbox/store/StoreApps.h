// The apps of other makers that the sandbox's public store sells.
#pragma once

#include <span>
#include <string_view>

namespace quorvel::sandbox {

/// One app; a German text that is empty is the English one.
struct StoreApp {
    std::string_view id;
    std::string_view bundle; // behind the maker's "example." domain
    std::string_view seller;
    int genre;      // number of the store's category
    double price;   // US dollars
    int popularity; // 0 to 100
    int ratings;    // how many
    std::string_view name, subtitle, keywords;
    std::string_view germanName = {}, germanSubtitle = {}, germanKeywords = {};
    std::string_view countries = {}; // the only ones, joined by blanks; all when empty
};

[[nodiscard]] std::span<const StoreApp> storeApps();

} // namespace quorvel::sandbox
