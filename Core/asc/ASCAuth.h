// An App Store Connect API key and the bearer tokens that it signs.
#pragma once

#include "Platform/crypto/P256PrivateKey.h"
#include "Platform/json/JSON.h"
#include "Platform/time/Date.h"

#include <cstdint>
#include <string>

namespace quorvel {

/// A team's key: identifiers and the private signing key.
struct ASCAuth {
    std::string keyID;    // ten characters; `kid` of the token
    std::string issuerID; // UUID of the team; `iss` of the token
    P256PrivateKey privateKey;

    struct Header {
        std::string alg;
        std::string kid;
        std::string typ;
        QUORVEL_RECORD(Header, alg, kid, typ)
    };
    struct Payload {
        std::string iss;
        std::int64_t iat = 0; // seconds since 1970
        std::int64_t exp = 0;
        std::string aud;
        QUORVEL_RECORD(Payload, iss, iat, exp, aud)
    };
    struct Token {
        std::string token;
        Date expiresAt;
    };

    /// Signs a token (ES256) that is valid for twenty minutes from `now`. Throws
    /// `ASCError::JWTEncodingFailed`.
    [[nodiscard]] Token makeToken(Date now) const;
};

} // namespace quorvel
