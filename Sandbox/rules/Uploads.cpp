#include "Sandbox/rules/Uploads.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <fstream>

namespace quorvel::sandbox {
namespace {

/// A running MD5 digest.
class MD5 {
  public:
    MD5() : context_(EVP_MD_CTX_new()) { EVP_DigestInit_ex(context_.get(), EVP_md5(), nullptr); }
    MD5(const MD5& other) : context_(EVP_MD_CTX_new()) {
        EVP_MD_CTX_copy_ex(context_.get(), other.context_.get());
    }
    MD5& operator=(MD5&&) = default;
    MD5(MD5&&) = default;
    ~MD5() = default;

    void update(std::string_view bytes) { EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()); }
    [[nodiscard]] std::string finish() {
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        EVP_DigestFinal_ex(context_.get(), digest, &length);
        std::string text;
        for (unsigned int i = 0; i < length; ++i)
            text += fmt::format("{:02x}", digest[i]);
        return text;
    }

  private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
};

Response refused(int status, std::string text) {
    return {.status = status, .contentType = "text/plain", .body = std::move(text)};
}

std::optional<Response> problemOfPart(const Request& request, const UploadPart& part,
                                      std::string_view contentType) {
    if (request.method != "PUT") return refused(405, "Upload parts are sent with PUT.");
    if (request.header("Authorization")) return refused(400, "Upload parts are sent without a bearer token.");
    if (request.header("Content-Type").value_or("") != contentType)
        return refused(400, "The upload part lacks a request header that was asked for: Content-Type.");
    const auto length = request.header("Content-Length");
    if (length && *length != std::to_string(part.length))
        return refused(400, fmt::format("The upload part must have {} bytes, not {}.", part.length, *length));
    return std::nullopt;
}

} // namespace

/// Parts are digested in order: the next one while it arrives, a later one from its file when its turn comes.
class Uploads::Upload {
  public:
    Upload(std::vector<UploadPart> parts, std::string contentType, std::filesystem::path folder,
           std::string id)
        : parts_(std::move(parts)),
          contentType_(std::move(contentType)),
          waiting_(parts_.size()),
          folder_(std::move(folder)),
          id_(std::move(id)) {}
    ~Upload() {
        std::error_code ignored;
        for (std::size_t i = 0; i < parts_.size(); ++i)
            std::filesystem::remove(fileOf(i), ignored);
    }
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;

    [[nodiscard]] Response receive(std::size_t index, const Request& request) {
        if (index >= parts_.size()) return refused(404, "There is no such upload part.");
        if (auto problem = problemOfPart(request, parts_[index], contentType_)) return *problem;
        std::unique_lock lock(mutex_);
        const bool inOrder = index == digested_ && !digesting_;
        const Arrival arrival = inOrder ? digest(index, request, lock) : store(index, request, lock);
        if (!arrival.whole) return {.status = 0}; // the connection is gone
        if (arrival.length != parts_[index].length)
            return refused(400, fmt::format("The upload part must have {} bytes, not {}.",
                                            parts_[index].length, arrival.length));
        digestWaiting();
        return {.status = 200};
    }

    [[nodiscard]] std::optional<std::string> finish() {
        const std::lock_guard lock(mutex_);
        digestWaiting();
        if (digested_ < parts_.size()) return std::nullopt;
        return digest_.finish();
    }

  private:
    struct Arrival {
        bool whole = false; // the connection lasted to its end
        std::int64_t length = 0;
    };

    /// Receives the next part into the digest; the lock is open meanwhile.
    Arrival digest(std::size_t index, const Request& request, std::unique_lock<std::mutex>& lock) {
        digesting_ = true;
        MD5 grown = digest_;
        lock.unlock();
        Arrival arrival;
        arrival.whole = request.readBody([&](std::string_view bytes) {
            grown.update(bytes);
            arrival.length += static_cast<std::int64_t>(bytes.size());
            return true;
        });
        lock.lock();
        digesting_ = false;
        if (arrival.whole && arrival.length == parts_[index].length) {
            digest_ = std::move(grown);
            ++digested_;
        }
        return arrival;
    }

    /// Receives a part into a file of its own; the lock is open meanwhile.
    Arrival store(std::size_t index, const Request& request, std::unique_lock<std::mutex>& lock) {
        const std::filesystem::path path = fmt::format("{}.{}", fileOf(index).string(), ++arrivals_);
        lock.unlock();
        Arrival arrival;
        {
            std::ofstream file(path, std::ios::binary);
            arrival.whole = request.readBody([&](std::string_view bytes) {
                file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
                arrival.length += static_cast<std::int64_t>(bytes.size());
                return true;
            });
        }
        lock.lock();
        keep(index, path, arrival.whole && arrival.length == parts_[index].length);
        return arrival;
    }

    [[nodiscard]] std::filesystem::path fileOf(std::size_t index) const {
        return folder_ / fmt::format("{}-{}", id_, index);
    }
    void keep(std::size_t index, const std::filesystem::path& arrived, bool good) {
        std::error_code ignored;
        if (good && index >= digested_) {
            std::filesystem::rename(arrived, fileOf(index), ignored);
            waiting_[index] = true;
        } else {
            std::filesystem::remove(arrived, ignored);
        }
    }

    void digestWaiting() {
        while (!digesting_ && digested_ < parts_.size() && waiting_[digested_]) {
            std::ifstream file(fileOf(digested_), std::ios::binary);
            std::string buffer(1 << 16, '\0');
            while (file.read(buffer.data(), static_cast<std::streamsize>(buffer.size())) || file.gcount() > 0)
                digest_.update({buffer.data(), static_cast<std::size_t>(file.gcount())});
            std::error_code ignored;
            std::filesystem::remove(fileOf(digested_), ignored);
            ++digested_;
        }
    }

    std::mutex mutex_;
    std::vector<UploadPart> parts_;
    std::string contentType_;
    std::vector<bool> waiting_; // whole in their files
    std::size_t digested_ = 0;  // parts in the digest
    bool digesting_ = false;    // a part is being received into the digest
    int arrivals_ = 0;
    MD5 digest_;
    std::filesystem::path folder_;
    std::string id_;
};

std::vector<UploadPart> uploadParts(std::int64_t size) {
    constexpr std::int64_t lengths[] = {65'521, 100'003, 262'139}; // uneven, so that rounding is noticed
    constexpr std::int64_t large = 8'388'593;
    std::vector<UploadPart> parts;
    std::int64_t offset = 0;
    while (offset < size) {
        const std::size_t index = parts.size();
        const std::int64_t wanted = index < std::size(lengths) ? lengths[index] : large;
        // Small files come in two parts as well.
        const std::int64_t first = index == 0 && size <= wanted && size > 1 ? size / 3 + 1 : wanted;
        parts.push_back({offset, std::min(first, size - offset)});
        offset += parts.back().length;
    }
    return parts;
}

Uploads::Uploads(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
}

Uploads::~Uploads() = default;

std::shared_ptr<Uploads::Upload> Uploads::find(const std::string& id) {
    const std::lock_guard lock(mutex_);
    const auto found = uploads_.find(id);
    return found == uploads_.end() ? nullptr : found->second;
}

void Uploads::expect(const std::string& id, std::vector<UploadPart> parts, std::string contentType) {
    const std::lock_guard lock(mutex_);
    uploads_[id] = std::make_shared<Upload>(std::move(parts), std::move(contentType), folder_, id);
}

void Uploads::forget(const std::string& id) {
    const std::lock_guard lock(mutex_);
    uploads_.erase(id);
}

Response Uploads::receive(const std::string& id, std::size_t part, const Request& request) {
    const auto upload = find(id);
    return upload ? upload->receive(part, request) : refused(404, "There is no such upload.");
}

std::optional<std::string> Uploads::finish(const std::string& id) {
    const auto upload = find(id);
    if (!upload) return std::nullopt;
    auto digest = upload->finish();
    forget(id);
    return digest;
}

} // namespace quorvel::sandbox
