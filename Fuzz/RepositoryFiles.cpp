// quorvel.toml comes with repositories of others.
#include "Core/metadata/TextRemarks.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const RepositoryFile content = parseRepositoryFile(text, "/home/ann/quorvel.toml");
        if (parseRepositoryFile(repositoryFileText(content), content.file) != content) std::abort();
    } catch (const RepositoryFileError& error) {
        if (findControlCharacter(error.what()) || findControlCharacter(error.advice())) std::abort();
    }
    return 0;
}
