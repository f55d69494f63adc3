#include "Core/ai/translation/GeneratedTexts.h"

#include "Platform/text/Text.h"

namespace quorvel {

GeneratedTexts::GeneratedTexts(const MetadataStore& store, Date moment)
    : store_(store), moment_(moment), marks_(ReviewMarks::load(store.folder())) {}

GeneratedTexts::Written GeneratedTexts::write(std::string_view locale, FieldType field, std::string_view text,
                                              ReviewMark mark) {
    Written written{.kept = std::nullopt, .review = mark};
    store_.update(locale, field, [&](const std::optional<std::string>& before) -> std::optional<std::string> {
        const std::lock_guard lock(mutex_);
        if (before == text) {
            written.review = marks_.find(locale, field, text);
            return std::nullopt;
        }
        if (before && !isBlank(*before)) written.kept = store_.keepBeside(locale, field, *before, moment_);
        // The mark comes first: a run that is killed in between must not leave an unread text without one.
        marks_.set(locale, field, text, mark);
        marks_.save(store_.folder());
        return std::string(text);
    });
    return written;
}

} // namespace quorvel
