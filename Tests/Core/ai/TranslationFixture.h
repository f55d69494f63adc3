// A metadata tree, a store of records and a scripted model.
#pragma once

#include "Core/ai/translation/TranslationPipeline.h"
#include "Core/metadata/MetadataStore.h"
#include "Tests/Core/ai/FakeClaude.h"
#include "Tests/support/TemporaryFolder.h"

namespace quorvel::test {

struct TranslationFixture {
    explicit TranslationFixture(std::vector<FakeClaude::Answer> answers = {FakeClaude::says("Übersetzt")})
        : claude(std::make_shared<FakeClaude>(std::move(answers))) {
        store.write("en-US", FieldType::name, "Tide Pool");
        store.write("en-US", FieldType::subtitle, "Tides at a glance");
        store.write("en-US", FieldType::description, "Know the tides.");
        store.write("en-US", FieldType::keywords, "tide,surf");
        store.createLocaleLocally("de-DE");
        store.createLocaleLocally("fr-FR");
    }

    [[nodiscard]] TranslationPipeline::Parts parts() const {
        return {.claude = claude,
                .cache = TranslationCache(container),
                .folder = folderOfTexts,
                .model = "m",
                .clock = clock};
    }
    [[nodiscard]] TranslationPipeline pipeline() const { return TranslationPipeline(parts()); }
    [[nodiscard]] TranslationOutcome translate(FieldType field, const std::string& locale = "de-DE") const {
        return pipeline().translate({{"en-US", locale, field}}, settings).at(0);
    }
    [[nodiscard]] std::string textOf(FieldType field, const std::string& locale = "de-DE") const {
        return store.read(locale, field).value_or("(none)");
    }

    TemporaryFolder folder;
    Clock clock = [] { return dateFromSecondsSince1970(1'772'368'200); };
    MetadataFolder folderOfTexts{folder / "ios" / "next"};
    MetadataStore store{folderOfTexts};
    SharedContainer container = ModelContainer::open(folder / "support", clock);
    TranslationPipeline::Settings settings;
    std::shared_ptr<FakeClaude> claude;
};

} // namespace quorvel::test
