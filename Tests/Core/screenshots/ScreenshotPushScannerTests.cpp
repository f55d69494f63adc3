#include "Core/screenshots/PNGChecksum.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotPreparation.h"
#include "Core/screenshots/ScreenshotPushScanner.h"
#include "Platform/crypto/Digest.h"
#include "Tests/support/ScreenshotTree.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace quorvel;
using test::put;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

using Scanner = ScreenshotPushScanner;

std::vector<std::string> textsOf(const Scanner::ScanResult& result, const std::filesystem::path& root) {
    std::vector<std::string> texts;
    for (const ScreenshotPushItem& item : result.items)
        texts.push_back(item.locale + " " + item.displayType + " " +
                        item.fileURL.lexically_relative(root).string());
    return texts;
}

// What is said about one file with the given bytes.
std::string problemOfFile(const std::string& name, std::string_view bytes, std::string displayType,
                          PictureCheck check = PictureCheck::full) {
    const test::TemporaryFolder folder;
    put(folder / name, bytes);
    const auto problem = problemOf({folder / name, "en-US", std::move(displayType)}, check);
    return problem ? problem->text : "";
}

} // namespace

TEST(ScreenshotDisplayTypes, areNamedByFolders) {
    const std::pair<const char*, const char*> rows[] = {{"iphone-69", "APP_IPHONE_67"},
                                                        {"iPhone_69", "APP_IPHONE_67"},
                                                        {"IPHONE67", "APP_IPHONE_67"},
                                                        {"iphone65", "APP_IPHONE_65"},
                                                        {"iphone_61", "APP_IPHONE_61"},
                                                        {"iphone-58", "APP_IPHONE_58"},
                                                        {"ipad-pro-129", "APP_IPAD_PRO_3GEN_129"},
                                                        {"iPadPro11", "APP_IPAD_PRO_3GEN_11"},
                                                        {"macOS", "APP_DESKTOP"},
                                                        {"app_watch_ultra", "APP_WATCH_ULTRA"},
                                                        {"IMESSAGE_APP_IPAD", "IMESSAGE_APP_IPAD"},
                                                        {"APP_IPHONE_99", "APP_IPHONE_99"}};
    for (const auto& [folder, type] : rows)
        EXPECT_EQ(displayTypeOfFolder(folder), type) << folder;
    for (const char* other : {"iphone", "iphone-66", "app_iphone_99", "ipad", "en-US", ""})
        EXPECT_EQ(displayTypeOfFolder(other), std::nullopt) << other;
}

TEST(ScreenshotDisplayTypes, takeTheirSizesUprightAndWhereItIsAllowedTurned) {
    const struct {
        const char* type;
        PixelSize size;
        bool accepted;
    } rows[] = {{"APP_IPHONE_67", {1320, 2868}, true},    {"APP_IPHONE_67", {2796, 1290}, true},
                {"APP_IPHONE_67", {1242, 2688}, false},   {"APP_IPHONE_40", {1136, 600}, true},
                {"APP_IPHONE_40", {1096, 640}, false},    {"APP_DESKTOP", {1280, 800}, true},
                {"APP_DESKTOP", {800, 1280}, false},      {"APP_APPLE_TV", {2160, 3840}, false},
                {"APP_WATCH_ULTRA", {502, 410}, false},   {"APP_IPAD_97", {2048, 1496}, true},
                {"APP_IPAD_PRO_129", {2064, 2752}, false}};
    for (const auto& row : rows)
        EXPECT_EQ(findDisplayType(row.type)->accepts(row.size), row.accepted)
            << row.type << " " << row.size.text();
    EXPECT_EQ(displayTypesOfSize({2732, 2048}).front(), "APP_IPAD_PRO_3GEN_129");
    EXPECT_EQ(displayTypesOfSize({3840, 2160}).front(), "APP_APPLE_TV");
}

TEST(ScreenshotPushScanner, findsLocaleAndDisplayTypeAnywhereInThePath) {
    const test::TemporaryFolder folder;
    for (const char* file :
         {"en-US/iphone-67/10.png", "en-US/iphone-67/2.PNG", "en-US/iphone-67/1.jpeg",
          "iphone-65/de-DE/a.jpg", "iphone-61/fr-FR.png", "ja/APP_WATCH_ULTRA/it.png",
          "ja/APP_WATCH_ULTRA/notes.txt", "ja/APP_WATCH_ULTRA/.hidden.png", "ja/APP_WATCH_ULTRA/movie.mov"})
        put(folder / file, "x");
    const auto result = Scanner(folder.path()).scan();
    EXPECT_THAT(textsOf(result, folder.path()), ElementsAre("de-DE APP_IPHONE_65 iphone-65/de-DE/a.jpg",
                                                            "en-US APP_IPHONE_67 en-US/iphone-67/1.jpeg",
                                                            "en-US APP_IPHONE_67 en-US/iphone-67/2.PNG",
                                                            "en-US APP_IPHONE_67 en-US/iphone-67/10.png",
                                                            "fr-FR APP_IPHONE_61 iphone-61/fr-FR.png",
                                                            "ja APP_WATCH_ULTRA ja/APP_WATCH_ULTRA/it.png"));
    EXPECT_THAT(result.warnings, IsEmpty());
    EXPECT_THAT(result.guesses, IsEmpty());
}

TEST(ScreenshotPushScanner, guessesTheDisplayTypesOfOtherToolsTreesAndShowsEachGuess) {
    const test::TemporaryFolder folder;
    put(folder / "en-US/10_iPhone.png", samplePicture({1320, 2868}, 1));
    put(folder / "en-US/2_iPhone.png", samplePicture({2796, 1290}, 2));
    put(folder / "en-US/1_iPad.png", samplePicture({2048, 2732}, 3));
    put(folder / "en-US/holiday.png", samplePicture({640, 480}, 4));
    put(folder / "en-US/broken.png", "\x89PNG\r\n\x1a\n and no more");
    const auto result = Scanner(folder.path()).scan();
    EXPECT_THAT(textsOf(result, folder.path()), ElementsAre("en-US APP_IPAD_PRO_3GEN_129 en-US/1_iPad.png",
                                                            "en-US APP_IPHONE_67 en-US/2_iPhone.png",
                                                            "en-US APP_IPHONE_67 en-US/10_iPhone.png"));
    EXPECT_THAT(
        result.guesses,
        ElementsAre(
            GuessedDisplayType{"en-US/1_iPad.png",
                               "APP_IPAD_PRO_3GEN_129",
                               "2048 × 2732",
                               {"APP_IPAD_PRO_129", "APP_IPAD_129", "IMESSAGE_APP_IPAD"}},
            GuessedDisplayType{"en-US/2_iPhone.png", "APP_IPHONE_67", "2796 × 1290", {"IMESSAGE_APP_IPHONE"}},
            GuessedDisplayType{
                "en-US/10_iPhone.png", "APP_IPHONE_67", "1320 × 2868", {"IMESSAGE_APP_IPHONE"}}));
    std::vector<std::string> failures;
    for (const auto& failure : result.failures)
        failures.push_back(failure.locale + " " + failure.text);
    EXPECT_THAT(
        failures,
        UnorderedElementsAre(
            HasSubstr("en-US/holiday.png: No display type found in path, and none has 640 × 480 pixels"),
            HasSubstr("en-US en-US/broken.png: is damaged")));
}

TEST(ScreenshotPushScanner, takesTheDisplayTypeFromTheNamesThatOtherToolsGive) {
    const test::TemporaryFolder folder;
    const std::string picture = samplePicture({2048, 2732}, 1);
    for (const char* file : {"en-US/0_APP_IPAD_PRO_129_0.png", "en-US/0_APP_IPAD_PRO_3GEN_129_0.png",
                             "en-US/iphone-58.png", "en-US/ipad-pro-11/0_APP_IPAD_PRO_129_1.png",
                             "en-US/app_ipad_105-home.png", "en-US/MYAPP_IPAD_97.png"})
        put(folder / file, picture);
    const auto result = Scanner(folder.path()).scan();
    EXPECT_THAT(textsOf(result, folder.path()),
                ElementsAre("en-US APP_IPAD_105 en-US/app_ipad_105-home.png",
                            "en-US APP_IPAD_PRO_129 en-US/0_APP_IPAD_PRO_129_0.png",
                            "en-US APP_IPAD_PRO_3GEN_11 en-US/ipad-pro-11/0_APP_IPAD_PRO_129_1.png",
                            "en-US APP_IPAD_PRO_3GEN_129 en-US/0_APP_IPAD_PRO_3GEN_129_0.png",
                            "en-US APP_IPAD_PRO_3GEN_129 en-US/MYAPP_IPAD_97.png",
                            "en-US APP_IPHONE_58 en-US/iphone-58.png"));
    ASSERT_EQ(result.guesses.size(), 1u);
    EXPECT_EQ(result.guesses[0].path, "en-US/MYAPP_IPAD_97.png") << "no word of the name is a display type";
}

TEST(ScreenshotPushScanner, leavesPicturesOfOtherPlatformsOut) {
    const test::TemporaryFolder folder;
    const std::string television = samplePicture({3840, 2160}, 1), phone = samplePicture({1290, 2796}, 1);
    put(folder / "visionos/en-US/1.png", television);
    put(folder / "en-US/0_APP_APPLE_VISION_PRO_0.png", television);
    put(folder / "en-US/by-size.png", television);
    put(folder / "de-DE/desktop/1.png", samplePicture({2880, 1800}, 1));
    put(folder / "ios/en-US/2.png", phone);
    put(folder / "en-US/1.png", phone);
    const auto found = [&](ASCPlatform platform) {
        const auto result = scanScreenshots(folder.path(), {.platform = platform});
        EXPECT_THAT(result.failures, IsEmpty());
        return std::pair(textsOf(result, folder.path()), result.warnings);
    };
    const auto [phones, ofOthers] = found(ASCPlatform::iOS);
    EXPECT_THAT(phones,
                ElementsAre("en-US APP_IPHONE_67 en-US/1.png", "en-US APP_IPHONE_67 ios/en-US/2.png"));
    EXPECT_THAT(ofOthers, UnorderedElementsAre(
                              "1 picture of macOS is left out: de-DE/desktop/1.png",
                              "2 pictures of visionOS are left out: "
                              "en-US/0_APP_APPLE_VISION_PRO_0.png, visionos/en-US/1.png",
                              "1 picture with a size of tvOS or visionOS is left out: en-US/by-size.png",
                              HasSubstr("takes the pictures of several folders")));
    EXPECT_THAT(found(ASCPlatform::visionOS).first,
                ElementsAre("en-US APP_APPLE_VISION_PRO en-US/0_APP_APPLE_VISION_PRO_0.png",
                            "en-US APP_APPLE_VISION_PRO en-US/by-size.png",
                            "en-US APP_APPLE_VISION_PRO visionos/en-US/1.png"));
    EXPECT_THAT(found(ASCPlatform::tvOS).first, ElementsAre("en-US APP_APPLE_TV en-US/by-size.png"));
}

TEST(ScreenshotPushScanner, namesWhatItLeavesOut) {
    const test::TemporaryFolder folder;
    put(folder / "iphone-67/one.png", "x");
    put(folder / "english/iphone-67/1.png", "x");
    put(folder / "line\nbreak/1.png", "x");
    put(folder / "zh_hans/iphone-67/1.png", "x");
    std::filesystem::create_directories(folder / "de-DE/iphone-67");
    std::filesystem::create_directories(folder / "ja/iphone-67/loop");
    std::filesystem::create_directory_symlink(folder / "ja", folder / "ja/iphone-67/loop/back");
    std::filesystem::create_symlink(folder / "nowhere.png", folder / "ja/iphone-67/dangling.png");
    put(folder / "fr-FR/iphone-67/1.png", "x");
    std::filesystem::permissions(folder / "fr-FR/iphone-67", std::filesystem::perms::none);
    const std::string noLocale =
        ": No locale found in path. Expected something like en-US.png or en-US/file.png.";
    const auto result = Scanner(folder.path()).scan();
    std::filesystem::permissions(folder / "fr-FR/iphone-67", std::filesystem::perms::owner_all);
    std::vector<std::string> expected = {"iphone-67/one.png" + noLocale, "english/iphone-67/1.png" + noLocale,
                                         "line\\nbreak/1.png" + noLocale,
                                         "zh_hans/iphone-67/1.png" + noLocale + " Did you mean zh-Hans?",
                                         "Folder empty: " + (folder / "de-DE/iphone-67").string()};
    if (::geteuid() != 0) // root reads every folder
        expected.push_back("Folder unreadable: " + (folder / "fr-FR/iphone-67").string());
    EXPECT_THAT(result.warnings, testing::UnorderedElementsAreArray(expected));
    EXPECT_THROW((void)Scanner(folder / "missing").scan(), ScreenshotError);
    const auto outside = Scanner(folder / "ja").parse(folder / "fr-FR/iphone-67/1.png");
    EXPECT_EQ(std::get<Scanner::Skipped>(outside).reason, "Could not derive relative path from root.");
}

TEST(ScreenshotPushScanner, warnsOfFoldersThatFillOneSetTogether) {
    const test::TemporaryFolder folder;
    for (const char* file : {"en-US/iphone-67/1.png", "en-US/iphone-67/2.png", "en-US/iphone-69/1.png",
                             "en-US/ipad-pro-11/1.png", "de-DE/iphone-69/1.png"})
        put(folder / file, "x");
    EXPECT_THAT(Scanner(folder.path()).scan().warnings,
                ElementsAre("en-US APP_IPHONE_67 takes the pictures of several folders: en-US/iphone-67, "
                            "en-US/iphone-69"));
}

TEST(ScreenshotPushScanner, followsLinksToFoldersThatLocalesShare) {
    const test::TemporaryFolder folder;
    put(folder / "en-US/iphone-67/1.png", "x");
    std::filesystem::create_directory_symlink(folder / "en-US", folder / "en-GB");
    EXPECT_THAT(textsOf(Scanner(folder.path()).scan(), folder.path()),
                ElementsAre("en-GB APP_IPHONE_67 en-GB/iphone-67/1.png",
                            "en-US APP_IPHONE_67 en-US/iphone-67/1.png"));
}

TEST(ScreenshotPushScanner, takesALinkToItselfForNoFolder) {
    const test::TemporaryFolder folder;
    std::filesystem::create_symlink(folder / "pictures", folder / "pictures");
    EXPECT_THROW((void)ScreenshotPushScanner(folder / "pictures").scan(), ScreenshotError);
}

TEST(ScreenshotChecks, nameTheFileThatCannotBeSent) {
    const std::string good = test::pictureFor("APP_IPHONE_67", 1);
    const std::string longName = std::string(251, 'n') + ".png";
    const struct {
        std::string name;
        std::string bytes;
        const char* type;
        const char* problem;
    } rows[] = {
        {"1.png", good, "APP_IPHONE_67", ""},
        {"1.png", good, "APP_IPHONE_99", ""}, // an unknown type is Apple's to judge
        {longName, good, "APP_IPHONE_67", ""},
        {"1.png", good, "APP_IPHONE_65",
         "has 1290 × 2796 pixels; APP_IPHONE_65 takes 1242 × 2688, 1284 × 2778, also turned."},
        {"1.png", "", "APP_IPHONE_67", "is empty. Export it again."},
        {"1.jpg", good, "APP_IPHONE_67", "is a PNG image by its content. Rename it to end in .png."},
        {"1.png", good.substr(0, 900), "APP_IPHONE_67",
         "is damaged: it ends early. Export it again as a PNG image."},
        {"a\nb.png", good, "APP_IPHONE_67", "has a name with a control character. Rename it."},
        {"a\xFF.png", good, "APP_IPHONE_67", "has a name that is no UTF-8. Rename it."},
    };
    for (const auto& row : rows)
        EXPECT_EQ(problemOfFile(row.name, row.bytes, row.type), row.problem) << row.name << " " << row.type;
    // The first colour of the palette is half transparent.
    const std::uint32_t sum = pngChecksum("tRNSx");
    std::string chunk("\0\0\0\1tRNSx", 9);
    for (const int shift : {24, 16, 8, 0})
        chunk.push_back(static_cast<char>(sum >> shift));
    std::string transparent = good;
    transparent.insert(good.find("IDAT") - 4, chunk);
    EXPECT_THAT(problemOfFile("1.png", transparent, "APP_IPHONE_67"), HasSubstr("has transparent pixels"));
    std::string flipped = good;
    flipped[good.size() / 2] ^= 4;
    EXPECT_EQ(problemOfFile("1.png", flipped, "APP_IPHONE_67"),
              "is damaged: a check sum of its data is wrong. Export it again as a PNG image.");
    // Without the check only what can never be sent is refused.
    EXPECT_EQ(problemOfFile("1.jpg", transparent, "APP_IPHONE_65", PictureCheck::none), "");
    EXPECT_EQ(problemOfFile("1.png", "", "APP_IPHONE_65", PictureCheck::none), "is empty. Export it again.");
    EXPECT_EQ(problemOf({"/nowhere/1.png", "en-US", "APP_IPHONE_67"}, PictureCheck::none)->text,
              "Could not stat file");
}

TEST(ScreenshotChecks, aChecksumIsOfTheWholeFile) {
    const test::TemporaryFolder folder;
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{1'048'576}, std::size_t{2'500'001}}) {
        const std::string bytes(size, 'q');
        put(folder / "file", bytes);
        EXPECT_EQ(fileChecksum(folder / "file"), md5Hex(bytes)) << size;
    }
    put(folder / "file", "abc");
    EXPECT_EQ(fileChecksum(folder / "file"), "900150983cd24fb0d6963f7d28e17f72"); // RFC 1321, appendix 5
}
