#include "Sandbox/server/AccountKey.h"

#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/json/JSON.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <stdexcept>

namespace quorvel::sandbox {
namespace {

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* pointer) const {
        Free(pointer);
    }
};
using PKey = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Memory = std::unique_ptr<BIO, Freed<BIO_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Freed<EVP_MD_CTX_free>>;
using Signature = std::unique_ptr<ECDSA_SIG, Freed<ECDSA_SIG_free>>;

constexpr double longestLife = 20 * 60;
constexpr double tolerance = 60; // seconds that a token may be issued ahead of time
constexpr double expiryTolerance = 5;

std::string derEncoded(std::string_view rawSignature) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(rawSignature.data());
    const Signature signature(ECDSA_SIG_new());
    ECDSA_SIG_set0(signature.get(), BN_bin2bn(bytes, 32, nullptr), BN_bin2bn(bytes + 32, 32, nullptr));
    unsigned char* encoded = nullptr;
    const int length = i2d_ECDSA_SIG(signature.get(), &encoded);
    std::string der(reinterpret_cast<const char*>(encoded), static_cast<size_t>(std::max(length, 0)));
    OPENSSL_free(encoded);
    return der;
}

std::optional<JSONValue> decodePart(std::string_view part) {
    const auto bytes = base64URLDecode(part);
    if (!bytes) return std::nullopt;
    try {
        return decodeJSON<JSONValue>(*bytes);
    } catch (const JSONError&) {
        return std::nullopt;
    }
}

bool isText(const JSONValue& object, std::string_view key, std::string_view expected) {
    const JSONValue* member = object.find(key);
    return member && member->text() && *member->text() == expected;
}

struct TokenParts {
    std::string_view header, claims, signature;
};

std::optional<TokenParts> splitToken(std::string_view authorization) {
    constexpr std::string_view scheme = "Bearer ";
    if (!authorization.starts_with(scheme)) return std::nullopt;
    const std::string_view token = authorization.substr(scheme.size());
    const size_t first = token.find('.');
    const size_t second = token.find('.', first == token.npos ? first : first + 1);
    if (second == token.npos) return std::nullopt;
    return TokenParts{token.substr(0, first), token.substr(first + 1, second - first - 1),
                      token.substr(second + 1)};
}

bool claimsHold(const JSONValue& claims, const TokenRules& rules, Date now) {
    if (!isText(claims, "iss", rules.issuerID) || !isText(claims, "aud", "appstoreconnect-v1")) return false;
    const JSONValue* expiry = claims.find("exp");
    const JSONValue* issued = claims.find("iat");
    if (!expiry || !expiry->integer() || (issued && !issued->integer())) return false;
    const double seconds = secondsSince1970(now);
    const auto end = static_cast<double>(*expiry->integer());
    const double begin = issued ? static_cast<double>(*issued->integer()) : seconds;
    return end > seconds && end <= seconds + longestLife + expiryTolerance && end - begin <= longestLife &&
           begin <= seconds + tolerance;
}

} // namespace

struct AccountKey::Key {
    PKey pkey;
};

AccountKey::AccountKey(std::shared_ptr<const Key> key) : key_(std::move(key)) {}

AccountKey AccountKey::load(const std::filesystem::path& privateKeyFile) {
    const std::string pem = readFile(privateKeyFile).value_or("");
    const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    PKey pkey(PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr));
    if (!pkey)
        throw std::runtime_error("The sandbox's key file " + privateKeyFile.string() +
                                 " cannot be read. Delete the state folder to begin with a fresh account.");
    return AccountKey(std::make_shared<const Key>(Key{std::move(pkey)}));
}

AccountKey AccountKey::create(const std::filesystem::path& privateKeyFile) {
    PKey pkey(EVP_EC_gen("P-256"));
    const Memory memory(BIO_new(BIO_s_mem()));
    if (!pkey ||
        PEM_write_bio_PrivateKey(memory.get(), pkey.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
        throw std::runtime_error("The sandbox could not make a key.");
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    writeFileAtomically(privateKeyFile, {text, static_cast<size_t>(length)}, FileMode::secret);
    return AccountKey(std::make_shared<const Key>(Key{std::move(pkey)}));
}

bool AccountKey::verifies(std::string_view message, std::string_view signature) const {
    if (signature.size() != 64) return false;
    const std::string der = derEncoded(signature);
    const DigestContext context(EVP_MD_CTX_new());
    return EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key_->pkey.get()) == 1 &&
           EVP_DigestVerify(context.get(), reinterpret_cast<const unsigned char*>(der.data()), der.size(),
                            reinterpret_cast<const unsigned char*>(message.data()), message.size()) == 1;
}

bool acceptsToken(std::string_view authorization, const TokenRules& rules, const AccountKey& key, Date now) {
    const auto parts = splitToken(authorization);
    if (!parts) return false;
    const auto header = decodePart(parts->header);
    const auto claims = decodePart(parts->claims);
    const auto signature = base64URLDecode(parts->signature);
    if (!header || !claims || !signature) return false;
    if (!isText(*header, "alg", "ES256") || !isText(*header, "kid", rules.keyID)) return false;
    const std::string_view signedPart(parts->header.data(), parts->header.size() + 1 + parts->claims.size());
    return claimsHold(*claims, rules, now) && key.verifies(signedPart, *signature);
}

std::string describeAuthorization(std::string_view authorization) {
    if (authorization.empty()) return "";
    const auto parts = splitToken(authorization);
    const auto header = parts ? decodePart(parts->header) : std::nullopt;
    const JSONValue* keyID = header ? header->find("kid") : nullptr;
    const std::string scheme(authorization.substr(0, authorization.find(' ')));
    if (scheme != "Bearer") return "(another scheme)";
    return scheme + " " + (keyID && keyID->text() ? *keyID->text() : "(unreadable)");
}

} // namespace quorvel::sandbox
