#include "Core/asc/ASCSettingsViewModel.h"
#include "Core/asc/KeyFiles.h"
#include "Platform/crypto/Digest.h"
#include "Platform/files/Files.h"
#include "Tests/support/FakeHTTPClient.h"
#include "Tests/support/TemporaryFolder.h"
#include "Tests/support/TestKey.h"

#include <gtest/gtest.h>

using namespace quorvel;
using test::FakeHTTPClient;
using Result = ASCSettingsViewModel::SaveResult;
using Key = KeychainStore::AccountKey;

namespace {

const std::string refusedKey =
    "Apple didn't accept this key. Check that the Key ID, the Issuer ID and the .p8 file all come from the "
    "same key — and that the key wasn't revoked.";
const auto accepted = FakeHTTPClient::status(200, R"({"data":[]})");

// A settings screen over a folder of its own and scripted answers.
struct Screen {
    test::TemporaryFolder folder;
    KeychainStore keychain{folder / "credentials.json"};
    std::shared_ptr<UserDefaults> defaults = std::make_shared<UserDefaults>(folder / "defaults.json");
    std::shared_ptr<NotificationCenter> center = std::make_shared<NotificationCenter>();
    int posted = 0;
    NotificationCenter::Subscription subscription =
        center->observe(ascCredentialsChangedNotification, [this](const Notification&) { ++posted; });
    std::shared_ptr<FakeHTTPClient> http;

    ASCSettingsViewModel open(FakeHTTPClient::Answer answer = accepted,
                              std::optional<std::string> scope = {}) {
        http = std::make_shared<FakeHTTPClient>(std::vector{std::move(answer)});
        return ASCSettingsViewModel({.keychain = keychain,
                                     .userDefaults = defaults,
                                     .notifications = center,
                                     .httpFactory = [this] { return http; },
                                     .baseURL = "https://example.test",
                                     .scope = std::move(scope)});
    }
    static void fill(ASCSettingsViewModel& model) {
        model.keyID = test::keyID;
        model.issuerID = test::issuerID;
        model.setPrivateKeyPEM(test::privateKey().toPEM());
    }
};

} // namespace

TEST(ASCSettingsViewModel, checksTheFormBeforeAnythingIsSent) {
    const std::string swappedKey =
        "That looks like the Issuer ID. The Key ID is the 10-character code in the key's row.";
    const std::string badKey = "Key IDs are 10 letters and digits, like 2X9AB7C4DE.";
    const std::string swappedIssuer =
        "That looks like the Key ID. The Issuer ID is the long one above the table of keys.";
    const std::string badIssuer = "Issuer IDs look like 57246542-96fe-1a63-e053-0824d011072a.";
    const std::string missing = "Fill in Key ID, Issuer ID, and select your .p8 file.";
    const struct {
        std::string keyID, issuerID, pem, message;
    } cases[] = {
        {"", test::issuerID, "pem", missing},
        {test::keyID, " \n", "pem", missing},
        {test::keyID, test::issuerID, "", missing},
        {test::issuerID, test::keyID, "pem", swappedKey},
        {"2X9AB7C4D", test::issuerID, "pem", badKey},
        {"2X9AB7C4D-", test::issuerID, "pem", badKey},
        {"2X9AB7C4DÉ", test::issuerID, "pem", badKey},
        {test::keyID, "2X9AB7C4DF", "pem", swappedIssuer},
        {test::keyID, "57246542-96fe-1a63-e053", "pem", badIssuer},
        {test::keyID, "57246542-96fe-1a63-e053-0824d011072g", "pem", badIssuer},
    };
    for (const auto& each : cases) {
        Screen screen;
        auto model = screen.open();
        model.keyID = each.keyID;
        model.issuerID = each.issuerID;
        model.setPrivateKeyPEM(each.pem);
        EXPECT_EQ(model.save(), Result::refusedByForm);
        EXPECT_EQ(model.status(), each.message);
        EXPECT_TRUE(screen.http->requests().empty());
        EXPECT_FALSE(std::filesystem::exists(screen.keychain.file()));
    }
}

TEST(ASCSettingsViewModel, verifiesWithOneAppThenStoresEverythingAndTellsOthers) {
    Screen screen;
    auto model = screen.open();
    Screen::fill(model);
    model.keyID = "  2X9AB7C4DE ";
    model.vendorNumber = "85012345";
    EXPECT_EQ(model.save(), Result::saved);
    ASSERT_EQ(screen.http->requests().size(), 1u);
    EXPECT_EQ(screen.http->requests()[0].url, "https://example.test/v1/apps?limit=1");
    EXPECT_EQ(screen.posted, 1);
    EXPECT_EQ(screen.keychain.read("asc-key-id"), "2X9AB7C4DE");
    EXPECT_EQ(screen.keychain.read("asc-issuer-id"), test::issuerID);
    EXPECT_EQ(screen.keychain.read("asc-private-key-pem"), test::privateKey().toPEM());
    EXPECT_EQ(screen.keychain.read("asc-vendor-number"), "85012345");

    auto scoped = screen.open(accepted, "app-7");
    Screen::fill(scoped);
    scoped.keyID = "AAAAAAAAAA";
    EXPECT_EQ(scoped.save(), Result::saved);
    EXPECT_EQ(screen.keychain.read("app-7.asc-key-id"), "AAAAAAAAAA");
    EXPECT_EQ(screen.keychain.read("asc-key-id"), "2X9AB7C4DE");
}

TEST(ASCSettingsViewModel, changesNothingWhenTheKeyIsNotVerified) {
    Screen screen;
    auto first = screen.open();
    Screen::fill(first);
    ASSERT_EQ(first.save(), Result::saved);
    const auto before = readFile(screen.keychain.file());
    const std::string still = " Nothing was changed — Quorvel is still using key 2X9AB7C4DE.";
    const struct {
        FakeHTTPClient::Answer answer;
        Result result;
        std::string message;
    } cases[] = {
        {FakeHTTPClient::status(401, R"({"errors":[{"status":"401","title":"Bad"}]})"),
         Result::refusedByApple, refusedKey},
        {FakeHTTPClient::status(401, ""), Result::refusedByApple, refusedKey},
        {FakeHTTPClient::status(403, ""), Result::refusedByApple,
         "The API key isn't allowed to do this (403). "
         "Metadata and builds need the App Manager or Admin role; sales reports need Admin, "
         "Finance or Sales."},
        {[](const HTTPRequest&) -> HTTPResponse {
             throw TransportError(TransportError::Kind::couldNotConnect, "connection refused");
         },
         Result::failed,
         "Couldn't reach App Store Connect (connection refused). Check your connection and try again."},
    };
    for (const auto& each : cases) {
        auto model = screen.open(each.answer);
        Screen::fill(model);
        model.keyID = "BBBBBBBBBB";
        EXPECT_EQ(model.save(), each.result);
        EXPECT_EQ(model.status(), each.message + still);
        EXPECT_EQ(readFile(screen.keychain.file()), before);
        EXPECT_EQ(screen.posted, 1);
    }
    auto model = screen.open();
    Screen::fill(model);
    model.setPrivateKeyPEM("not a key");
    EXPECT_EQ(model.save(), Result::refusedByForm);
    EXPECT_TRUE(model.status().starts_with("The .p8 private key can't be read (")) << model.status();
    EXPECT_TRUE(screen.http->requests().empty());
}

TEST(ASCSettingsViewModel, verifiesAgainWhenOnlyTheClockWasWrong) {
    Screen screen;
    int calls = 0;
    auto model = screen.open([&](const HTTPRequest&) {
        const std::vector<HTTPHeader> date{{"Date", "Sun, 06 Nov 1994 08:49:37 GMT"}};
        return ++calls == 1 ? HTTPResponse{401, date, ""} : HTTPResponse{200, date, R"({"data":[]})"};
    });
    Screen::fill(model);
    EXPECT_EQ(model.save(), Result::saved);
    EXPECT_EQ(calls, 2);
    EXPECT_LT(model.clockCorrection(), std::chrono::hours(-24));

    auto wrongKey = screen.open([&](const HTTPRequest&) {
        return HTTPResponse{401, {{"Date", formatHTTPDate(systemClock()())}}, ""};
    });
    Screen::fill(wrongKey);
    EXPECT_EQ(wrongKey.save(), Result::refusedByApple);
    EXPECT_EQ(screen.http->requests().size(), 1u);
}

TEST(ASCSettingsViewModel, dropsTheVendorNumberOfAnotherTeam) {
    Screen screen;
    auto first = screen.open();
    Screen::fill(first);
    first.vendorNumber = "85012345";
    ASSERT_EQ(first.save(), Result::saved);
    EXPECT_FALSE(first.vendorClearedForNewTeam());

    auto moved = screen.open();
    EXPECT_EQ(moved.vendorNumber, "85012345");
    moved.issuerID = makeUUID();
    ASSERT_EQ(moved.save(), Result::saved);
    EXPECT_TRUE(moved.vendorClearedForNewTeam());
    EXPECT_EQ(screen.keychain.read("asc-vendor-number"), std::nullopt);

    auto named = screen.open();
    named.issuerID = test::issuerID;
    named.vendorNumber = "99";
    ASSERT_EQ(named.save(), Result::saved);
    EXPECT_FALSE(named.vendorClearedForNewTeam());
    EXPECT_EQ(screen.keychain.read("asc-vendor-number"), "99");

    // Named, it is the new team's even where it is the one of before.
    auto same = screen.open();
    same.issuerID = makeUUID();
    same.giveVendorNumber("99");
    ASSERT_EQ(same.save(), Result::saved);
    EXPECT_FALSE(same.vendorClearedForNewTeam());
    EXPECT_EQ(screen.keychain.read("asc-vendor-number"), "99");
}

TEST(ASCSettingsViewModel, leavesTheVendorNumberThatAnotherProcessStoredMeanwhile) {
    Screen screen;
    auto model = screen.open([&](const HTTPRequest&) {
        screen.keychain.write({{"asc-issuer-id", test::issuerID}, {"asc-vendor-number", "85012345"}});
        return HTTPResponse{200, {}, R"({"data":[]})"};
    });
    Screen::fill(model);
    ASSERT_EQ(model.save(), Result::saved);
    EXPECT_EQ(screen.keychain.read("asc-vendor-number"), "85012345");
}

TEST(ASCSettingsViewModel, savesAndForgetsAKeyThoughTheNameOfItsFileCannotBeKept) {
    Screen screen;
    createFolders(screen.folder / ".defaults.json.lock"); // a folder cannot be locked
    auto model = screen.open();
    Screen::fill(model);
    EXPECT_EQ(model.save(), Result::saved);
    EXPECT_EQ(model.status(), "Saved.");
    EXPECT_EQ(screen.posted, 1);
    model.forget();
    EXPECT_EQ(screen.keychain.read("asc-key-id"), std::nullopt);
    EXPECT_EQ(screen.posted, 2);
}

TEST(ASCSettingsViewModel, takesTheKeyIDFromTheFileNameButNeverOverATypedOne) {
    const std::pair<const char*, std::optional<std::string>> names[] = {
        {"AuthKey_2X9AB7C4DE.p8", "2X9AB7C4DE"},
        {"AuthKey_2X9AB7C4DE (1).p8", "2X9AB7C4DE"},
        {"AuthKey_ABC.p8", {}},
        {"AuthKey_2X9AB7C4DEF.p8", {}},
        {"Key_2X9AB7C4DE.p8", {}},
        {"authkey_2X9AB7C4DE.p8", {}},
    };
    for (const auto& [name, keyID] : names)
        EXPECT_EQ(keyIDFromFileName(name), keyID) << name;

    Screen screen;
    const std::string pem = test::privateKey().toPEM();
    for (const char* name : {"AuthKey_AAAAAAAAAA.p8", "AuthKey_BBBBBBBBBB.p8", "other.p8"})
        writeFileAtomically(screen.folder / name, pem);
    auto model = screen.open();
    EXPECT_TRUE(model.pickPrivateKey(screen.folder / "AuthKey_AAAAAAAAAA.p8"));
    EXPECT_EQ(model.keyID, "AAAAAAAAAA");
    EXPECT_TRUE(model.pickPrivateKey(screen.folder / "AuthKey_BBBBBBBBBB.p8"));
    EXPECT_EQ(model.keyID, "BBBBBBBBBB");
    EXPECT_TRUE(model.keyIDCameFromFileName());
    model.keyID = "TYPED12345";
    EXPECT_TRUE(model.pickPrivateKey(screen.folder / "AuthKey_AAAAAAAAAA.p8"));
    EXPECT_EQ(model.keyID, "TYPED12345");
    model.issuerID = test::issuerID;
    ASSERT_EQ(model.save(), Result::saved);
    EXPECT_EQ(screen.defaults->string("asc.privateKey.fileName"), "AuthKey_AAAAAAAAAA.p8");
    EXPECT_EQ(screen.open().privateKeyFileName(), "AuthKey_AAAAAAAAAA.p8");

    EXPECT_FALSE(model.pickPrivateKey(screen.folder / "missing.p8"));
    EXPECT_TRUE(model.status().starts_with("Could not read .p8 file: ")) << model.status();
    EXPECT_TRUE(model.hasPrivateKey());
    model.forget();
    EXPECT_EQ(screen.keychain.read("asc-key-id"), std::nullopt);
    EXPECT_FALSE(model.hasPrivateKey());
}

TEST(ASCSettingsViewModel, logsNoSecret) {
    const LogCapture log;
    Screen screen;
    auto model = screen.open(FakeHTTPClient::status(401, ""));
    Screen::fill(model);
    (void)model.save();
    (void)model.pickPrivateKey(screen.folder / "missing.p8");
    EXPECT_NE(log.text().find("Validation failed: "), std::string::npos);
    EXPECT_NE(log.text().find("Failed to read .p8 at "), std::string::npos);
    const std::string pem = test::privateKey().toPEM();
    const std::string start = pem.substr(40, 20);
    std::string body = pem.substr(pem.find('\n') + 1);
    body.resize(body.find("-----"));
    std::erase(body, '\n');
    for (const std::string& picked : {pem, body}) {
        EXPECT_FALSE(model.pickPrivateKey(screen.folder / picked));
        EXPECT_EQ(model.status().find(start), std::string::npos);
    }
    EXPECT_EQ(log.text().find(start), std::string::npos);
}
