// Reading gzip in pieces.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// Bytes that are no whole gzip document, or hold more than was allowed.
class GzipError : public std::runtime_error {
  public:
    GzipError(int status, const std::string& reason) : std::runtime_error(reason), status_(status) {}
    /// The inflating library's own status; 0 when the bound was reached.
    [[nodiscard]] int status() const { return status_; }

  private:
    int status_;
};

/// Inflates a document of one or several gzip members and hands out pieces of at most 64 KB. Zero bytes after
/// the last member are padding. The size that a member claims is not trusted. Throws `GzipError` when the
/// document is damaged, truncated or followed by something else, or holds more than `maximumBytes`; the
/// pieces before were handed out already (RFC 1952).
void inflateGzip(std::string_view compressed, std::uint64_t maximumBytes,
                 const std::function<void(std::string_view piece)>& onPiece);

} // namespace quorvel
