#include "Core/ai/translation/GeneratedTexts.h"

#include "Platform/text/Text.h"

namespace quorvel {

GeneratedTexts::GeneratedTexts(const MetadataStore& store, Date moment)
    : store_(store), moment_(moment), marks_(ReviewMarks::load(store.folder())) {}

GeneratedTexts::Written GeneratedTexts::write(std::string_view locale, FieldType field, std::string_view text,
                                              ReviewMark mark) {
    const auto before = store_.read(locale, field);
    if (before == text) {
        const std::lock_guard lock(mutex_);
        return {std::nullopt, marks_.find(locale, field, text)};
    }
    Written written{.kept = std::nullopt, .review = mark};
    if (before && !isBlank(*before)) written.kept = store_.keepBeside(locale, field, *before, moment_);
    {
        // The mark comes first: a run that is killed in between must not leave an unread text without one.
        const std::lock_guard lock(mutex_);
        marks_.set(locale, field, text, mark);
        marks_.save(store_.folder());
    }
    store_.write(locale, field, text);
    return written;
}

} // namespace quorvel
