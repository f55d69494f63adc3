#include "Core/metadata/MetadataTransfer.h"

#include "Core/metadata/Locales.h"
#include "Core/metadata/TextRemarks.h"
#include "Core/metadata/TreeReader.h"
#include "Platform/files/Files.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace quorvel {

namespace {

// Into itself, an export would add line breaks to the very texts, and an import replace them.
void requireOtherTree(const std::filesystem::path& tree, const MetadataStore& store) {
    const auto identity = fileIdentity(tree);
    if (identity && identity == fileIdentity(store.folder().rootURL))
        throw MetadataError(MetadataError::Kind::failed,
                            fmt::format("{}: is the metadata folder itself. Name another folder.",
                                        escapeControls(tree.native())),
                            {tree, {}, {}});
}

bool isFieldFile(std::string_view name) {
    return std::ranges::find(allFieldTypes, name, fileNameOf) != allFieldTypes.end();
}

std::string reasonToSkipFolder(std::string_view name) {
    if (const auto nearest = nearestAppStoreLocale(name))
        return fmt::format("is no App Store locale; rename it to \"{}\" if that is meant", *nearest);
    return "is no App Store locale";
}

SkippedEntry skippedEntry(const UnreadableText& text) {
    return {(std::filesystem::path(text.locale) / fileNameOf(text.field)).native(), text.explanation};
}

class Importer {
  public:
    Importer(const std::filesystem::path& tree, const MetadataStore& store, Date moment, DryRun dryRun)
        : tree_(tree),
          source_({tree}, TextSide::local),
          store_(store),
          target_(store.folder(), TextSide::local),
          pulled_(store.folder(), TextSide::pulled),
          moment_(moment),
          dryRun_(dryRun) {}

    [[nodiscard]] ImportReport importAll() {
        const auto entries = listFolder(tree_);
        if (!entries) throw MetadataError::notAFolder(tree_);
        const auto folders = source_.locales();
        for (const FolderEntry& entry : *entries) {
            if (std::ranges::binary_search(folders, entry.name) && isAppStoreLocale(entry.name))
                importLocale(entry.name);
            else if (std::ranges::binary_search(folders, entry.name))
                skip(entry.name, reasonToSkipFolder(entry.name));
            else if (!entry.name.starts_with('.'))
                skip(entry.name, "is no locale folder");
        }
        return std::move(report_);
    }

  private:
    void skip(const std::filesystem::path& path, std::string reason) {
        report_.skipped.push_back({path.native(), std::move(reason)});
    }

    void importLocale(const std::string& locale) {
        skipOtherFiles(locale);
        const std::size_t before = report_.imported.size();
        for (const FieldType field : allFieldTypes) {
            try {
                if (const auto text = source_.read(locale, field)) importField({locale, field}, *text);
            } catch (const MetadataError& error) {
                skip(std::filesystem::path(locale) / fileNameOf(field), error.what());
            }
        }
        if (report_.imported.size() > before) report_.locales.push_back(locale);
    }

    void skipOtherFiles(const std::string& locale) try {
        for (const FolderEntry& entry : listFolder(tree_ / locale).value_or(std::vector<FolderEntry>()))
            if (!isFieldFile(entry.name) && !entry.name.starts_with('.'))
                skip(std::filesystem::path(locale) / entry.name, "is no field of the metadata");
    } catch (const FileError& error) {
        skip(locale, error.what());
    }

    void importField(const FieldKey& key, std::string_view found) {
        const std::string_view text = withoutFinalLineBreak(found);
        const auto local = target_.read(key.locale, key.field);
        if (local == text) {
            ++report_.unchanged;
            return;
        }
        if (isBlank(text) && local && !isBlank(*local)) {
            skip(std::filesystem::path(key.locale) / fileNameOf(key.field),
                 "is blank; the local text was left as it is");
            return;
        }
        const auto decision =
            decidePull(pulled_.read(key.locale, key.field), local, text, LocalEdits::keepBeside);
        if (decision.keepsBeside) keep(key, *local);
        if (dryRun_ == DryRun::no) store_.write(key.locale, key.field, text);
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

    std::filesystem::path tree_;
    TreeReader source_;
    const MetadataStore& store_;
    TreeReader target_;
    TreeReader pulled_;
    Date moment_;
    DryRun dryRun_;
    ImportReport report_;
};

} // namespace

ImportReport importTree(const std::filesystem::path& tree, const MetadataStore& store, const Clock& clock,
                        DryRun dryRun) {
    requireOtherTree(tree, store);
    return Importer(tree, store, clock(), dryRun).importAll();
}

ExportReport exportTree(const MetadataStore& store, const std::filesystem::path& tree, DryRun dryRun) {
    requireOtherTree(tree, store);
    const MetadataStore target({tree});
    ExportReport report;
    const ReadTexts local = store.readAllUsable();
    std::ranges::transform(local.unreadable, std::back_inserter(report.skipped), skippedEntry);
    for (const auto& [locale, fields] : local.texts)
        for (const FieldType field : allFieldTypes) {
            if (!fields[field]) continue;
            const std::string text = fields[field]->empty() ? "" : *fields[field] + "\n";
            const auto present = readFile(target.folder().fieldFile(locale, field));
            if (present == text) {
                ++report.unchanged;
                continue;
            }
            if (dryRun == DryRun::no) target.write(locale, field, text);
            ++report.written;
            if (present) report.replaced.push_back({locale, field});
        }
    return report;
}

TidyReport tidyTree(const MetadataStore& store, DryRun dryRun) {
    const ReadTexts pulled = store.readAllUsable(TextSide::pulled);
    const ReadTexts local = store.readAllUsable();
    TidyReport report;
    std::ranges::transform(local.unreadable, std::back_inserter(report.skipped), skippedEntry);
    for (const auto& [locale, fields] : local.texts) {
        const auto copies = pulled.texts.find(locale);
        for (const FieldType field : allFieldTypes) {
            if (!fields[field]) continue;
            // What App Store Connect holds is no slip of an editor, and stripping it would make a change.
            if (copies != pulled.texts.end() && copies->second[field] == fields[field]) continue;
            const std::string_view unmarked = withoutByteOrderMark(*fields[field]);
            const std::string_view text = withoutFinalLineBreak(unmarked);
            if (text == *fields[field]) continue;
            if (dryRun == DryRun::no) store.write(locale, field, text);
            report.tidied.push_back(
                {locale, field, text.size() < unmarked.size(), unmarked.size() < fields[field]->size()});
        }
    }
    return report;
}

} // namespace quorvel
