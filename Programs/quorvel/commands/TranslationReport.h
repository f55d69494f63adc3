// What the commands that translate say of a run.
#pragma once

#include "Core/ai/translation/TranslationPipeline.h"
#include "Programs/quorvel/Output.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quorvel {

struct TranslatedRecord {
    std::string locale;
    FieldType field = FieldType::name;
    std::string translation;
    std::int64_t length = 0;
    std::int64_t limit = 0;
    bool review = false; // written by this run and read by nobody yet
    TranslationOutcome outcome;
    QUORVEL_RECORD(TranslatedRecord, locale, field, translation, length, limit, review, outcome)
};

struct TranslationDocument {
    std::string model;
    std::vector<TranslatedRecord> fields;
    double costUSD = 0;
    QUORVEL_RECORD(TranslationDocument, model, fields, costUSD)
};

[[nodiscard]] TranslatedRecord recordOf(const TranslationOutcome& outcome,
                                        const TranslationPipeline::Settings& settings);

/// The texts with their lengths, what is to be said of some of them, and what they cost.
void printOutcomes(Output& output, const TranslationDocument& document);

} // namespace quorvel
