// What a push does when requests, files or App Store Connect misbehave in one exact way.
#include "Core/asc/ASCError.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Platform/crypto/Digest.h"
#include "Platform/task/Task.h"
#include "Tests/support/ScreenshotSandbox.h"

#include <gmock/gmock.h>

#include <cstring>
#include <fstream>

using namespace quorvel;
using test::put;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr auto append = ScreenshotPushMode::append;
constexpr auto replaceSet = ScreenshotPushMode::replaceSet;

/// A client that lets a test answer or change what passes through.
class Meddler : public ASCClientProtocol {
  public:
    explicit Meddler(const ASCClientProtocol& inner) : inner_(inner) {}
    [[nodiscard]] std::string exchange(const ASCRequest& request) const override {
        const std::string body = inner_.exchange(request);
        return after ? after(request, body) : body;
    }
    std::function<std::string(const ASCRequest&, std::string)> after;

  private:
    const ASCClientProtocol& inner_;
};

/// Uploads after `before` has seen the request.
class WatchedUploads : public HTTPClient {
  public:
    WatchedUploads(HTTPClient& inner, std::function<void(const HTTPRequest&)> before)
        : inner_(inner), before_(std::move(before)) {}
    HTTPResponse send(const HTTPRequest& request) override {
        before_(request);
        return inner_.send(request);
    }

  private:
    HTTPClient& inner_;
    std::function<void(const HTTPRequest&)> before_;
};

struct Shots : test::ScreenshotSandbox {
    using ScreenshotSandbox::ScreenshotSandbox;

    void draw(const std::vector<std::string>& paths) {
        for (const std::string& path : paths)
            put(picture(path), drawn("APP_IPHONE_65", ++number));
    }
    [[nodiscard]] std::vector<std::string> names(const std::string& name) const {
        std::vector<std::string> names;
        const auto sets = held();
        if (const auto found = sets.find(name); found != sets.end())
            for (const auto& shot : found->second)
                names.push_back(shot.fileName + (shot.state == "COMPLETE" ? "" : " " + shot.state));
        return names;
    }
    // One push through clients that were tampered with.
    [[nodiscard]] ScreenshotPushSummary pushThrough(const ASCClientProtocol& asc, HTTPClient& uploads,
                                                    ScreenshotPushMode mode = append) const {
        return ScreenshotPusher(asc, uploads, context, "1", push).push(prepare(mode).plan.edits);
    }
    void setPace(std::string_view body) const {
        const auto answer = session->send({.method = "POST",
                                           .url = server.access().url + "/__sandbox/pace",
                                           .headers = {{"Content-Type", "application/json"}},
                                           .body = std::string(body)});
        ASSERT_EQ(answer.status, 200);
    }
    unsigned number = 0;
};

constexpr const char* set = "sv APP_IPHONE_65";

} // namespace

TEST(ScreenshotPushes, areRefusedBeforeTheFirstRequest) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png"});
    const auto edits = shots.prepare(append).plan.edits;
    PlatformContext inReview = shots.context;
    inReview.appStoreState = "WAITING_FOR_REVIEW";
    shots.server.forgetRequests();
    const auto refusal = [&](const PlatformContext& context) -> std::string {
        try {
            (void)ScreenshotPusher(shots.client, *shots.http, context, "1").push(edits);
            return "";
        } catch (const ScreenshotError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(refusal(inReview),
              "Push refused — " + inReview.versionString +
                  " is not in an editable state. Switch to a Next/Prepare-for-submission context.");
    EXPECT_THAT(shots.server.requests(), IsEmpty());
}

TEST(ScreenshotPushes, reconcileRequestsWhoseAnswersAreLost) {
    for (const std::string route : {"POST /v1/appScreenshots", "PATCH /v1/appScreenshots/*", "PUT /upload/**",
                                    "POST /v1/appScreenshotSets", "PATCH /v1/appScreenshotSets/**"})
        for (const std::string fault : {"resetAfter", "503After", "truncate", "reset"}) {
            Shots shots;
            shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png", "sv/iphone-65/10.png"});
            shots.server.setFaults({sandbox::parseFault(route + ":" + fault + ":1:2")});
            EXPECT_THAT(shots.pushAll(append).failures, IsEmpty()) << route << " " << fault;
            EXPECT_THAT(shots.names(set), ElementsAre("1.png", "2.png", "10.png")) << route << " " << fault;
        }
}

TEST(ScreenshotPushes, fillASetToItsLastPlaceThoughReservationsGetLost) {
    Shots shots;
    for (int i = 1; i <= 10; ++i)
        shots.draw({"sv/iphone-65/" + std::to_string(i) + ".png"});
    shots.server.setFaults({sandbox::parseFault("POST /v1/appScreenshots:503After:1:3")});
    EXPECT_THAT(shots.pushAll(append).failures, IsEmpty());
    EXPECT_THAT(shots.names(set), SizeIs(10));
    EXPECT_EQ(shots.names(set).back(), "10.png");
}

TEST(ScreenshotPushes, removeOurOwnLeftoversAndNobodyElses) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png"});
    ASSERT_THAT(shots.pushAll(append).failures, IsEmpty());
    const auto setID = [&] {
        for (const auto& localization : shots.client.listVersionLocalizations(shots.context.versionId))
            if (localization.attributes.locale == "sv")
                return shots.client.listScreenshotSets(localization.id).at(0).id;
        return std::string();
    }();
    for (const char* name : {"2.png", "2.png", "theirs.png"})
        (void)shots.client.reserveScreenshot(setID, {77, name});
    shots.draw({"sv/iphone-65/2.png"});
    const auto summary = shots.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.uploaded, 1) << "what was committed is not sent again";
    EXPECT_THAT(shots.names(set), ElementsAre("1.png", "theirs.png AWAITING_UPLOAD", "2.png"));
}

TEST(ScreenshotPushes, goOnFromAStaleCatalogueWithoutSendingTwice) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png"});
    const auto stale = shots.prepare(append).plan.edits; // as if the push were cut off behind its last upload
    ASSERT_THAT(shots.pushAll(append).failures, IsEmpty());
    const auto summary =
        ScreenshotPusher(shots.client, *shots.http, shots.context, "1", shots.push).push(stale);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.uploaded, 0);
    EXPECT_THAT(summary.successfullyUploadedLocalURLs, SizeIs(2));
    EXPECT_THAT(shots.names(set), ElementsAre("1.png", "2.png"));
}

TEST(ScreenshotPushes, bringOurFilesIntoOrderWhenOneWasCutOffBefore) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png", "sv/iphone-65/10.png"});
    Meddler meddler(shots.client);
    meddler.after = [](const ASCRequest& request, std::string body) -> std::string {
        if (request.path.ends_with("/relationships/appScreenshots") && request.method == "PATCH")
            throw CancellationError();
        return body;
    };
    auto edits = shots.prepare(append).plan.edits;
    std::ranges::reverse(edits.at(0).localsToUpload); // uploads end in any order
    edits[0].finalOrder.clear();
    const ScreenshotPusher pusher(meddler, *shots.http, shots.context, "1", shots.push);
    EXPECT_THROW((void)pusher.push(edits), CancellationError);
    EXPECT_THAT(shots.pushAll(append).failures, IsEmpty());
    shots.server.advance(100);
    EXPECT_THAT(shots.names(set), ElementsAre("1.png", "2.png", "10.png"));
}

TEST(ScreenshotPushes, leaveNoReservationWhenTheyAreCancelled) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png"});
    const auto edits = shots.prepare(append).plan.edits;
    for (const std::string moment : {"while it is reserved", "while it is sent"}) {
        std::stop_source stop;
        Meddler meddler(shots.client);
        meddler.after = [&](const ASCRequest& request, std::string body) {
            if (request.path == "v1/appScreenshots" && moment.ends_with("reserved")) {
                stop.request_stop();
                throw CancellationError(); // the answer comes too late
            }
            return body;
        };
        WatchedUploads uploads(*shots.http, [&](const HTTPRequest&) { stop.request_stop(); });
        const ScreenshotPusher pusher(meddler, uploads, shots.context, "1", shots.push);
        const TaskScope scope(stop.get_token());
        EXPECT_THROW((void)pusher.push(edits), CancellationError) << moment;
        const TaskScope ended{std::stop_token()};
        EXPECT_THAT(shots.names(set), IsEmpty()) << moment;
    }
}

TEST(ScreenshotPushes, givePartsMoreTimeOnASlowLink) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png"});
    std::vector<std::int64_t> seconds;
    WatchedUploads uploads(*shots.http, [&](const HTTPRequest& request) {
        seconds.push_back(std::chrono::duration_cast<std::chrono::seconds>(request.timeout).count());
        if (seconds.size() < 3) throw TransportError(TransportError::Kind::timedOut, "slow");
    });
    EXPECT_THAT(shots.pushThrough(shots.client, uploads).failures, IsEmpty());
    EXPECT_THAT(seconds, ElementsAre(60, 120, 240, 60)) << "two parts";
}

TEST(ScreenshotPushes, failForAFileThatChangesWhileItIsSent) {
    const struct {
        const char* what;
        std::function<void(const std::filesystem::path&)> change;
        const char* failure;
    } rows[] = {
        {"shrinks", [](const auto& file) { std::filesystem::resize_file(file, 70'000); },
         "sv APP_IPHONE_65 2.png: Could not read 100003 bytes at offset 65521 — got 4479."},
        {"is emptied", [](const auto& file) { std::filesystem::resize_file(file, 0); },
         "sv APP_IPHONE_65 2.png: Could not read 65521 bytes at offset 0 — got 0."},
        {"grows", [](const auto& file) { std::ofstream(file, std::ios::app) << "more"; },
         "sv APP_IPHONE_65 2.png: was changed while it was being sent. Push again."},
        {"is replaced by one of the same size",
         [](const auto& file) { put(file, std::string(std::filesystem::file_size(file), 'x')); },
         "sv APP_IPHONE_65 2.png: was changed while it was being sent. Push again."},
        {"vanishes", [](const auto& file) { std::filesystem::remove(file); },
         "sv APP_IPHONE_65 2.png: Could not stat file"},
    };
    for (const auto& row : rows) {
        Shots shots;
        shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/3.png"});
        const auto file = shots.picture("sv/iphone-65/2.png");
        put(file, test::paddedPicture(shots.drawn("APP_IPHONE_65", 1), 300'000));
        std::atomic<int> parts = 0;
        WatchedUploads uploads(*shots.http, [&](const HTTPRequest& request) {
            // Its first part is about to be sent.
            if (std::get<FileSlice>(request.body).path == file && parts++ == 0) row.change(file);
        });
        const auto summary = shots.pushThrough(shots.client, uploads);
        EXPECT_THAT(summary.failures, ElementsAre(row.failure)) << row.what;
        EXPECT_THAT(shots.names(set), ElementsAre("1.png", "3.png")) << row.what;
    }
}

TEST(ScreenshotPushes, failForAFileWhoseUploadOperationsAreOfNoUse) {
    const struct {
        const char* from;
        const char* to;
        const char* failure;
    } rows[] = {
        {"\"uploadOperations\"", "\"otherOperations\"",
         "1.png: ASC didn't return upload operations for 1.png"},
        {"\"http://", "\"gopher://", "1.png: ASC returned invalid upload URL: gopher://"},
        {"\"http://127.0.0.1", "\"http://example.com",
         "1.png: ASC returned invalid upload URL: http://example.com"},
        {"\"offset\":0", "\"offset\":99999999", " bytes at offset 99999999 — got 0."},
        {"\"offset\":0", "\"offset\":-1", " bytes at offset -1 — got 0."},
        {"\"method\":\"PUT\"", "\"method\":\"DELETE\"", "asks to upload with DELETE, which is not done"},
        {"\"name\":\"Content-Type\"", "\"name\":\"proxy-authorization\"",
         "asks to upload with the header proxy-authorization, which is not done"},
        {"/upload/", "/uploads/", "were not taken: the upload was answered with status 404"},
    };
    for (const auto& row : rows) {
        Shots shots;
        shots.draw({"sv/iphone-65/1.png"});
        Meddler meddler(shots.client);
        meddler.after = [&](const ASCRequest& request, std::string body) {
            const bool isReservation = request.method == "POST" && request.path == "v1/appScreenshots";
            for (auto at = body.find(row.from); isReservation && at != std::string::npos;
                 at = body.find(row.from, at + std::strlen(row.to)))
                body.replace(at, std::strlen(row.from), row.to);
            return body;
        };
        EXPECT_THAT(shots.pushThrough(meddler, *shots.http).failures, ElementsAre(HasSubstr(row.failure)));
        EXPECT_THAT(shots.names(set), IsEmpty()) << "its reservation is removed: " << row.failure;
    }
}

TEST(ScreenshotPushes, sayWhenAppStoreConnectShowsSomethingElseAfterwards) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png"});
    Meddler meddler(shots.client);
    shots.push.visibilityDeadline = 3;
    meddler.after = [&](const ASCRequest& request, std::string body) {
        if (!request.path.ends_with("/relationships/appScreenshots")) return body;
        std::vector<std::string> order; // somebody else's
        for (const auto& shot :
             shots.client.listScreenshots(request.path.substr(21, request.path.find('/', 21) - 21)))
            order.insert(order.begin(), shot.id);
        shots.client.reorderScreenshots(request.path.substr(21, request.path.find('/', 21) - 21), order);
        return body;
    };
    EXPECT_THAT(
        shots.pushThrough(meddler, *shots.http).failures,
        ElementsAre(
            "sv APP_IPHONE_65: App Store Connect shows the screenshots in another order. Push again."));

    shots.draw({"sv/iphone-65/3.png"});
    std::atomic<bool> isDeleted = false;
    meddler.after = [&](const ASCRequest& request, std::string body) {
        if (request.method == "PATCH" && request.path.starts_with("v1/appScreenshots/") &&
            !isDeleted.exchange(true))
            shots.client.deleteScreenshot(shots.held()[set].front().id);
        return body;
    };
    EXPECT_THAT(
        shots.pushThrough(meddler, *shots.http).failures,
        ElementsAre(HasSubstr("sv APP_IPHONE_65: App Store Connect shows 2 screenshots instead of 3.")));
}

TEST(ScreenshotPushes, tellWhyAnOrderWasRefusedAndKeepTheUploads) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png"});
    shots.server.setFaults({sandbox::parseFault("PATCH /v1/appScreenshotSets/**:409")});
    const auto summary = shots.pushAll(append);
    EXPECT_THAT(summary.failures, ElementsAre(testing::StartsWith("sv APP_IPHONE_65: reorder failed — ")));
    EXPECT_EQ(summary.uploaded, 2);
}

TEST(ScreenshotPushes, waitUntilListsShowWhatWasMade) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "sv/iphone-65/2.png"});
    shots.setPace(R"({"visibility": 12})");
    EXPECT_THAT(shots.pushAll(append).failures, IsEmpty());
    EXPECT_THAT(shots.names(set), ElementsAre("1.png", "2.png"));
}

TEST(ScreenshotPushes, awaitProcessingOnlyWhereItIsPendingAndNotForEver) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png", "de-DE/iphone-65/1.png"});
    shots.setPace(R"({"screenshots": 100})");
    shots.server.forgetRequests();
    auto summary = shots.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_THAT(summary.warnings, IsEmpty());
    // Pauses of 1, 2, 4, 8, 16, 30 … seconds.
    EXPECT_LE(shots.sent("GET", "/v1/appScreenshotSets/"), 5u + 4 + 2 * 8);

    shots.draw({"sv/iphone-65/2.png"});
    shots.setPace(R"({"screenshots": 5000})");
    summary = shots.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_THAT(summary.warnings,
                ElementsAre(HasSubstr("sv APP_IPHONE_65 2.png: App Store Connect is still processing it")));
    EXPECT_EQ(summary.uploaded, 1);

    shots.draw({"sv/iphone-65/3.png"});
    shots.setPace(R"({"screenshots": 3, "screenshotsFail": true})");
    summary = shots.pushAll(append);
    EXPECT_THAT(
        summary.failures,
        ElementsAre("sv APP_IPHONE_65 3.png: App Store Connect could not process it — IMAGE_UNREADABLE: "
                    "The picture can not be read."));
    EXPECT_EQ(summary.uploaded, 0);
    EXPECT_THAT(summary.successfullyUploadedLocalURLs, IsEmpty());

    shots.setPace(R"({"screenshots": 3})");
    summary = shots.pushAll(append);
    EXPECT_THAT(summary.failures, IsEmpty());
    EXPECT_EQ(summary.deleted, 1) << "what failed is sent once more in its place";
    EXPECT_THAT(shots.names(set), ElementsAre("1.png", "2.png UPLOAD_COMPLETE", "3.png"));
}

TEST(ScreenshotPushes, tellWhatFailedAtOnceThoughTheyDoNotWait) {
    Shots shots;
    shots.draw({"sv/iphone-65/1.png"});
    shots.push.processingDeadline = 0;
    Meddler meddler(shots.client);
    meddler.after = [](const ASCRequest& request, std::string body) {
        constexpr std::string_view whole = "\"UPLOAD_COMPLETE\"";
        const auto at = request.method == "GET" ? body.find(whole) : std::string::npos;
        return at == std::string::npos ? body : body.replace(at, whole.size(), "\"FAILED\"");
    };
    const auto summary = shots.pushThrough(meddler, *shots.http);
    EXPECT_THAT(summary.failures,
                ElementsAre(HasSubstr("sv APP_IPHONE_65 1.png: App Store Connect could not process it")));
    EXPECT_EQ(summary.uploaded, 0);
    EXPECT_THAT(summary.successfullyUploadedLocalURLs, IsEmpty());
}

TEST(ScreenshotPushes, showApplesRefusalOfADisplayType) {
    Shots shots;
    put(shots.picture("sv/IMESSAGE_APP_IPHONE/1.png"), shots.drawn("IMESSAGE_APP_IPHONE", 1));
    shots.draw({"sv/iphone-65/1.png"});
    const auto summary = shots.pushAll(replaceSet);
    EXPECT_THAT(summary.failures, ElementsAre(AllOf(testing::StartsWith("sv IMESSAGE_APP_IPHONE: "),
                                                    HasSubstr("screenshotDisplayType"))));
    EXPECT_THAT(shots.names(set), ElementsAre("1.png"));
}

TEST(ScreenshotPushes, takeNamesOf255Bytes) {
    Shots shots;
    const std::string name = std::string(251, 'n') + ".png";
    shots.draw({"sv/iphone-65/" + name});
    EXPECT_THAT(shots.pushAll(append).failures, IsEmpty());
    EXPECT_THAT(shots.names(set), ElementsAre(name));
}
