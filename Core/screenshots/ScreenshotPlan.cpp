#include "Core/screenshots/ScreenshotPlan.h"

#include "Core/screenshots/ScreenshotError.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

namespace quorvel {

namespace {

using Entry = ScreenshotsCatalog::Entry;
using SetKey = std::pair<std::string, std::string>; // locale, display type

bool isUsable(const Entry& entry) {
    return entry.assetState != assetFailed && entry.assetState != assetAwaitsUpload;
}

bool mayBe(const Entry& entry, const std::string& fileName, std::uint64_t size) {
    return isUsable(entry) && entry.fileName == fileName &&
           (!entry.fileSize || *entry.fileSize == static_cast<std::int64_t>(size));
}

// One set's local files and screenshots, each file paired with the screenshot that it is already.
class SetComparison {
  public:
    SetComparison(std::vector<const LocalScreenshot*> locals, const ScreenshotsCatalog::Set& remote)
        : locals_(std::move(locals)), remote_(remote), entries_(locals_.size()) {
        for (const Entry& entry : remote_)
            for (std::size_t at = 0; at < locals_.size(); ++at)
                if (!entries_[at] && isSameScreenshot(entry, *locals_[at])) {
                    entries_[at] = &entry;
                    matched_.insert(&entry);
                    break;
                }
    }

    [[nodiscard]] ScreenshotSetEdit edit(const SetKey& key, ScreenshotPushMode mode) const {
        ScreenshotSetEdit edit{.locale = key.first, .displayType = key.second};
        for (const Entry& entry : remote_) {
            if (matched_.contains(&entry)) continue;
            if (mode == ScreenshotPushMode::replaceSet || isRemains(entry))
                edit.ascIdsToDelete.push_back(entry.id);
        }
        if (mode == ScreenshotPushMode::append) edit.finalOrder = kept(edit.ascIdsToDelete);
        for (std::size_t at = 0; at < locals_.size(); ++at) {
            const ScreenshotPushItem& item = locals_[at]->item;
            if (!entries_[at]) {
                edit.localsToUpload.push_back(item);
                edit.finalOrder.push_back(ScreenshotOrderToken::local(item.fileURL));
            } else if (mode == ScreenshotPushMode::replaceSet) {
                edit.finalOrder.push_back(ScreenshotOrderToken::asc(entries_[at]->id));
            }
        }
        return edit;
    }

    [[nodiscard]] ScreenshotSetStatus status(const ScreenshotSetEdit& edit) const {
        ScreenshotSetStatus status{.locale = edit.locale, .displayType = edit.displayType};
        status.local = static_cast<std::int64_t>(locals_.size());
        status.remote = static_cast<std::int64_t>(remote_.size());
        for (const std::string& id : edit.ascIdsToDelete)
            status.toDelete.push_back(nameOf(id));
        for (const ScreenshotPushItem& item : edit.localsToUpload)
            status.toUpload.push_back(item.fileName());
        const auto before = kept(edit.ascIdsToDelete);
        auto place = before.begin();
        for (const ScreenshotOrderToken& token : edit.finalOrder)
            if (const auto* stays = std::get_if<ScreenshotOrderToken::ASC>(&token.value)) {
                if (*place++ == token)
                    ++status.unchanged;
                else
                    status.moved.push_back(nameOf(stays->id));
            }
        return status;
    }

  private:
    // What an upload of one of the local files left behind.
    [[nodiscard]] bool isRemains(const Entry& entry) const {
        return !isUsable(entry) && std::ranges::any_of(locals_, [&](const LocalScreenshot* local) {
            return entry.fileName == local->item.fileName();
        });
    }

    // The screenshots that stay, in the order that they have.
    [[nodiscard]] std::vector<ScreenshotOrderToken> kept(const std::vector<std::string>& deleted) const {
        std::vector<ScreenshotOrderToken> tokens;
        for (const Entry& entry : remote_)
            if (std::ranges::find(deleted, entry.id) == deleted.end())
                tokens.push_back(ScreenshotOrderToken::asc(entry.id));
        return tokens;
    }

    [[nodiscard]] std::string nameOf(const std::string& id) const {
        const auto entry = std::ranges::find(remote_, id, &Entry::id);
        return entry == remote_.end() ? id : entry->fileName.value_or(id);
    }

    std::vector<const LocalScreenshot*> locals_;
    const ScreenshotsCatalog::Set& remote_;
    std::vector<const Entry*> entries_; // of each local file; null: not there yet
    std::set<const Entry*> matched_;
};

} // namespace

LocalScreenshot inspect(const ScreenshotPushItem& item, const ScreenshotsCatalog& catalog) {
    LocalScreenshot local{item, ScreenshotFile(item.fileURL).size(), {}};
    const auto& set = catalog.setOf(item.locale, item.displayType);
    if (std::ranges::any_of(set,
                            [&](const Entry& entry) { return mayBe(entry, item.fileName(), local.size); }))
        local.checksum = fileChecksum(item.fileURL);
    return local;
}

bool isSameScreenshot(const Entry& entry, const LocalScreenshot& local) {
    if (!mayBe(entry, local.item.fileName(), local.size)) return false;
    return entry.sourceFileChecksum ? entry.sourceFileChecksum == local.checksum : entry.fileSize.has_value();
}

ScreenshotPlan planScreenshots(const std::vector<LocalScreenshot>& locals, const ScreenshotsCatalog& catalog,
                               ScreenshotPushMode mode) {
    std::map<SetKey, std::vector<const LocalScreenshot*>> sets;
    for (const LocalScreenshot& local : locals)
        sets[{local.item.locale, local.item.displayType}].push_back(&local);
    for (const auto& [locale, types] : catalog.sets)
        for (const auto& [type, entries] : types)
            if (!entries.empty()) sets.try_emplace({locale, type});
    ScreenshotPlan plan;
    for (const auto& [key, files] : sets) {
        const auto& remote = catalog.setOf(key.first, key.second);
        const SetComparison comparison(files, remote);
        // Without a single local file nobody asked for anything.
        const auto setMode = files.empty() ? ScreenshotPushMode::append : mode;
        ScreenshotSetEdit edit = comparison.edit(key, setMode);
        plan.sets.push_back(comparison.status(edit));
        if (plan.sets.back().differs()) plan.edits.push_back(std::move(edit));
    }
    return plan;
}

void requireSetLimits(const std::vector<ScreenshotSetEdit>& edits) {
    std::vector<std::string> tooMany;
    for (const ScreenshotSetEdit& edit : edits)
        if (edit.finalOrder.size() > mostScreenshotsPerSet)
            tooMany.push_back(fmt::format("{} would hold {}", setText(edit.locale, edit.displayType),
                                          edit.finalOrder.size()));
    if (!tooMany.empty()) throw ScreenshotError::tooMany(tooMany);
}

} // namespace quorvel
