#include "Core/ai/translation/EnglishLocaleExpansion.h"
#include "Core/ai/translation/TranslationPipeline.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/AppTarget.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/commands/AIServices.h"
#include "Programs/quorvel/commands/Groups.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

struct EntryRecord {
    std::string locale;
    std::string keywords_field;
    std::int64_t length = 0;
    std::int64_t limit = 0;
    bool skipped = false;
    std::optional<std::string> kept;
    std::optional<std::string> warning;
    QUORVEL_RECORD(EntryRecord, locale, keywords_field, length, limit, skipped, kept, warning)
};

struct ExpansionDocument {
    std::vector<EntryRecord> entries;
    std::string rationale;
    double costUSD = 0;
    QUORVEL_RECORD(ExpansionDocument, entries, rationale, costUSD)
};

EnglishLocaleExpansion::Input inputOf(AppTarget& target, const MetadataStore& store, std::size_t limit) {
    const std::string base(EnglishLocaleExpansion::locales.front());
    const auto textOf = [&](FieldType field) {
        return std::string(trim(store.read(base, field).value_or("")));
    };
    EnglishLocaleExpansion::Input input{.baseKeywords = textOf(FieldType::keywords),
                                        .appName = textOf(FieldType::name),
                                        .appSubtitle = textOf(FieldType::subtitle),
                                        .brand = BrandContext::of(target.app()),
                                        .limit = limit};
    if (isBlank(input.baseKeywords))
        throw CommandError(ExitStatus::notFound, fmt::format("The keywords of {} are empty", base),
                           "Write those first; the other locales are coordinated with them.");
    return input;
}

void print(Output& output, const ExpansionDocument& document) {
    Table table{.columns = {{"Locale"},
                            {"Characters", Table::Align::right},
                            {"Keywords, for review", Table::Align::left, Table::Fit::wrap}},
                .rows = {}};
    std::size_t written = 0;
    for (const EntryRecord& entry : document.entries) {
        table.rows.push_back(
            {entry.locale, fmt::format("{}/{}", entry.length, entry.limit), entry.keywords_field});
        written += entry.skipped ? 0 : 1;
    }
    output.table(table);
    for (const EntryRecord& entry : document.entries) {
        if (entry.warning) output.warning(fmt::format("{}: {}", entry.locale, *entry.warning));
        if (entry.skipped)
            output.warning(
                fmt::format("{}: has keywords, which the locale's safe mode keeps — skipped.", entry.locale));
        if (entry.kept)
            output.note(fmt::format("The keywords of {} were put aside as {}", entry.locale, *entry.kept));
    }
    output.line();
    output.line(document.rationale);
    output.line(fmt::format("Wrote the keywords of {} for {}.", counted(written, "locale"),
                            priceText(document.costUSD)));
}

ExitStatus expandEnglish(Invocation& invocation) {
    AppTarget target(invocation, AppTarget::Reach::records);
    const MetadataStore store = target.localStore();
    const auto settings = translationSettings(invocation, target.app());
    const std::size_t limit = TranslationPipeline::limitFor(FieldType::keywords, settings);
    const auto input = inputOf(target, store, limit);
    Output& output = invocation.output;
    if (invocation.global.dryRun) {
        const auto prompt = EnglishLocaleExpansion::prompt(input);
        output.document(prompt);
        if (!output.isJSON()) output.raw(prompt.system + "\n\n" + prompt.user + "\n");
        output.note("Dry run: one request would be sent, nothing was.");
        return ExitStatus::done;
    }
    const auto stack = aiStack(invocation);
    output.progress("Asking for keywords…");
    const auto result = EnglishLocaleExpansion(stack.client, stack.model).expand(input);
    std::vector<EnglishLocaleExpansion::Entry> entries;
    target.controller()->perform(MetadataOperation::translate, [&] {
        entries = EnglishLocaleExpansion::write(store.folder(), result.entries, settings.locales,
                                                invocation.composition.clock()());
    });
    ExpansionDocument document{.rationale = result.rationale, .costUSD = result.costUSD};
    std::vector<std::string> codes;
    for (const auto& entry : entries) {
        codes.push_back(entry.locale);
        document.entries.push_back(
            {entry.locale, entry.keywordsField, static_cast<std::int64_t>(graphemeCount(entry.keywordsField)),
             static_cast<std::int64_t>(limit), entry.skipped, entry.kept, entry.warning});
    }
    invocation.composition.apps().addMissingLocales(target.app().id, codes);
    output.document(document);
    print(output, document);
    for (const std::string_view locale : EnglishLocaleExpansion::locales)
        if (std::ranges::find(codes, locale) == codes.end())
            output.warning(
                fmt::format("{}: the answer holds no keywords; the locale was left as it is", locale));
    return codes.size() == EnglishLocaleExpansion::locales.size() ? ExitStatus::done : ExitStatus::partlyDone;
}

} // namespace

std::vector<Command> keywordsCommands() {
    return {
        {.name = "keywords", .summary = "Generate keywords for each market"},
        generateKeywordsCommand(),
        {.name = "keywords expand-english",
         .summary = "Coordinate the keywords of the four English locales",
         .arguments = {freshArgument(), folderArgument()},
         .heeds = {"--app", "--workspace", "--context", "--dry-run"},
         .run = expandEnglish,
         .details = EnglishLocaleExpansion::explanation},
    };
}

} // namespace quorvel
