// Any bytes as a private key: a key that signs, or one of a few reasons, none of which can thus quote the
// input.
#include "Platform/crypto/P256PrivateKey.h"

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

constexpr std::size_t mostReasons = 30;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        if (P256PrivateKey::fromPEM(text).sign("message").size() != 64) std::abort();
    } catch (const CryptoError& error) {
        static std::set<std::string> reasons;
        if (reasons.insert(error.what()).second && reasons.size() > mostReasons) std::abort();
    }
    return 0;
}
