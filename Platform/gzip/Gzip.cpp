#include "Platform/gzip/Gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace quorvel {

namespace {

constexpr std::size_t pieceBytes = 64 << 10;
constexpr int gzipOnly = 15 + 16; // the largest window, and a gzip header

/// One stream of the library, ended with the object.
class InflateStream {
  public:
    InflateStream() {
        if (const int status = inflateInit2(&stream_, gzipOnly); status != Z_OK)
            throw GzipError(status, "the inflating library did not start");
    }
    ~InflateStream() { inflateEnd(&stream_); }
    InflateStream(const InflateStream&) = delete;
    InflateStream& operator=(const InflateStream&) = delete;

    z_stream& operator*() { return stream_; }
    z_stream* operator->() { return &stream_; }

  private:
    z_stream stream_ = {};
};

std::string reasonOf(const z_stream& stream, int status) {
    if (stream.msg != nullptr) return stream.msg;
    return status == Z_BUF_ERROR ? "unexpected end of file" : zError(status);
}

} // namespace

void inflateGzip(std::string_view compressed, std::uint64_t maximumBytes,
                 const std::function<void(std::string_view piece)>& onPiece) {
    if (compressed.empty()) throw GzipError(Z_BUF_ERROR, "the file is empty");
    InflateStream stream;
    std::vector<char> piece(pieceBytes);
    std::string_view rest = compressed;
    std::uint64_t total = 0;
    do {
        int status = Z_OK;
        while (status != Z_STREAM_END) {
            const auto given = std::min<std::size_t>(rest.size(), std::numeric_limits<uInt>::max());
            stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(rest.data())); // it only reads
            stream->avail_in = static_cast<uInt>(given);
            stream->next_out = reinterpret_cast<Bytef*>(piece.data());
            stream->avail_out = static_cast<uInt>(piece.size());
            status = inflate(&*stream, Z_NO_FLUSH);
            if (status != Z_OK && status != Z_STREAM_END) throw GzipError(status, reasonOf(*stream, status));
            rest.remove_prefix(given - stream->avail_in);
            const std::size_t made = piece.size() - stream->avail_out;
            total += made;
            if (total > maximumBytes)
                throw GzipError(0, "it holds more than " + std::to_string(maximumBytes) + " bytes");
            if (made != 0) onPiece({piece.data(), made});
        }
        const auto next = rest.find_first_not_of('\0');
        rest.remove_prefix(next == rest.npos ? rest.size() : next);
        inflateReset(&*stream);
    } while (!rest.empty());
}

} // namespace quorvel
