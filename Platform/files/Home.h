// The user's home folder and the places in it that the program uses.
#pragma once

#include <filesystem>

namespace quorvel {

/// A home folder; injected, so that a test or a fixture can have its own.
struct Home {
    std::filesystem::path root;

    /// The folder of the environment's HOME, or of the password database when that is unset.
    [[nodiscard]] static Home ofUser();

    [[nodiscard]] std::filesystem::path applicationSupport() const {
        return root / "Library" / "Application Support";
    }
    [[nodiscard]] std::filesystem::path preferences() const { return root / "Library" / "Preferences"; }
    [[nodiscard]] std::filesystem::path documents() const { return root / "Documents"; }

    bool operator==(const Home&) const = default;
};

} // namespace quorvel
