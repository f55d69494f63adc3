#include "Platform/crypto/Digest.h"

#include "Platform/crypto/P256PrivateKey.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>

namespace quorvel {

namespace {

constexpr std::string_view standardAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view urlAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

template <std::size_t Size>
std::array<std::uint8_t, Size> digest(std::string_view bytes, const EVP_MD* algorithm) {
    std::array<std::uint8_t, Size> result{};
    unsigned length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), result.data(), &length, algorithm, nullptr) != 1 ||
        length != Size)
        throw CryptoError("The digest could not be computed.");
    return result;
}

template <std::size_t Size>
std::string_view view(const std::array<std::uint8_t, Size>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string encode(std::string_view bytes, std::string_view alphabet) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::uint32_t pending = 0;
    int bits = 0;
    for (const char byte : bytes) {
        pending = pending << 8 | static_cast<std::uint8_t>(byte);
        for (bits += 8; bits >= 6; bits -= 6)
            text.push_back(alphabet[pending >> (bits - 6) & 63]);
    }
    if (bits > 0) text.push_back(alphabet[pending << (6 - bits) & 63]);
    return text;
}

using Values = std::array<std::int8_t, 256>;

constexpr Values valuesOf(std::string_view alphabet) {
    Values values{};
    values.fill(-1);
    for (std::size_t at = 0; at < alphabet.size(); ++at)
        values[static_cast<std::uint8_t>(alphabet[at])] = static_cast<std::int8_t>(at);
    return values;
}

// Only the one spelling that encode() writes is accepted, so that equal texts and equal bytes are the same.
std::optional<std::string> decode(std::string_view text, const Values& values) {
    if (text.size() % 4 == 1) return std::nullopt;
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    std::uint32_t pending = 0;
    int bits = 0;
    for (const char character : text) {
        const int value = values[static_cast<std::uint8_t>(character)];
        if (value < 0) return std::nullopt;
        pending = pending << 6 | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<char>(pending >> bits & 0xFF));
    }
    if ((pending & ((1U << bits) - 1)) != 0) return std::nullopt;
    return bytes;
}

bool isHexDigit(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

} // namespace

SHA256Digest sha256(std::string_view bytes) {
    return digest<32>(bytes, EVP_sha256());
}

SHA256Digest hmacSHA256(std::string_view key, std::string_view bytes) {
    SHA256Digest result{};
    unsigned length = 0;
    if (key.size() > INT_MAX ||
        !HMAC(EVP_sha256(), key.empty() ? "" : key.data(), static_cast<int>(key.size()),
              reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), result.data(), &length))
        throw CryptoError("The message authentication code could not be computed.");
    return result;
}

std::string md5Hex(std::string_view bytes) {
    return hex(view(digest<16>(bytes, EVP_md5())));
}

struct PiecewiseDigest::Context {
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> digest{EVP_MD_CTX_new()};
};

PiecewiseDigest::PiecewiseDigest(const char* algorithm) : context_(std::make_unique<Context>()) {
    const EVP_MD* type = EVP_get_digestbyname(algorithm);
    if (!type || !context_->digest || EVP_DigestInit_ex(context_->digest.get(), type, nullptr) != 1)
        throw CryptoError("The digest could not be computed.");
}

PiecewiseDigest::~PiecewiseDigest() = default;

void PiecewiseDigest::update(std::string_view bytes) {
    if (EVP_DigestUpdate(context_->digest.get(), bytes.data(), bytes.size()) != 1)
        throw CryptoError("The digest could not be computed.");
}

std::string PiecewiseDigest::finishHex() {
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> result{};
    unsigned length = 0;
    if (EVP_DigestFinal_ex(context_->digest.get(), result.data(), &length) != 1)
        throw CryptoError("The digest could not be computed.");
    return hex(view(result).substr(0, length));
}

std::string sha256Hex(std::string_view bytes) {
    return hex(view(sha256(bytes)));
}

std::string hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        text.push_back(digits[static_cast<std::uint8_t>(byte) >> 4]);
        text.push_back(digits[static_cast<std::uint8_t>(byte) & 15]);
    }
    return text;
}

std::string base64Encode(std::string_view bytes) {
    std::string text = encode(bytes, standardAlphabet);
    text.append((4 - text.size() % 4) % 4, '=');
    return text;
}

std::optional<std::string> base64Decode(std::string_view text) {
    static constexpr Values values = valuesOf(standardAlphabet);
    if (text.size() % 4 != 0) return std::nullopt;
    if (text.ends_with("==")) return decode(text.substr(0, text.size() - 2), values);
    if (text.ends_with("=")) return decode(text.substr(0, text.size() - 1), values);
    return decode(text, values);
}

std::string base64URLEncode(std::string_view bytes) {
    return encode(bytes, urlAlphabet);
}

std::optional<std::string> base64URLDecode(std::string_view text) {
    static constexpr Values values = valuesOf(urlAlphabet);
    return decode(text, values);
}

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t at = 0; at < count;) {
        const std::size_t part = std::min<std::size_t>(count - at, INT_MAX);
        if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data() + at), static_cast<int>(part)) != 1)
            throw CryptoError("The system's random generator gave no bytes.");
        at += part;
    }
    return bytes;
}

std::string makeUUID() {
    std::string bytes = randomBytes(16);
    bytes[6] = static_cast<char>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<char>((bytes[8] & 0x3F) | 0x80); // variant of RFC 4122
    std::string text = hex(bytes);
    for (const std::size_t at : {8, 13, 18, 23})
        text.insert(at, 1, '-');
    return text;
}

bool isUUID(std::string_view text) {
    if (text.size() != 36) return false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
        if (dash ? text[at] != '-' : !isHexDigit(text[at])) return false;
    }
    return true;
}

} // namespace quorvel
