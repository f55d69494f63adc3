// Carries metadata trees of the older layout over into folders of contexts.
#pragma once

#include "Core/metadata/MetadataFolder.h"
#include "Platform/json/JSON.h"

#include <string>
#include <vector>

namespace quorvel {

/// The folder of a locale; paths are relative to the app's root.
struct CarriedFolder {
    std::string from; // such as "de-DE" or "macos/.brevant/asc/de-DE"
    std::string to;   // such as "ios/next/de-DE"
    QUORVEL_RECORD(CarriedFolder, from, to)
    bool operator==(const CarriedFolder&) const = default;
};

struct LeftFolder {
    CarriedFolder folder;
    std::string explanation; // why, and what to do
    QUORVEL_RECORD(LeftFolder, folder, explanation)
    bool operator==(const LeftFolder&) const = default;
};

struct OlderLayoutReport {
    std::vector<CarriedFolder> moved;
    std::vector<LeftFolder> leftInPlace;
    QUORVEL_RECORD(OlderLayoutReport, moved, leftInPlace)
    bool operator==(const OlderLayoutReport&) const = default;

    /// Whether there was anything of the older layout.
    [[nodiscard]] bool isEmpty() const { return *this == OlderLayoutReport{}; }
    /// For the user: a line for what moved, and one for each folder that stays.
    [[nodiscard]] std::vector<std::string> lines() const;
};

/// Moves every locale that lies directly under a platform's older folder (`MetadataFolder::platformFolder`),
/// with its pulled copy and whatever else the folder holds, into the platform's "next" folder. Only folders
/// that are named as an App Store locale and hold a field file count. Where the same locale is there already,
/// both of its sides stay.
///
/// Each folder moves by one rename, so an end at any moment leaves every file whole and in one place, and the
/// next call goes on. The texts move before their pulled copy: in between, the locale looks new and not like
/// an edit of what was pulled. The caller holds the lock of the app's folder. Throws `FileError`.
[[nodiscard]] OlderLayoutReport carryOverOlderLayout(const MetadataFolder& appFolder);

/// What `carryOverOlderLayout` would do; `moved` is what would move. Writes nothing.
[[nodiscard]] OlderLayoutReport findOlderLayout(const MetadataFolder& appFolder);

} // namespace quorvel
