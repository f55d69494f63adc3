// The .p8 files that private keys come in.
#pragma once

#include "Platform/files/Home.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// A key file that cannot be chosen or read. The text never holds key material.
class CredentialsError : public std::runtime_error {
  public:
    enum class Kind {
        severalKeyFiles,      // `files()` holds the candidates
        keyInsteadOfFileName, // a private key was given where its file's name belongs; `files()` is empty
        unreadableKeyFile,    // `files()` holds the file
    };
    CredentialsError(Kind kind, const std::string& text, std::vector<std::filesystem::path> files = {})
        : std::runtime_error(text), kind_(kind), files_(std::move(files)) {}
    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const std::vector<std::filesystem::path>& files() const { return files_; }

  private:
    Kind kind_;
    std::vector<std::filesystem::path> files_;
};

/// The Key ID in the name of a key file, "AuthKey_" and ten letters or digits; nothing for other names.
[[nodiscard]] std::optional<std::string> keyIDFromFileName(std::string_view fileName);

/// The folders in which key files are customarily kept, those of `workingFolder` first.
[[nodiscard]] std::vector<std::filesystem::path> keyFolders(const Home& home,
                                                            const std::filesystem::path& workingFolder);

/// "AuthKey_<keyID>.p8" in the first of the folders that has it; for an empty `keyID` the only key file in
/// them. Throws `CredentialsError` when there are several.
[[nodiscard]] std::optional<std::filesystem::path>
findKeyFile(std::string_view keyID, const std::vector<std::filesystem::path>& folders);

/// Whether a text that should be a name is a private key itself, also one without its first and last line.
/// Never show such a text.
[[nodiscard]] bool looksLikeKeyText(std::string_view text);

/// The text of a .p8 file; a relative name is looked for in `workingFolder`. Throws `CredentialsError`.
[[nodiscard]] std::string readPrivateKeyFile(const std::filesystem::path& file,
                                             const std::filesystem::path& workingFolder = {});

} // namespace quorvel
