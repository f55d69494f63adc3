// Digests, message authentication, Base64, random bytes and identifiers.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace quorvel {

using SHA256Digest = std::array<std::uint8_t, 32>;

[[nodiscard]] SHA256Digest sha256(std::string_view bytes);
[[nodiscard]] SHA256Digest hmacSHA256(std::string_view key, std::string_view bytes);
[[nodiscard]] std::string md5Hex(std::string_view bytes);
/// A digest of bytes that come piece by piece.
class PiecewiseDigest {
  public:
    ~PiecewiseDigest();
    PiecewiseDigest(const PiecewiseDigest&) = delete;
    PiecewiseDigest& operator=(const PiecewiseDigest&) = delete;

    void update(std::string_view bytes);
    /// The digest in lower-case hexadecimal; nothing may be added after it.
    [[nodiscard]] std::string finishHex();

  protected:
    explicit PiecewiseDigest(const char* algorithm);

  private:
    struct Context;
    std::unique_ptr<Context> context_;
};
class MD5 : public PiecewiseDigest {
  public:
    MD5() : PiecewiseDigest("MD5") {}
};
class SHA256 : public PiecewiseDigest {
  public:
    SHA256() : PiecewiseDigest("SHA256") {}
};
[[nodiscard]] std::string sha256Hex(std::string_view bytes);
[[nodiscard]] std::string hex(std::string_view bytes);

[[nodiscard]] std::string base64Encode(std::string_view bytes);
/// Decodes standard Base64 with padding; nothing when the text is not that.
[[nodiscard]] std::optional<std::string> base64Decode(std::string_view text);
/// Base64 with "-" and "_" for "+" and "/" and without "=" (RFC 7515, appendix C).
[[nodiscard]] std::string base64URLEncode(std::string_view bytes);
[[nodiscard]] std::optional<std::string> base64URLDecode(std::string_view text);

/// Bytes from the system's secure generator.
[[nodiscard]] std::string randomBytes(std::size_t count);
/// A random UUID in lower case.
[[nodiscard]] std::string makeUUID();
/// Whether `text` is a UUID in its 8-4-4-4-12 form, in either case.
[[nodiscard]] bool isUUID(std::string_view text);

} // namespace quorvel
