// An API key for tests, made once per process.
#pragma once

#include "Core/asc/ASCAuth.h"

#include <string>

namespace quorvel::test {

inline const std::string keyID = "2X9AB7C4DE";
inline const std::string issuerID = "57246542-96fe-1a63-e053-0824d011072a";

inline const P256PrivateKey& privateKey() {
    static const P256PrivateKey key = P256PrivateKey::generate();
    return key;
}

inline ASCAuth auth() {
    return {keyID, issuerID, privateKey()};
}

} // namespace quorvel::test
