#include "Core/asc/ASCError.h"
#include "Core/asc/ASCTokenProvider.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Tests/support/TemporaryFolder.h"
#include "Tests/support/TestKey.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

using namespace quorvel;
using namespace std::chrono_literals;

namespace {

const Date start = dateFromSecondsSince1970(1'700'000'000);

struct Parts {
    std::string header, payload, signature;
};

Parts split(const std::string& token) {
    const auto first = token.find('.'), last = token.rfind('.');
    return {token.substr(0, first), token.substr(first + 1, last - first - 1), token.substr(last + 1)};
}

} // namespace

TEST(ASCAuth, signsSortedHeaderAndClaimsWithARawSignature) {
    const auto [token, expiresAt] = test::auth().makeToken(start + 999ms);
    const Parts parts = split(token);
    EXPECT_EQ(base64URLDecode(parts.header), R"({"alg":"ES256","kid":"2X9AB7C4DE","typ":"JWT"})");
    EXPECT_EQ(base64URLDecode(parts.payload),
              R"({"aud":"appstoreconnect-v1","exp":1700001200,"iat":1700000000,)"
              R"("iss":"57246542-96fe-1a63-e053-0824d011072a"})");
    EXPECT_EQ(parts.signature.size(), 86u);
    EXPECT_EQ(token.find('='), std::string::npos);
    EXPECT_EQ(expiresAt, start + 999ms + 1200s);

    const Parts again = split(test::auth().makeToken(start).token);
    EXPECT_EQ(again.header + again.payload, parts.header + parts.payload);
    EXPECT_NE(again.signature, parts.signature);
}

namespace {

// One of the two integers of a signature as DER writes it: shortest form, never negative.
std::string derInteger(std::string_view bytes) {
    while (bytes.size() > 1 && bytes.front() == 0)
        bytes.remove_prefix(1);
    std::string value(bytes);
    if (static_cast<unsigned char>(value.front()) >= 0x80) value.insert(value.begin(), '\0');
    return std::string{'\x02', static_cast<char>(value.size())} + value;
}

} // namespace

TEST(ASCAuth, signsTokensThatOpenSSLsCommandLineVerifies) {
    if (std::system("openssl version >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no openssl program";
    const test::TemporaryFolder folder;
    writeFileAtomically(folder / "key.pem", test::privateKey().publicKeyPEM());
    for (int round = 0; round < 8; ++round) {
        const std::string token = test::auth().makeToken(start + round * 1s).token;
        const std::string raw = base64URLDecode(split(token).signature).value();
        const std::string integers = derInteger(raw.substr(0, 32)) + derInteger(raw.substr(32));
        writeFileAtomically(folder / "signature",
                            std::string{'\x30', static_cast<char>(integers.size())} + integers);
        writeFileAtomically(folder / "input", token.substr(0, token.rfind('.')));
        writeFileAtomically(folder / "other", token.substr(1, token.rfind('.') - 1));
        const auto verify = [&](const char* input) {
            return std::system(("cd '" + folder.path().string() +
                                "' && openssl dgst -sha256 -verify key.pem -signature signature " + input +
                                " >/dev/null 2>&1")
                                   .c_str());
        };
        EXPECT_EQ(verify("input"), 0);
        EXPECT_NE(verify("other"), 0);
    }
}

TEST(ASCTokenProvider, reusesATokenUntilAMinuteOfItIsLeft) {
    Date now = start;
    ASCTokenProvider provider(test::auth(), [&] { return now; });
    const std::string first = provider.token();
    now = start + 1200s - 61s;
    EXPECT_EQ(provider.token(), first);
    now = start + 1200s - 60s;
    const std::string second = provider.token();
    EXPECT_NE(second, first);
    provider.invalidate();
    EXPECT_NE(provider.token(), second);
    EXPECT_EQ(provider.signatureCount(), 3u);
}

TEST(ASCTokenProvider, signsOnceForManyConcurrentCallers) {
    ASCTokenProvider provider(test::auth(), [] { return start; });
    std::vector<int> callers(64);
    const auto tokens = parallelMap(callers, 16, [&](int) { return provider.token(); });
    EXPECT_EQ(std::set<std::string>(tokens.begin(), tokens.end()).size(), 1u);
    EXPECT_EQ(provider.signatureCount(), 1u);
}

TEST(ASCTokenProvider, signsWithTheServersClockOnceItIsKnown) {
    struct Case {
        const char* what;
        std::vector<Date> answers;
        std::chrono::milliseconds expected;
    };
    const Case cases[] = {
        {"a clock that is right", {start - 1s}, -1s},
        {"a clock that is ahead", {start - 40s}, -40s},
        {"a clock that is behind", {start + 300s}, 300s},
        {"a lead within what a header tells", {start + 1s}, 0s},
        {"the quickest answer counts", {start - 30s, start - 2s, start - 20s}, -2s},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        ASCTokenProvider provider(test::auth(), [] { return start; });
        for (const Date answer : each.answers)
            provider.noteServerDate(answer);
        EXPECT_EQ(provider.clockCorrection(), each.expected);
        const auto payload =
            decodeJSON<ASCAuth::Payload>(base64URLDecode(split(provider.token()).payload).value());
        EXPECT_EQ(payload.iat, 1'700'000'000 + each.expected / 1000ms);
    }
}
