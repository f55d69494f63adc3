#include "Core/metadata/MetadataFolder.h"

#include "Core/metadata/MetadataError.h"
#include "Core/metadata/TreeInPlace.h"
#include "Platform/files/Files.h"

#include <system_error>

namespace quorvel {

MetadataFolder MetadataFolder::contextFolder(const ContextID& context) const {
    const auto usual =
        std::filesystem::path(platformFolderName(context.platform)) / slotName(context.stateClass);
    if (!inPlace) return {rootURL / usual};
    const auto texts = context.stateClass == AppStoreVersionStateClass::editable
                           ? textsInPlace(rootURL, *inPlace, context.platform)
                           : std::nullopt;
    if (!texts) return {privateFolder() / usual};
    return {.rootURL = *texts, .treeURL = rootURL, .ownURL = privateFolder() / usual};
}

MetadataFolder MetadataFolder::platformFolder(ASCPlatform platform) const {
    return {platform == ASCPlatform::iOS ? rootURL : rootURL / platformFolderName(platform)};
}

std::filesystem::path MetadataFolder::textsFolder(TextSide side) const {
    return side == TextSide::local ? rootURL : privateFolder() / "asc";
}

std::filesystem::path MetadataFolder::localeFolder(std::string_view locale, TextSide side) const {
    if (!isSafeName(locale)) throw MetadataError::unsafeLocale(locale);
    return textsFolder(side) / locale;
}

std::filesystem::path MetadataFolder::fieldFile(std::string_view locale, FieldType field,
                                                TextSide side) const {
    const bool isOfPage = locale == pageLocale && isPageField(field);
    return (isOfPage ? textsFolder(side) : localeFolder(locale, side)) / fileNameOf(field);
}

bool isFolder(const MetadataFolder& folder) {
    std::error_code unreachable;
    return std::filesystem::is_directory(folder.rootURL, unreachable);
}

MetadataFolder defaultAppFolder(const Home& home, std::string_view slug) {
    if (!isSafeName(slug)) throw MetadataError::unsafeName("app name", slug);
    return {home.documents() / "Brevant" / slug};
}

} // namespace quorvel
