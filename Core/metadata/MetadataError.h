// What goes wrong with metadata trees, and the words for it.
#pragma once

#include "Core/metadata/FieldType.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A metadata operation that cannot go on. The text is for users: it names the file, locale or field, what is
/// wrong and what to do; it never holds a store text.
class MetadataError : public std::runtime_error {
  public:
    struct Where {
        std::filesystem::path path;
        std::string locale;
        std::optional<FieldType> field;
        bool operator==(const Where&) const = default;
    };

    explicit MetadataError(const std::string& text, Where where = {}, std::string code = {});

    [[nodiscard]] const Where& where() const { return where_; }
    /// A fixed word for programs, such as "READ_ONLY_CONTEXT"; empty where there is none.
    [[nodiscard]] const std::string& code() const { return code_; }

    [[nodiscard]] static MetadataError readOnlyContext(std::string_view appStoreState);
    [[nodiscard]] static MetadataError unknownContext(std::string_view wanted, std::string_view known);
    [[nodiscard]] static MetadataError interruptedPull(const std::filesystem::path& folder);
    [[nodiscard]] static MetadataError otherVersionPulled(std::string_view versionString);
    [[nodiscard]] static MetadataError unsafeName(std::string_view kind, std::string_view name);
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
    [[nodiscard]] static MetadataError badBookmark(std::string_view problem);
    [[nodiscard]] static MetadataError lostFolder(const std::filesystem::path& path);

  private:
    Where where_;
    std::string code_;
};

} // namespace quorvel
