#include "Core/metadata/MetadataTransfer.h"

#include "Core/metadata/FallbackTexts.h"
#include "Core/metadata/Locales.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeReader.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <set>

namespace quorvel {

namespace {

// Into itself, an export would add line breaks to the very texts, and an import replace them.
void requireOtherTree(const std::filesystem::path& tree, const MetadataStore& store) {
    const auto identity = fileIdentity(tree);
    if (identity && (identity == fileIdentity(store.folder().rootURL) ||
                     identity == fileIdentity(store.folder().boundary())))
        throw MetadataError(MetadataError::Kind::failed,
                            fmt::format("{}: is the metadata folder itself. Name another folder.",
                                        escapeControls(tree.native())),
                            {tree, {}, {}});
}

using SkipKind = SkippedEntry::Kind;

// Relative to the tree.
std::filesystem::path fileIn(const FieldKey& key) {
    return std::filesystem::path(key.locale) / fileNameOf(key.field);
}

SkippedEntry skippedEntry(const UnreadableText& text) {
    return {fileIn(text.key()).native(), text.explanation, SkipKind::unreadable};
}

class Importer {
  public:
    Importer(const MetadataFolder& source, const MetadataStore& store, Date moment, DryRun dryRun)
        : source_(source),
          store_(store),
          target_(store.folder(), TextSide::local),
          pulled_(store.folder(), TextSide::pulled),
          moment_(moment),
          dryRun_(dryRun) {}

    [[nodiscard]] ImportReport importAll() {
        requireTree(source_.rootURL);
        ReadTexts texts = MetadataStore(source_).readAllUsable();
        std::erase_if(texts.texts, [](const auto& one) { return !isAppStoreLocale(one.first); });
        const FallbackTexts fallbacks(source_);
        report_.fromDefault = fallbacks.fill(texts);
        report_.skipped = strayEntries(source_);
        const auto unused = fallbacks.unused(report_.fromDefault);
        report_.skipped.insert(report_.skipped.end(), unused.begin(), unused.end());
        for (const UnreadableText& text : texts.unreadable)
            if (text.locale == pageLocale || isAppStoreLocale(text.locale))
                skip(text.key(), text.explanation, SkipKind::unreadable);
        for (const FieldType field : pageFields)
            if (texts.page[field]) tryToImport({std::string(pageLocale), field}, *texts.page[field]);
        for (const auto& [locale, fields] : texts.texts) {
            const std::size_t before = report_.imported.size();
            for (const FieldType field : localeFields)
                if (fields[field]) tryToImport({locale, field}, *fields[field]);
            if (report_.imported.size() > before) report_.locales.push_back(locale);
        }
        return std::move(report_);
    }

  private:
    void skip(const FieldKey& key, std::string reason, SkipKind kind) {
        report_.skipped.push_back({fileIn(key).native(), std::move(reason), kind});
    }

    void tryToImport(const FieldKey& key, std::string_view text) {
        try {
            importField(key, text);
        } catch (const MetadataError& error) {
            skip(key, error.what(), SkipKind::unreadable);
        }
    }

    void importField(const FieldKey& key, std::string_view found) {
        const std::string text(withoutFinalLineBreak(found));
        const auto pulled = pulled_.read(key.locale, key.field);
        const auto replace = [&](const std::optional<std::string>& local) -> std::optional<std::string> {
            // Other tools keep a file for each field, also where there is nothing to say.
            if (!isStoreText(key.field) && isBlank(text) && (!local || isBlank(*local))) {
                ++report_.unchanged;
                return std::nullopt;
            }
            if (local == text || (isBlank(text) && local && !isBlank(*local))) {
                if (local == text)
                    ++report_.unchanged;
                else
                    skip(key, "is blank; the local text was left as it is", SkipKind::blank);
                return std::nullopt;
            }
            if (decidePull(pulled, local, text, LocalEdits::keepBeside).keepsBeside) keep(key, *local);
            return text;
        };
        const bool replaces = dryRun_ == DryRun::no
                                  ? store_.update(key.locale, key.field, replace)
                                  : replace(target_.read(key.locale, key.field)).has_value();
        if (!replaces) return;
        report_.imported.push_back(key);
        report_.stripped += text.size() < found.size();
        if (isOverLimit(text, key.field)) report_.overLimit.push_back(key);
    }

    void keep(const FieldKey& key, const std::string& local) {
        const std::string path = dryRun_ == DryRun::no
                                     ? store_.keepBeside(key.locale, key.field, local, moment_).native()
                                     : std::string();
        report_.kept.push_back({key.locale, key.field, path});
    }

    MetadataFolder source_;
    const MetadataStore& store_;
    TreeReader target_;
    TreeReader pulled_;
    Date moment_;
    DryRun dryRun_;
    ImportReport report_;
};

// The bytes of a file of the other tree, which need be no text. Throws `MetadataError` where no file can be.
std::optional<std::string> fileToReplace(const MetadataStore& target, const FieldKey& key) {
    const std::filesystem::path file = target.folder().fieldFile(key.locale, key.field);
    requireInside(file, target.folder().rootURL);
    try {
        return readFile(file);
    } catch (const FileError& error) {
        if (error.errorNumber() == EISDIR) throw MetadataError::notAFile(file);
        throw MetadataError::cannotRead(file, error.errorNumber());
    }
}

void exportField(ExportReport& report, const MetadataStore& target, const FieldKey& key,
                 const std::optional<std::string>& present, const std::string& local, DryRun dryRun) {
    const std::string text = local.empty() ? "" : local + "\n";
    const std::filesystem::path file = target.folder().fieldFile(key.locale, key.field);
    if (present == text) {
        ++report.unchanged;
        return;
    }
    if (dryRun == DryRun::no) {
        createFolders(file.parent_path());
        const FileMode mode = isSecret(key.field) ? FileMode::secret : FileMode::shared;
        if (!replaceFile(file, present, text, Durability::now, mode))
            throw MetadataError::keepsChanging(file);
    }
    ++report.written;
    if (present) report.replaced.push_back(key);
}

// What tidying makes of a text; nothing when it stays.
std::optional<std::string> tidied(const std::optional<std::string>& local,
                                  const std::optional<std::string>& pulled) {
    // What App Store Connect holds is no slip of an editor, and stripping it would make a change.
    if (!local || local == pulled) return std::nullopt;
    const std::string_view text = withoutFinalLineBreak(withoutByteOrderMark(*local));
    return text == *local ? std::nullopt : std::optional<std::string>(text);
}

} // namespace

MetadataFolder treeToImport(const std::filesystem::path& tree) {
    return MetadataFolder{tree, TreeInPlace{}}.contextFolder(ContextID{});
}

ImportReport importTree(const MetadataFolder& source, const MetadataStore& store, const Clock& clock,
                        DryRun dryRun) {
    if (!isFolder(source)) throw MetadataError::notAFolder(source.rootURL);
    requireOtherTree(source.rootURL, store);
    return Importer(source, store, clock(), dryRun).importAll();
}

ExportReport exportTree(const MetadataStore& store, const std::filesystem::path& tree, DryRun dryRun) {
    requireOtherTree(tree, store);
    const MetadataStore target({tree});
    ExportReport report;
    const ReadTexts local = readTextsThatCount(store.folder());
    std::ranges::transform(local.unreadable, std::back_inserter(report.skipped), skippedEntry);
    LocaleTexts all = local.texts;
    all.emplace(pageLocale, local.page);
    for (const auto& [locale, fields] : all)
        for (const FieldType field : fieldsOf(locale)) {
            if (!fields[field]) continue;
            const FieldKey key{locale, field};
            try {
                const auto present = fileToReplace(target, key);
                exportField(report, target, key, present, *fields[field], dryRun);
            } catch (const MetadataError& error) {
                report.skipped.push_back({fileIn(key).native(), error.what(), SkipKind::unreadable});
            }
        }
    return report;
}

TidyReport tidyTree(const MetadataStore& store, DryRun dryRun) {
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    const ReadTexts local = store.readAllUsable();
    TidyReport report;
    std::ranges::transform(local.unreadable, std::back_inserter(report.skipped), skippedEntry);
    for (const auto& [locale, fields] : local.texts) {
        const auto found = pulled.texts.find(locale);
        const FieldTexts copies = found == pulled.texts.end() ? FieldTexts() : found->second;
        for (const FieldType field : localeFields) {
            if (!tidied(fields[field], copies[field])) continue;
            TidiedField one{.locale = locale, .field = field};
            const auto tidy = [&](const std::optional<std::string>& present) {
                auto text = tidied(present, copies[field]);
                if (text) {
                    const std::string_view unmarked = withoutByteOrderMark(*present);
                    one.finalLineBreak = text->size() < unmarked.size();
                    one.byteOrderMark = unmarked.size() < present->size();
                }
                return text;
            };
            try {
                if (dryRun == DryRun::yes ? tidy(fields[field]).has_value()
                                          : store.update(locale, field, tidy))
                    report.tidied.push_back(one);
            } catch (const MetadataError& error) {
                report.skipped.push_back(
                    {fileIn({locale, field}).native(), error.what(), SkipKind::unreadable});
            }
        }
    }
    return report;
}

} // namespace quorvel
