// Receives the parts of reserved files and checks them against what was reserved.
#pragma once

#include "Sandbox/server/HTTPServer.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::sandbox {

struct UploadPart {
    std::int64_t offset = 0;
    std::int64_t length = 0;
};

/// How a file of `size` bytes is asked for: several parts of uneven length.
[[nodiscard]] std::vector<UploadPart> uploadParts(std::int64_t size);

/// The uploads under way. Bytes that arrive in order are digested at once; a part that comes too early waits
/// in a file, so memory stays small whatever is sent. Any number of threads may send parts at once.
class Uploads {
  public:
    explicit Uploads(std::filesystem::path folder);
    ~Uploads();

    /// Expects the parts of an upload, each with this type; `id` is that of what was reserved.
    void expect(const std::string& id, std::vector<UploadPart> parts, std::string contentType);
    void forget(const std::string& id);
    /// Takes one part; the answer to give.
    [[nodiscard]] Response receive(const std::string& id, std::size_t part, const Request& request);
    /// The MD5 digest in hexadecimal of all parts in order; nothing when one is missing. Ends the upload.
    [[nodiscard]] std::optional<std::string> finish(const std::string& id);

  private:
    class Upload;
    [[nodiscard]] std::shared_ptr<Upload> find(const std::string& id);

    std::filesystem::path folder_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Upload>> uploads_;
};

} // namespace quorvel::sandbox
