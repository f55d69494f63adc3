#include "Core/screenshots/ScreenshotImport.h"
#include "Core/screenshots/ScreenshotPushScanner.h"
#include "Core/screenshots/previews/PosterFrame.h"
#include "Core/screenshots/previews/PreviewFile.h"
#include "Core/screenshots/previews/VideoHeader.h"
#include "Tests/support/SampleVideo.h"
#include "Tests/support/ScreenshotTree.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

using namespace quorvel;
using test::sampleVideo;
using testing::HasSubstr;

namespace {

VideoHeader headerOfBytes(std::string_view bytes) {
    return readVideoHeader(
        {bytes.size(), [bytes](std::uint64_t offset, std::span<char> buffer) -> std::size_t {
             if (offset >= bytes.size()) return 0;
             return bytes.substr(offset).copy(buffer.data(), buffer.size());
         }});
}

std::string problemOfVideoBytes(std::string_view bytes) {
    try {
        (void)headerOfBytes(bytes);
        return {};
    } catch (const VideoError& error) {
        return error.what();
    }
}

} // namespace

TEST(VideoHeader, tellsSizeLengthCodecAndRateOfEachForm) {
    const VideoHeader usual{{886, 1920}, "avc1", 20, 30};
    EXPECT_EQ(headerOfBytes(sampleVideo()), usual);
    EXPECT_EQ(headerOfBytes(sampleVideo({.brand = ""})), usual) << "an old QuickTime file";
    EXPECT_EQ(headerOfBytes(sampleVideo({.isLong = true})), usual) << "64-bit lengths";
    EXPECT_EQ(headerOfBytes(sampleVideo({.hasSound = false})), usual);
    EXPECT_EQ(headerOfBytes(sampleVideo({.width = 1920, .height = 886, .isTurned = true})), usual);
    EXPECT_EQ(
        headerOfBytes(sampleVideo({.width = 1080, .seconds = 29.5, .framesPerSecond = 60, .codec = "apch"})),
        (VideoHeader{{1080, 1920}, "apch", 29.5, 60}));
    EXPECT_EQ(headerOfBytes(sampleVideo({.seconds = 0})), (VideoHeader{{886, 1920}, "avc1", {}, {}}))
        << "in fragments";
}

TEST(VideoHeader, namesWhatIsWrongWithEveryBeginningAndEveryDamagedByte) {
    const std::string whole = sampleVideo({.bytes = 40});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(problemOfVideoBytes(whole.substr(0, size)), "") << size;
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (const char damage : {'\0', '\1', '\xFF'}) {
            std::string damaged = whole;
            damaged[at] = damage;
            (void)problemOfVideoBytes(damaged); // neither crashes nor goes on for ever
        }
    using test::box;
    const struct {
        std::string bytes, problem;
    } rows[] = {
        {"\x89PNG\r\n\x1a\n picture", "is no MPEG-4 or QuickTime video"},
        {box("ftyp", "mp42") + box("mdat", "pictures"), "a recording was not finished"},
        {box("ftyp", "mp42") + box("moov", box("mvhd", std::string(100, '\0'))), "no video track"},
        {whole.substr(0, whole.size() - 1), "it ends early"},
    };
    for (const auto& [bytes, problem] : rows)
        EXPECT_THAT(problemOfVideoBytes(bytes), HasSubstr(problem));
    std::string tiny;
    for (int i = 0; i < 30'000; ++i)
        tiny += box("free", "");
    EXPECT_THAT(problemOfVideoBytes(tiny), HasSubstr("too many boxes"));
}

TEST(PreviewFile, saysWhatAppStoreConnectWouldRefuse) {
    const test::TemporaryFolder folder;
    const auto problemWith = [&](const test::VideoTraits& traits, std::string_view type = "IPHONE_67",
                                 std::string_view poster = {}, const char* name = "one.mp4") {
        test::put(folder / name, sampleVideo(traits));
        return problemOfPreview({folder / name, "en-US", std::string(type), {}, std::string(poster)},
                                PictureCheck::full)
            .value_or("");
    };
    EXPECT_EQ(problemWith({}), "");
    EXPECT_EQ(problemWith({.width = 1920, .height = 886}), "") << "turned";
    EXPECT_EQ(problemWith({.seconds = 30.05, .framesPerSecond = 29.97}), "") << "Apple's to judge";
    EXPECT_EQ(problemWith({.width = 1920, .height = 1080}, "DESKTOP"), "");
    EXPECT_EQ(problemWith({.width = 7, .height = 7}, "FOLDABLE_8"), "") << "an unknown type";
    EXPECT_THAT(problemWith({.seconds = 12}), HasSubstr("lasts 12.0 seconds"));
    EXPECT_THAT(problemWith({.seconds = 31}), HasSubstr("lasts 31.0 seconds"));
    EXPECT_THAT(problemWith({.framesPerSecond = 60}), HasSubstr("60 frames per second"));
    EXPECT_THAT(problemWith({.codec = "hvc1"}), HasSubstr("the codec HEVC"));
    EXPECT_THAT(problemWith({.codec = "apch"}), HasSubstr("has to be a QuickTime file"));
    EXPECT_EQ(problemWith({.codec = "apch"}, "IPHONE_67", {}, "one.MOV"), "");
    EXPECT_THAT(problemWith({.width = 1080, .height = 1920}),
                HasSubstr("IPHONE_67 takes 886 × 1920, also turned"));
    EXPECT_THAT(problemWith({.width = 1080, .height = 1920}, "DESKTOP"), HasSubstr("takes 1920 × 1080."));
    EXPECT_THAT(problemWith({}, "IPHONE_67", "00:00:20:15"), HasSubstr("no poster frame at 00:00:20:15"));
    test::put(folder / "huge.mp4", "x");
    std::filesystem::resize_file(folder / "huge.mp4", 500'000'001);
    EXPECT_THAT(
        problemOfPreview({folder / "huge.mp4", "en-US", "IPHONE_67"}, PictureCheck::full).value_or(""),
        HasSubstr("has 501 MB"));
    EXPECT_THAT(
        problemOfPreview({folder / "none.mp4", "en-US", "IPHONE_67"}, PictureCheck::none).value_or(""),
        HasSubstr("Could not stat"));
}

// A video for a device that shows none goes nowhere else, whatever its size fits.
TEST(PreviewFile, isRefusedInFoldersOfDevicesWithoutPreviews) {
    const test::TemporaryFolder outer;
    const std::string video = test::sampleVideo();
    for (const auto* folder : {"APP_WATCH_ULTRA", "watch_ultra", "Apple-Watch", "watchOS/en-US/big",
                               "imessage", "IMESSAGE_APP_IPHONE", "APP_IPAD_129", "ipad_129"})
        test::put(outer / "en-US" / folder / "1.mp4", video);
    test::put(outer / "en-US/0_APP_WATCH_SERIES_7_0.mp4", video);
    test::put(outer / "en-US/watch/iphone-67/1.mp4", video); // what is nearer counts
    test::put(outer / "en-US/birdwatch/2.mp4", video);
    const auto scan = ScreenshotPushScanner(outer.path(), ASCPlatform::iOS, AssetKind::preview).scan();
    ASSERT_EQ(scan.items.size(), 2u);
    EXPECT_EQ(scan.items[0].displayType, "IPHONE_67");
    EXPECT_EQ(scan.failures.size(), 9u);
    for (const auto& failure : scan.failures)
        EXPECT_THAT(failure.text, HasSubstr("shows no previews.")) << failure.fileURL;
}

TEST(PreviewFile, isNotImportedWhenItIsNone) {
    const test::TemporaryFolder outer;
    test::put(outer / "tree/en-US/iphone-67/1.mp4", test::sampleVideo());
    test::put(outer / "tree/en-US/iphone-67/2.mp4", "This is no video at all, by its bytes.");
    for (const auto dryRun : {DryRun::yes, DryRun::no}) {
        const auto report = importScreenshots(outer / "tree", {outer / "previews", outer / "kept"},
                                              {.kind = AssetKind::preview}, dryRun);
        EXPECT_EQ(report.imported, std::vector<std::string>{"en-US/IPHONE_67/1.mp4"});
        ASSERT_EQ(report.failures.size(), 1u);
        EXPECT_THAT(report.failures[0], HasSubstr("en-US/iphone-67/2.mp4: is "));
    }
    EXPECT_FALSE(std::filesystem::exists(outer / "previews/en-US/IPHONE_67/2.mp4"));
}

TEST(PosterFrame, isATimeCodeOrSecondsBesideItsVideo) {
    const struct {
        const char* text;
        std::optional<std::string> code;
    } rows[] = {{"00:00:07:15", "00:00:07:15"},
                {" 00:00:07;15\n", "00:00:07:15"},
                {"7.5", "00:00:07:15"},
                {"65", "00:01:05:00"},
                {"6.999", "00:00:07:00"},
                {"00:61:00:00", {}},
                {"seven", {}},
                {"-1", {}},
                {"nan", {}},
                {"1e9", {}},
                {"7 s", {}}};
    for (const auto& [text, code] : rows)
        EXPECT_EQ(timeCodeOf(text), code) << text;
    const test::TemporaryFolder folder;
    EXPECT_EQ(readPosterFrame(folder / "1.mp4"), "") << "none is chosen";
    test::put(folder / "1.poster.txt", " \n");
    EXPECT_EQ(readPosterFrame(folder / "1.mp4"), "");
    test::put(folder / "1.poster.txt", "8\n");
    EXPECT_EQ(readPosterFrame(folder / "1.mp4"), "00:00:08:00");
    test::put(folder / "1.poster.txt", "later");
    EXPECT_THROW((void)readPosterFrame(folder / "1.mp4"), PosterFrameError);
}
