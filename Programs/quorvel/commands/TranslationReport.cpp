#include "Programs/quorvel/commands/TranslationReport.h"

#include "Platform/text/Text.h"
#include "Programs/quorvel/commands/AIServices.h"
#include "Programs/quorvel/commands/MetadataRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace quorvel {

TranslatedRecord recordOf(const TranslationOutcome& outcome, const TranslationPipeline::Settings& settings) {
    return {.locale = outcome.item.targetLocale,
            .field = outcome.item.field,
            .translation = outcome.translation,
            .length = static_cast<std::int64_t>(graphemeCount(outcome.translation)),
            .limit = static_cast<std::int64_t>(TranslationPipeline::limitFor(outcome.item.field, settings)),
            .review = !outcome.skipped && !outcome.error,
            .outcome = outcome};
}

namespace {

Table::Cell resultOf(const TranslationOutcome& outcome) {
    if (outcome.error) return {"FAILED", Style::red};
    if (outcome.skipped) return {"skipped", Style::dim};
    if (outcome.isOverLimit) return {"cut, review", Style::yellow};
    return {outcome.fromCache ? "from the cache, review" : "review", Style::green};
}

// What goes wrong with many texts alike is said once.
void tellProblems(Output& output, const std::vector<TranslatedRecord>& fields) {
    std::map<std::string_view, std::size_t> counts;
    for (const TranslatedRecord& record : fields)
        if (record.outcome.error) ++counts[*record.outcome.error];
    for (const TranslatedRecord& record : fields) {
        const TranslationOutcome& outcome = record.outcome;
        const std::string name = fmt::format("{} {}", record.locale, shortLabelOf(record.field));
        if (outcome.warning) output.warning(fmt::format("{}: {}", name, *outcome.warning));
        if (!outcome.error) continue;
        const std::size_t count = std::exchange(counts[*outcome.error], 0);
        const std::string others = count > 1 ? fmt::format(" and {} more", count - 1) : "";
        if (count > 0) output.warning(fmt::format("{}{}: {}", name, others, *outcome.error));
    }
}

} // namespace

void printOutcomes(Output& output, const TranslationDocument& document) {
    Table table{.columns = {{"Locale"}, {"Field"}, {"Characters", Table::Align::right}, {"Result"}},
                .rows = {}};
    std::size_t written = 0;
    for (const TranslatedRecord& record : document.fields) {
        table.rows.push_back({record.locale, shortLabelOf(record.field),
                              record.review ? fmt::format("{}/{}", record.length, record.limit) : "",
                              resultOf(record.outcome)});
        written += record.review ? 1 : 0;
    }
    output.table(table);
    tellProblems(output, document.fields);
    const auto replaced = std::ranges::find_if(
        document.fields, [](const TranslatedRecord& record) { return record.outcome.kept.has_value(); });
    if (replaced != document.fields.end())
        output.note(fmt::format("Texts that were there were put aside, such as {}", *replaced->outcome.kept));
    output.line();
    output.line(fmt::format("Wrote {} for {}. Read them with 'quorvel diff' before you push.",
                            counted(written, "text"), priceText(document.costUSD)));
}

} // namespace quorvel
