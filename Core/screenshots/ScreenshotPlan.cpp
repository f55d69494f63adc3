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

bool isSent(const LocalScreenshot* local) {
    return local->fate == LocalScreenshot::Fate::sent;
}

// One set's local files and screenshots, each file paired with the screenshot that it is already.
class SetComparison {
  public:
    SetComparison(std::vector<const LocalScreenshot*> locals, const ScreenshotsCatalog::Set& remote,
                  ScreenshotPushMode mode)
        : locals_(std::move(locals)), remote_(remote), mode_(mode), entries_(locals_.size()) {
        // Without a single file to send nobody asked for anything.
        if (std::ranges::none_of(locals_, isSent)) mode_ = ScreenshotPushMode::append;
        pair([](const Entry& entry, const LocalScreenshot& local) {
            return isSent(&local) && isSameScreenshot(entry, local);
        });
        if (mode_ == ScreenshotPushMode::replaceSet)
            pair([](const Entry& entry, const LocalScreenshot& local) {
                return !isSent(&local) && isUsable(entry) && entry.fileName == local.item.fileName();
            });
    }

    [[nodiscard]] ScreenshotSetEdit edit(const SetKey& key) const {
        ScreenshotSetEdit edit{.locale = key.first, .displayType = key.second};
        for (const Entry& entry : remote_) {
            if (matched_.contains(entry.id)) continue;
            if (mode_ == ScreenshotPushMode::replaceSet || isLeftover(entry))
                edit.ascIdsToDelete.push_back(entry.id);
        }
        edit.finalOrder = inOurOrder(kept(edit.ascIdsToDelete));
        std::size_t place = edit.finalOrder.size(); // before the next of ours
        for (std::size_t at = locals_.size(); at-- > 0;) {
            const auto begin = edit.finalOrder.begin();
            if (entries_[at])
                place = static_cast<std::size_t>(
                    std::ranges::find(edit.finalOrder, ScreenshotOrderToken::asc(entries_[at]->id)) - begin);
            else if (isSent(locals_[at]))
                edit.finalOrder.insert(begin + static_cast<std::ptrdiff_t>(place),
                                       ScreenshotOrderToken::local(locals_[at]->item.fileURL));
        }
        for (std::size_t at = 0; at < locals_.size(); ++at)
            if (!entries_[at] && isSent(locals_[at])) edit.localsToUpload.push_back(locals_[at]->item);
        return edit;
    }

    [[nodiscard]] ScreenshotSetStatus status(const ScreenshotSetEdit& edit) const {
        ScreenshotSetStatus status{.locale = edit.locale, .displayType = edit.displayType};
        status.local = std::ranges::count_if(locals_, isSent);
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

    [[nodiscard]] std::vector<ScreenshotPushItem> inProcessing() const {
        std::vector<ScreenshotPushItem> items;
        for (std::size_t at = 0; at < locals_.size(); ++at)
            if (entries_[at] && isSent(locals_[at]) &&
                entries_[at]->assetState.value_or(std::string(assetComplete)) != assetComplete)
                items.push_back(locals_[at]->item);
        return items;
    }

  private:
    template <typename IsPair>
    void pair(IsPair&& isPair) {
        for (const Entry& entry : remote_)
            for (std::size_t at = 0; at < locals_.size() && !matched_.contains(entry.id); ++at)
                if (!entries_[at] && isPair(entry, *locals_[at])) {
                    entries_[at] = &entry;
                    matched_.insert(entry.id);
                }
    }

    // What an upload of one of the local files left behind.
    [[nodiscard]] bool isLeftover(const Entry& entry) const {
        return !isUsable(entry) && std::ranges::any_of(locals_, [&](const LocalScreenshot* local) {
            return isSent(local) && entry.fileName == local->item.fileName();
        });
    }

    // Our files among `tokens` change places with each other. A push that was cut off had not ordered them.
    [[nodiscard]] std::vector<ScreenshotOrderToken>
    inOurOrder(std::vector<ScreenshotOrderToken> tokens) const {
        std::vector<ScreenshotOrderToken> ours;
        for (const Entry* entry : entries_)
            if (entry) ours.push_back(ScreenshotOrderToken::asc(entry->id));
        auto next = ours.begin();
        for (ScreenshotOrderToken& token : tokens) {
            if (next == ours.end()) break;
            if (matched_.contains(std::get<ScreenshotOrderToken::ASC>(token.value).id)) token = *next++;
        }
        return tokens;
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
    ScreenshotPushMode mode_;
    std::vector<const Entry*> entries_; // of each local file; null: not there yet
    std::set<std::string> matched_;     // their ids
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
        const SetComparison comparison(files, remote, mode);
        ScreenshotSetEdit edit = comparison.edit(key);
        plan.sets.push_back(comparison.status(edit));
        if (plan.sets.back().differs()) plan.edits.push_back(std::move(edit));
        std::ranges::move(comparison.inProcessing(), std::back_inserter(plan.inProcessing));
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
