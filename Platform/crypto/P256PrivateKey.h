// ECDSA keys on the curve P-256, as bearer tokens are signed with.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel {

/// A key that cannot be read or used; the text says why and holds nothing of the key.
class CryptoError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A private signing key; copies share it. Never printed, never compared.
class P256PrivateKey {
  public:
    /// Parses a PKCS#8 PEM ("BEGIN PRIVATE KEY"), or a SEC1 one ("BEGIN EC PRIVATE KEY"). Throws
    /// `CryptoError` with a reason that tells an encrypted key, a public key or certificate, a key of another
    /// kind or curve, and text that is no key at all from each other.
    [[nodiscard]] static P256PrivateKey fromPEM(std::string_view pem);

    /// Makes a fresh key.
    [[nodiscard]] static P256PrivateKey generate();

    /// The ECDSA signature over SHA-256 of `message` as the 64 bytes r ‖ s. Throws `CryptoError`.
    [[nodiscard]] std::string sign(std::string_view message) const;

    /// The key as PKCS#8 PEM; for stand-ins that hand out keys of their own.
    [[nodiscard]] std::string toPEM() const;
    /// The public half as PEM ("BEGIN PUBLIC KEY").
    [[nodiscard]] std::string publicKeyPEM() const;

  private:
    struct Key;
    explicit P256PrivateKey(std::shared_ptr<const Key> key);
    std::shared_ptr<const Key> key_;
};

} // namespace quorvel
