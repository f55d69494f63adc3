#include "Core/asc/ASCAuth.h"

#include "Core/asc/ASCError.h"
#include "Platform/crypto/Digest.h"

#include <chrono>

namespace quorvel {

namespace {

constexpr std::chrono::seconds lifetime{1200};

template <typename Part>
std::string encodePart(const Part& part) {
    return base64URLEncode(encodeJSON(part, {JSONLayout::compact, JSONKeyOrder::sorted}));
}

std::int64_t wholeSecondsSince1970(Date date) {
    return std::chrono::duration_cast<std::chrono::seconds>(date.time_since_epoch()).count();
}

} // namespace

ASCAuth::Token ASCAuth::makeToken(Date now) const {
    const Date expiresAt = now + lifetime;
    const Header header{"ES256", keyID, "JWT"};
    const Payload payload{issuerID, wholeSecondsSince1970(now), wholeSecondsSince1970(expiresAt),
                          "appstoreconnect-v1"};
    try {
        const std::string signingInput = encodePart(header) + "." + encodePart(payload);
        return {signingInput + "." + base64URLEncode(privateKey.sign(signingInput)), expiresAt};
    } catch (const CryptoError&) {
        throw ASCError(ASCError::JWTEncodingFailed{});
    }
}

} // namespace quorvel
