#include "Core/ai/translation/LocaleNotes.h"

#include "Core/metadata/Locales.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

namespace {

constexpr LocaleNote notes[] = {
    {"ar-SA", 1.1,
     R"(Write Modern Standard Arabic, address one reader neutrally, and use the Arabic comma (،) in prose.)"},
    {"bn-BD", 1.1,
     R"(Write standard colloquial Bengali (cholito) with the polite আপনি; keep common English app terms in Bengali letters.)"},
    {"ca", 1.2, R"(Write standard Catalan with the informal tu; do not borrow Spanish forms.)"},
    {"cs", 1.15,
     R"(Address the reader with the polite vy in lower case; decline product names only where Czech requires it.)"},
    {"da", 1.1, R"(Use the informal du, short sentences, and compounds written as one word.)"},
    {"de-DE", 1.3,
     R"(Use the informal du unless the source is formal; write compounds as one word and capitalise nouns only.)"},
    {"el", 1.25,
     R"(Use the polite plural, modern monotonic spelling with its accents, and the Greek question mark (;).)"},
    {"en-AU", 1,
     R"(Use Australian spelling (colour, organise) and everyday Australian vocabulary without slang.)"},
    {"en-CA", 1, R"(Use Canadian spelling (colour, centre, but organize) and North American vocabulary.)"},
    {"en-GB", 1, R"(Use British spelling and vocabulary (colour, organise, favourite, holiday).)"},
    {"en-US", 1, R"(Use American spelling and vocabulary (color, organize, favorite, vacation).)"},
    {"es-ES", 1.25,
     R"(Use European Spanish with the informal tú and vosotros; sentence case in headings, opening ¿ and ¡.)"},
    {"es-MX", 1.25,
     R"(Use Latin American Spanish with tú and ustedes, and words that are understood from Mexico to Chile.)"},
    {"fi", 1.2,
     R"(Prefer short verbs to noun chains, address the reader with sinä, and mind that long compounds fill short fields fast.)"},
    {"fr-CA", 1.2,
     R"(Use Canadian French with vous and established local terms (courriel, magasiner); no space before ! and ?.)"},
    {"fr-FR", 1.2,
     R"(Use vous, a narrow space before ; : ! and ?, guillemets, and sentence case in headings.)"},
    {"gu-IN", 1.1,
     R"(Write everyday Gujarati with the polite તમે; keep common English app terms in Gujarati letters.)"},
    {"he", 0.85,
     R"(Prefer wording without grammatical gender; no vowel points; numbers stay in Western digits.)"},
    {"hi", 1.1,
     R"(Write everyday Hindi in Devanagari with आप; keep common English app terms rather than rare Sanskrit ones.)"},
    {"hr", 1.15,
     R"(Write standard Croatian with its own vocabulary, not Serbian forms; address the reader politely in lower case.)"},
    {"hu", 1.2,
     R"(Use the informal te form, native word order with the stressed word before the verb, and Hungarian quotation marks („ ”).)"},
    {"id", 1.15,
     R"(Use friendly standard Indonesian with Anda or no pronoun; prefer active verbs to long affixed nouns.)"},
    {"it", 1.2,
     R"(Use the informal tu, sentence case in headings, and English app terms only where Italians use them.)"},
    {"ja", 0.6,
     R"(Use polite です・ます in prose and noun endings in headings; full-width punctuation, loan words in katakana.)"},
    {"kn-IN", 1.2, R"(Write everyday Kannada with ನೀವು; keep common English app terms in Kannada letters.)"},
    {"ko", 0.7,
     R"(Use the polite 해요 or 하세요 style consistently; noun endings in headings; spacing by current rules.)"},
    {"ml-IN", 1.25,
     R"(Write everyday Malayalam with നിങ്ങൾ; words join to long ones, so choose short stems for tight fields.)"},
    {"mr-IN", 1.1,
     R"(Write everyday Marathi with तुम्ही; it shares a script with Hindi but not its vocabulary.)"},
    {"ms", 1.2, R"(Use standard Malay of Malaysia with anda in lower case; do not borrow Indonesian words.)"},
    {"nl-NL", 1.25, R"(Use the informal je; write compounds as one word and prefer short Dutch verbs.)"},
    {"no", 1.1, R"(Write Bokmål with du; compounds are one word; avoid Danish and Swedish look-alikes.)"},
    {"or-IN", 1.1, R"(Write everyday Odia with ଆପଣ; keep common English app terms in Odia letters.)"},
    {"pa-IN", 1.1,
     R"(Write everyday Punjabi in Gurmukhi with ਤੁਸੀਂ; keep common English app terms in Gurmukhi letters.)"},
    {"pl", 1.2,
     R"(Avoid past forms that show the reader's gender; address the reader directly in the second person.)"},
    {"pt-BR", 1.25,
     R"(Use Brazilian Portuguese with você, gerunds and Brazilian vocabulary (celular, tela).)"},
    {"pt-PT", 1.25,
     R"(Use European Portuguese without você where possible, and its vocabulary (telemóvel, ecrã).)"},
    {"ro", 1.2,
     R"(Write with the right diacritics (ș and ț with a comma below) and the informal second person.)"},
    {"ru", 1.2,
     R"(Use the polite вы in lower case, guillemets («»), and verbs rather than strings of genitives.)"},
    {"sk", 1.15, R"(Address the reader with the polite vy in lower case; do not borrow Czech forms.)"},
    {"sl-SI", 1.15, R"(Use the polite vi in lower case and the dual where two are meant.)"},
    {"sv", 1.1, R"(Use du, short direct sentences, and compounds written as one word.)"},
    {"ta-IN", 1.3,
     R"(Write modern, simple Tamil with நீங்கள்; words are long, so drop modifiers in tight fields.)"},
    {"te-IN", 1.15, R"(Write everyday Telugu with మీరు; keep common English app terms in Telugu letters.)"},
    {"th", 0.95,
     R"(Write without blanks between words and put a blank between phrases; leave out pronouns and polite particles.)"},
    {"tr", 1.1,
     R"(Use the polite siz in verb endings; mind İ and ı in capitals; suffixes after names take an apostrophe.)"},
    {"uk", 1.2,
     R"(Use the polite ви in lower case, guillemets («»), and Ukrainian words rather than Russian loans.)"},
    {"ur-PK", 1.05, R"(Write everyday Urdu in Nastaliq letters with آپ; Urdu full stop (۔) and comma (،).)"},
    {"vi", 1.2,
     R"(Write with all tone marks, address the reader as bạn, and capitalise only the first word of a heading.)"},
    {"zh-Hans", 0.5,
     R"(Write simplified characters with the vocabulary of mainland China; full-width punctuation, no blanks between characters.)"},
    {"zh-Hant", 0.5,
     R"(Write traditional characters with the vocabulary of Taiwan; full-width punctuation, no blanks between characters.)"},
};

const LocaleNote* find(std::string_view locale) {
    const auto wanted = nearestAppStoreLocale(locale);
    if (!wanted) return nullptr;
    const auto found = std::ranges::lower_bound(notes, *wanted, {}, &LocaleNote::locale);
    return found != std::end(notes) && found->locale == *wanted ? &*found : nullptr;
}

} // namespace

std::span<const LocaleNote> allLocaleNotes() {
    return notes;
}

std::string notesFor(std::string_view locale) {
    const LocaleNote* note = find(locale);
    if (!note)
        return fmt::format("- Follow the conventions of {} for address, punctuation and spelling.", locale);
    std::string lines = fmt::format("- {}", note->note);
    if (note->lengthFactor != 1)
        lines += fmt::format("\n- Length expansion factor vs English: ~{}×. Plan accordingly.",
                             note->lengthFactor);
    return lines;
}

double lengthFactorOf(std::string_view locale) {
    const LocaleNote* note = find(locale);
    return note ? note->lengthFactor : 1;
}

} // namespace quorvel
