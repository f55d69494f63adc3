// Screenshots on disk and on the sandbox, for tests of the whole way between them.
#pragma once

#include "Core/screenshots/SamplePicture.h"
#include "Core/screenshots/ScreenshotPlan.h"
#include "Platform/files/Files.h"
#include "Sandbox/SandboxServer.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace quorvel::test {

/// Writes a file and the folders above it.
inline void put(const std::filesystem::path& file, std::string_view bytes) {
    createFolders(file.parent_path());
    writeFileAtomically(file, bytes, FileMode::shared, Durability::later);
}

/// A picture of the usual size of a display type; `number` makes its bytes differ from others.
inline std::string pictureFor(std::string_view displayType, unsigned number) {
    return samplePicture(findDisplayType(displayType)->sizes.front(), number);
}

/// `png` with `count` bytes more that mean nothing, so that it is sent in several parts.
std::string paddedPicture(const std::string& png, std::size_t count);

/// Pictures by display type. Drawing is slow and the numbers are what matters: one is drawn per type, and
/// told apart by the bytes behind it. Each seventh number is so large that it is sent in several parts.
class Drawings {
  public:
    [[nodiscard]] std::string picture(const std::string& displayType, unsigned number);

  private:
    std::map<std::string, std::string> drawn_;
};

/// Draws five pictures for each of 12 locales and 3 display types, all different; their natural order is not
/// that of their bytes.
void putThirtySixSets(const std::filesystem::path& pictures, Drawings& drawings);

/// What fails on a bad day: about 15 % of all requests, before or after their work or in the middle of a
/// part.
[[nodiscard]] std::vector<sandbox::Fault> faultsOfABadDay();

/// A screenshot or preview as the sandbox holds it.
struct HeldScreenshot {
    std::string id;
    std::string fileName;
    std::string checksum;
    std::string state;
    bool operator==(const HeldScreenshot&) const = default;
};

/// What the sandbox holds of a version: "en-US APP_IPHONE_67" → what the set shows, in order.
using HeldSets = std::map<std::string, std::vector<HeldScreenshot>>;
[[nodiscard]] HeldSets heldSets(const sandbox::SandboxServer& server, std::string_view versionID,
                                AssetKind kind = AssetKind::screenshot);

/// What it should hold: the files in natural order, by name and checksum; ids and states are left out.
[[nodiscard]] HeldSets expectedSets(const std::vector<ScreenshotPushItem>& items);
/// `sets` without ids and states, and without empty sets.
[[nodiscard]] HeldSets namesAndChecksums(HeldSets sets);

} // namespace quorvel::test
