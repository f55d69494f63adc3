// The locales that somebody removed from a version though App Store Connect keeps their names.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/metadata/MetadataFolder.h"

#include <string>
#include <string_view>

namespace quorvel {

/// App Store Connect keeps the name and the subtitle of a locale as long as a version of another platform has
/// it: they would bring a removed locale back with each pull. The note lies in .brevant/removed.json of the
/// context. Everything throws `FileError`; writing is for one process at a time, which holds the lock of the
/// app's folder.
class RemovedLocales {
  public:
    /// Reads the note; a damaged one names none.
    explicit RemovedLocales(const MetadataFolder& folder);

    /// Whether the locale is left out though App Store Connect holds `texts` of it: it was removed, is not of
    /// the version since, and nobody made a folder for it again.
    [[nodiscard]] bool leaveOut(std::string_view locale, const FieldTexts& texts) const;
    /// Takes such locales out of what App Store Connect holds.
    void leaveOutOf(LocaleTexts& remote) const;

    void add(const std::string& locale);
    /// Forgets the locales that are there again, as of what a pull brought.
    void forgetOthers(const LocaleTexts& remote);

  private:
    void save() const;

    MetadataFolder folder_;
    LocaleSet locales_;
};

} // namespace quorvel
