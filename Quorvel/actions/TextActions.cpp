#include "Quorvel/actions/TextActions.h"

#include "Core/ai/translation/GeneratedTexts.h"
#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/MetadataStore.h"
#include "Platform/text/Text.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/metadata/MetadataController.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

std::int64_t lengthOf(std::string_view text) {
    return static_cast<std::int64_t>(graphemeCount(text));
}

std::int64_t limitFor(FieldType field) {
    return static_cast<std::int64_t>(factsOf(field).limit);
}

void requireWritable(const std::vector<WriteTexts::NewText>& texts) {
    if (texts.empty()) throw ApplicationError(FailureKind::badRequest, "no text was given");
    std::set<FieldKey> keys;
    for (const auto& text : texts) {
        requireAppStoreLocale(text.locale);
        if (isPageField(text.field))
            throw ApplicationError(
                FailureKind::badRequest, fmt::format("the {} is of no locale", rawValue(text.field)),
                fmt::format("Its file is {} beside the locales' folders.", fileNameOf(text.field)));
        if (!keys.insert({text.locale, text.field}).second)
            throw ApplicationError(FailureKind::badRequest, fmt::format("two texts were given for {} {}",
                                                                        text.locale, rawValue(text.field)));
    }
}

} // namespace

ShowTexts::Result ShowTexts::perform(Application& application, const Request& request,
                                     const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const auto compared = opened.session->metadata->compare(request.context, {}, dryRunOf(request));
    Result result{.app = knownReferenceOf(opened.app),
                  .context = compared.context.text(),
                  .sourceLocale = sourceLocaleOf(opened.app),
                  .locales = compared.texts.grid.locales,
                  .texts = {},
                  .unreadable = {}};
    for (const std::string& locale : request.locales)
        if (!std::ranges::binary_search(result.locales, locale))
            throw MetadataError::unknownLocale(locale, compared.folder.rootURL, result.locales);
    const PushFilter filter{.locales = request.locales, .fields = request.fields};
    std::set<FieldKey> pending;
    for (const PendingChange& change : compared.texts.changes)
        pending.insert(change.key());
    auto read = readTextsThatCount(compared.folder);
    for (const auto& [locale, texts] : read.texts)
        for (const FieldType field : localeFields) {
            const FieldKey key{locale, field};
            if (!texts[field] || !filter.takes(key)) continue;
            result.texts.push_back({locale, field, *texts[field], lengthOf(*texts[field]), limitFor(field),
                                    pending.contains(key)});
        }
    for (UnreadableText& text : read.unreadable)
        if (filter.takes(text.key())) result.unreadable.push_back(std::move(text));
    return result;
}

WriteTexts::Result WriteTexts::perform(Application& application, const Request& request,
                                       const ActionProgress& progress) {
    requireWritable(request.texts);
    const OpenedApp opened = openLocal(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    MetadataController& metadata = *opened.session->metadata;
    Result result{.app = knownReferenceOf(opened.app),
                  .context = metadata.editable(request.context).context.text(),
                  .texts = {}};
    metadata.change(
        OperationKind::importTexts, result.context, [&](auto& operation, const MetadataStore& store) {
            operation.status("Writing texts…");
            GeneratedTexts generated(store, application.clock()());
            for (const NewText& wanted : request.texts) {
                const std::string text(trim(wanted.text));
                Text written{.locale = wanted.locale,
                             .field = wanted.field,
                             .length = lengthOf(text),
                             .limit = limitFor(wanted.field),
                             .outcome = WriteOutcome::written,
                             .backup = {}};
                if (written.length > written.limit) {
                    written.outcome = WriteOutcome::overLimit;
                } else if (store.read(wanted.locale, wanted.field) == text) {
                    written.outcome = WriteOutcome::unchanged;
                } else if (const auto done =
                               generated.write(wanted.locale, wanted.field, text, ReviewMark::generated);
                           done.kept) {
                    written.backup = done.kept->native();
                }
                result.texts.push_back(std::move(written));
            }
        });
    if (!opened.app.id.empty()) {
        std::vector<std::string> locales;
        for (const Text& text : result.texts)
            if (text.outcome == WriteOutcome::written) locales.push_back(text.locale);
        application.apps().addMissingLocales(opened.app.id, locales);
    }
    return result;
}

} // namespace quorvel
