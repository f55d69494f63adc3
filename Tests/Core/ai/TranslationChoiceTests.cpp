#include "Core/ai/translation/TranslationChoice.h"
#include "Platform/files/Files.h"
#include "Platform/log/Log.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace quorvel;

namespace {

LocaleTexts texts() {
    LocaleTexts all;
    all["en-US"][FieldType::name] = "Tide Pool";
    all["en-US"][FieldType::subtitle] = "New source";
    all["en-US"][FieldType::description] = "Know the tides.";
    all["en-US"][FieldType::releaseNotes] = " \n";
    all["en-US"][FieldType::keywords] = "tide";
    all["de-DE"][FieldType::name] = " ";          // blank
    all["de-DE"][FieldType::subtitle] = "Alt";    // translated from an older source
    all["de-DE"][FieldType::description] = "Neu"; // translated from this one
    all["de-DE"][FieldType::keywords] = "Hand";   // translated from an older source, and edited since
    return all;
}

TranslationOrigins origins() {
    TranslationOrigins all;
    all.note("de-DE", FieldType::subtitle, "Old source", "Alt");
    all.note("de-DE", FieldType::description, "Know the tides.", "Neu");
    all.note("de-DE", FieldType::keywords, "old", "Maschine");
    return all;
}

std::vector<std::string> chosen(const TranslationWish& wish) {
    std::vector<std::string> names;
    for (const TranslationItem& item : chooseItems({texts()}, origins(), wish))
        names.push_back(item.targetLocale + " " + std::string(rawValue(item.field)));
    return names;
}

} // namespace

TEST(TranslationChoice, takesWhatIsEmptyOrWasTranslatedFromAnOlderSource) {
    using Names = std::vector<std::string>;
    const TranslationWish wish{.sourceLocale = "en-US", .targetLocales = {"fr-FR", "en-US", "de-DE"}};
    EXPECT_EQ(chosen(wish), (Names{"fr-FR name", "fr-FR subtitle", "fr-FR description", "fr-FR keywords",
                                   "de-DE name", "de-DE subtitle"}));
    TranslationWish some = wish;
    some.fields = {FieldType::keywords, FieldType::description};
    some.which = TranslationWish::Which::all;
    EXPECT_EQ(chosen(some),
              (Names{"fr-FR description", "fr-FR keywords", "de-DE description", "de-DE keywords"}));
    TranslationWish ruled = wish;
    ruled.targetLocales = {"de-DE"};
    ruled.rules = {FieldRule::of(FieldType::name, TranslateMode::off), {"subtitle", "sometimes", {}}};
    EXPECT_EQ(chosen(ruled), (Names{"de-DE subtitle"}))
        << "an unknown mode is no reason to leave a field out";
    LocaleTexts saved = texts(); // by an editor that ends files with a line break
    saved["en-US"][FieldType::description] = "\xEF\xBB\xBFKnow the tides.\n";
    saved["de-DE"][FieldType::subtitle] = "Alt\n";
    TranslationWish german = wish;
    german.targetLocales = {"de-DE"};
    EXPECT_EQ(chooseItems({saved}, origins(), german), chooseItems({texts()}, origins(), german));
    const ReadTexts damaged{texts(),
                            {},
                            {{"de-DE", FieldType::subtitle, "broken"},
                             {"de-DE", FieldType::releaseNotes, "broken"},
                             {"it", FieldType::name, "broken"}}};
    TranslationWish subtitles = german;
    subtitles.fields = {FieldType::subtitle};
    EXPECT_TRUE(chooseItems(damaged, origins(), subtitles).empty()); // it could not be written over
    EXPECT_EQ(unreadableFor(damaged, subtitles), (std::vector{damaged.unreadable[0]}));
    TranslationWish unknown = wish;
    unknown.sourceLocale = "es-ES";
    EXPECT_TRUE(chosen(unknown).empty());
}

TEST(TranslationOrigins, showATextOfAPersonAsOldOnceItsSourceChanges) {
    LocaleTexts pulled;
    pulled["en-US"][FieldType::subtitle] = "Tides";
    pulled["de-DE"][FieldType::subtitle] = "Gezeiten";
    pulled["fr-FR"][FieldType::subtitle] = "Marées";
    pulled["en-US"][FieldType::keywords] = "tide";
    pulled["de-DE"][FieldType::keywords] = "ebbe";
    LocaleTexts local = pulled;
    const auto staleIn = [&](const TranslationOrigins& known, const std::string& source = "en-US") {
        TranslationOrigins origins = known;
        origins.adopt(source, local, pulled);
        std::vector<std::string> names;
        for (const TranslationItem& item :
             chooseItems({local, {}}, origins,
                         {.sourceLocale = source, .targetLocales = {"de-DE", "fr-FR", "en-US"}}))
            names.push_back(item.targetLocale + " " + std::string(rawValue(item.field)));
        return names;
    };
    using Names = std::vector<std::string>;
    TranslationOrigins known;
    EXPECT_EQ(staleIn(known), Names{"fr-FR keywords"});
    local["en-US"][FieldType::subtitle] = "Tides at a glance";
    local["en-US"][FieldType::keywords] = "tide,surf";
    local["de-DE"][FieldType::subtitle] = "Gezeiten auf einen Blick"; // by hand, for the new source
    EXPECT_EQ(staleIn(known), (Names{"fr-FR subtitle", "fr-FR keywords"}))
        << "keywords of a market are no translation";

    known.adopt("en-US", pulled, pulled); // as a pull does
    pulled = local;                       // a push without the others
    local["de-DE"][FieldType::subtitle] = "Gezeiten";
    EXPECT_EQ(staleIn(known), (Names{"de-DE subtitle", "fr-FR subtitle", "fr-FR keywords"}))
        << "what was known before the push counts";
    EXPECT_EQ(staleIn(known, "fr-FR"), Names()) << "made from English, not from French";
}

TEST(TranslationOrigins, surviveAsAFileAndForgetADamagedOne) {
    const test::TemporaryFolder folder;
    const MetadataFolder tree{folder.path()};
    EXPECT_EQ(TranslationOrigins::load(tree), TranslationOrigins());
    origins().save(tree);
    EXPECT_EQ(TranslationOrigins::load(tree), origins());
    writeFileAtomically(folder / ".brevant/translations.json", R"({"de-DE":{"name":7}})");
    const LogCapture log;
    EXPECT_EQ(TranslationOrigins::load(tree), TranslationOrigins());
    EXPECT_THAT(log.text(), testing::HasSubstr("is damaged"));
}
