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
    // Of a fixture, which moves nothing:
    std::vector<CarriedFolder> readInPlace;
    std::vector<CarriedFolder> overlooked; // as texts lie where these belong
    QUORVEL_RECORD(OlderLayoutReport, moved, leftInPlace, readInPlace, overlooked)
    bool operator==(const OlderLayoutReport&) const = default;

    /// Whether there was anything of the older layout.
    [[nodiscard]] bool isEmpty() const { return *this == OlderLayoutReport{}; }
    /// For the user: a line for what moved or would move, and one for each folder that stays.
    [[nodiscard]] std::vector<std::string> lines() const;
};

/// Moves every locale that lies directly under a platform's older folder (`MetadataFolder::platformFolder`),
/// with its pulled copy and whatever else the folder holds, into the platform's "next" folder. Only folders
/// that are named as an App Store locale and hold a field file count. Where the same locale is there already,
/// both of its sides stay.
///
/// Each folder moves by one rename, so an end at any moment leaves every file whole and in one place, and the
/// next call goes on. The texts move before their pulled copy: in between, the locale looks new and not like
/// an edit of what was pulled. Takes the turns of the app and of the contexts concerned, in this order, if
/// there is something to move: call it without them. Touches nothing otherwise. Throws `FileError`,
/// `CancellationError`.
[[nodiscard]] OlderLayoutReport carryOverOlderLayout(const MetadataFolder& appFolder);

/// An app's folder to work on, and what became of the older layout in it.
struct CarriedTree {
    MetadataFolder folder;
    OlderLayoutReport report;
};

/// What `carryOverOlderLayout` would do; writes nothing. Through the folder that it gives, the "next"
/// contexts are read where the older layout has them, unless something lies at their own place already.
[[nodiscard]] CarriedTree readOlderLayoutInPlace(const MetadataFolder& appFolder);

} // namespace quorvel
