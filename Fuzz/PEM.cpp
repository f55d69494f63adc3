// Any bytes as a private key: a key that signs, or a reason that quotes nothing of the input.
#include "Platform/crypto/P256PrivateKey.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        if (P256PrivateKey::fromPEM(text).sign("message").size() != 64) std::abort();
    } catch (const CryptoError& error) {
        const std::string reason = error.what();
        if (reason.empty()) std::abort();
        if (size >= 24 && reason.find(text.substr(0, 24)) != std::string::npos) std::abort();
    }
    return 0;
}
