// The localizations that App Store Connect holds.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/metadata/FieldTexts.h"

#include <map>
#include <string>
#include <string_view>

namespace quorvel {

struct RemoteLocalization {
    std::string id;
    FieldTexts texts; // of the resource's own fields; what App Store Connect holds nothing of is empty
};

/// Locale → its localization.
using RemoteLocalizations = std::map<std::string, RemoteLocalization, std::less<>>;

/// The localizations of a version or of an app info. Throws `ASCError`, `CancellationError`.
[[nodiscard]] RemoteLocalizations listLocalizations(const ASCClientProtocol& client, FieldHome home,
                                                    std::string_view parentID);

/// Their texts alone.
[[nodiscard]] LocaleTexts textsOf(RemoteLocalizations localizations);

} // namespace quorvel
