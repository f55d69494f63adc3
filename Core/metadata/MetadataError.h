// What goes wrong with metadata trees, and the words for it.
#pragma once

#include "Core/metadata/FieldType.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A metadata operation that cannot go on. The text is for users: it names the file, locale or field, what is
/// wrong and what to do; it never holds a store text.
class MetadataError : public std::runtime_error {
  public:
    enum class Kind {
        failed, // none of the others
        readOnlyContext,
        unknownContext, // not one of this app
        invalidContext, // not a context's name
        interruptedPull,
        otherVersionPulled,
        invalidLocale, // not a locale of the App Store
        unknownLocale, // has no folder
        noLocales,     // a folder that is no tree of texts
        unsafeName,
        leadsOutside,
        unusableText, // a file that is not UTF-8 text of a usable size
        unreadable,   // a file or folder that cannot be read or is not there
        lostFolder,
        badBookmark,
        folderInUse,
        olderLayout, // texts that a dry run does not move
        otherApp,    // the folder holds the texts of another app
        unknownApp,
        unknownRun,
    };
    struct Where {
        std::filesystem::path path;
        std::string locale;
        std::optional<FieldType> field;
        bool operator==(const Where&) const = default;
    };

    MetadataError(Kind kind, const std::string& text, Where where = {});

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const Where& where() const { return where_; }

    [[nodiscard]] static MetadataError readOnlyContext(std::string_view appStoreState);
    /// `known` lists the contexts that there are.
    [[nodiscard]] static MetadataError unknownContext(std::string_view wanted, std::string_view known);
    [[nodiscard]] static MetadataError invalidContext(std::string_view name);
    [[nodiscard]] static MetadataError interruptedPull(const std::filesystem::path& folder);
    [[nodiscard]] static MetadataError otherVersionPulled(std::string_view versionString);
    [[nodiscard]] static MetadataError invalidLocale(std::string_view locale);
    [[nodiscard]] static MetadataError unknownLocale(std::string_view locale,
                                                     const std::filesystem::path& folder,
                                                     const std::vector<std::string>& known);
    /// `what` names the thing, such as "app name".
    [[nodiscard]] static MetadataError unsafeName(std::string_view what, std::string_view name);
    [[nodiscard]] static MetadataError unsafeLocale(std::string_view locale);
    [[nodiscard]] static MetadataError leadsOutside(const std::filesystem::path& path,
                                                    const std::filesystem::path& root);
    [[nodiscard]] static MetadataError notUTF8(const std::filesystem::path& path, std::size_t offset);
    [[nodiscard]] static MetadataError holdsNUL(const std::filesystem::path& path, std::size_t offset);
    [[nodiscard]] static MetadataError tooLarge(const std::filesystem::path& path, std::uint64_t size,
                                                std::uint64_t limit);
    [[nodiscard]] static MetadataError notAFile(const std::filesystem::path& path);
    [[nodiscard]] static MetadataError notAFolder(const std::filesystem::path& path);
    [[nodiscard]] static MetadataError cannotRead(const std::filesystem::path& path, int errorNumber);
    /// About a file that somebody else saves again and again.
    [[nodiscard]] static MetadataError keepsChanging(const std::filesystem::path& path);
    [[nodiscard]] static MetadataError badBookmark(std::string_view problem);
    [[nodiscard]] static MetadataError lostFolder(const std::filesystem::path& path);
    /// `problem` says who uses it.
    [[nodiscard]] static MetadataError folderInUse(const std::filesystem::path& folder,
                                                   std::string_view problem);
    [[nodiscard]] static MetadataError olderLayout(const std::filesystem::path& folder);
    [[nodiscard]] static MetadataError otherApp(const std::filesystem::path& folder,
                                                std::string_view appName);
    [[nodiscard]] static MetadataError unknownApp();
    [[nodiscard]] static MetadataError unknownRun(std::string_view run);

  private:
    Kind kind_;
    Where where_;
};

template <>
struct RawValues<MetadataError::Kind> {
    using Kind = MetadataError::Kind;
    static constexpr std::pair<Kind, std::string_view> values[] = {
        {Kind::failed, "failed"},
        {Kind::readOnlyContext, "READ_ONLY_CONTEXT"},
        {Kind::unknownContext, "unknownContext"},
        {Kind::invalidContext, "invalidContext"},
        {Kind::interruptedPull, "interruptedPull"},
        {Kind::otherVersionPulled, "otherVersionPulled"},
        {Kind::invalidLocale, "invalidLocale"},
        {Kind::unknownLocale, "unknownLocale"},
        {Kind::noLocales, "noLocales"},
        {Kind::unsafeName, "unsafeName"},
        {Kind::leadsOutside, "leadsOutside"},
        {Kind::unusableText, "unusableText"},
        {Kind::unreadable, "unreadable"},
        {Kind::lostFolder, "lostFolder"},
        {Kind::badBookmark, "badBookmark"},
        {Kind::folderInUse, "folderInUse"},
        {Kind::olderLayout, "olderLayout"},
        {Kind::otherApp, "otherApp"},
        {Kind::unknownApp, "unknownApp"},
        {Kind::unknownRun, "unknownRun"},
    };
};

} // namespace quorvel
