#include "Core/screenshots/ScreenshotPlan.h"

#include "Core/screenshots/previews/PosterFrame.h"
#include "Platform/text/Counted.h"

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

bool hasSize(const Entry& entry, std::uint64_t size) {
    return isUsable(entry) && (!entry.fileSize || *entry.fileSize == static_cast<std::int64_t>(size));
}

bool isSent(const LocalScreenshot* local) {
    return local->fate == LocalScreenshot::Fate::sent;
}

// One set's local files and screenshots, each file paired with the screenshot that it is already.
class SetComparison {
  public:
    SetComparison(std::vector<const LocalScreenshot*> locals, const ScreenshotsCatalog::Set& remote,
                  ScreenshotPushMode mode, SetsWithoutFiles withoutFiles, AssetKind kind)
        : traits_(traitsOf(kind)),
          locals_(std::move(locals)),
          remote_(remote),
          mode_(mode),
          entries_(locals_.size()) {
        // Without a single file to send nobody asked for anything.
        const bool isEmptied = locals_.empty() && withoutFiles == SetsWithoutFiles::empty;
        if (std::ranges::none_of(locals_, isSent) && !isEmptied) mode_ = ScreenshotPushMode::append;
        pair([](const Entry& entry, const LocalScreenshot& local) {
            return isSent(&local) && isSameScreenshot(entry, local);
        });
        if (mode_ == ScreenshotPushMode::replaceSet)
            pair([](const Entry& entry, const LocalScreenshot& local) {
                return !isSent(&local) && isUsable(entry) && entry.fileName == local.item.fileName();
            });
        // A file that was renamed.
        pair([](const Entry& entry, const LocalScreenshot& local) {
            return isSent(&local) && hasSize(entry, local.size) && entry.sourceFileChecksum &&
                   entry.sourceFileChecksum == local.checksum;
        });
        if (traits_.order == AssetOrder::asCreated) giveUpMisplaced();
    }

    [[nodiscard]] ScreenshotSetEdit edit(const SetKey& key) const {
        ScreenshotSetEdit edit{.locale = key.first, .displayType = key.second};
        for (const Entry& entry : remote_) {
            if (matched_.contains(entry.id)) continue;
            if (mode_ == ScreenshotPushMode::replaceSet || isLeftover(entry) || misplaced_.contains(entry.id))
                edit.ascIdsToDelete.push_back(entry.id);
        }
        choosePosterFrames(edit);
        edit.finalOrder = inOurOrder(kept(edit.ascIdsToDelete));
        if (traits_.order == AssetOrder::asCreated) {
            for (std::size_t at = 0; at < locals_.size(); ++at)
                if (!entries_[at] && isSent(locals_[at]))
                    edit.finalOrder.push_back(ScreenshotOrderToken::local(locals_[at]->item.fileURL));
            addUploads(edit);
            return edit;
        }
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
        addUploads(edit);
        return edit;
    }

    [[nodiscard]] ScreenshotSetStatus status(const ScreenshotSetEdit& edit) const {
        ScreenshotSetStatus status{.locale = edit.locale, .displayType = edit.displayType};
        status.local = std::ranges::count_if(locals_, isSent);
        status.refused = std::ranges::count(locals_, LocalScreenshot::Fate::refused, &LocalScreenshot::fate);
        status.remote = static_cast<std::int64_t>(remote_.size());
        for (const std::string& id : edit.ascIdsToDelete)
            status.toDelete.push_back(nameOf(id));
        for (const ScreenshotPushItem& item : edit.localsToUpload)
            status.toUpload.push_back(item.fileName());
        const auto note = [](std::optional<std::vector<std::string>>& names, std::string name) {
            if (!names) names.emplace();
            names->push_back(std::move(name));
        };
        for (const Entry& entry : remote_)
            if (misplaced_.contains(entry.id)) note(status.sentAgain, nameOf(entry.id));
        for (const auto& poster : edit.posterFrames)
            note(status.posterFrames, poster.fileName);
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

    [[nodiscard]] std::optional<std::string> problemOf(const ScreenshotSetEdit& edit) const {
        const std::size_t count = edit.finalOrder.size();
        if (count <= traits_.mostPerSet) return std::nullopt;
        const std::size_t excess = count - traits_.mostPerSet;
        const bool others =
            std::ranges::any_of(remote_, [&](const Entry& entry) { return !matched_.contains(entry.id); });
        return fmt::format("would hold {} {}, and App Store Connect takes {} in a set. Remove {}{}.", count,
                           traits_.many, traits_.mostPerSet, counted(excess, "file"),
                           mode_ == ScreenshotPushMode::append && others
                               ? ", or replace the set instead of adding to it"
                               : "");
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

    void addUploads(ScreenshotSetEdit& edit) const {
        for (std::size_t at = 0; at < locals_.size(); ++at)
            if (!entries_[at] && isSent(locals_[at])) edit.localsToUpload.push_back(locals_[at]->item);
    }

    // Nothing of what stays can move: our files from the first on whose place is taken are sent anew. What
    // cannot be sent stays where it is.
    void giveUpMisplaced() {
        const Entry* last = nullptr;
        bool areMisplaced = false;
        for (std::size_t at = 0; at < locals_.size(); ++at) {
            if (!isSent(locals_[at])) continue;
            const Entry*& entry = entries_[at];
            areMisplaced = areMisplaced || !entry || (last && entry < last);
            if (!entry) continue;
            if (areMisplaced) {
                misplaced_.insert(entry->id);
                matched_.erase(entry->id);
                entry = nullptr;
            } else {
                last = entry;
            }
        }
    }

    // Where no file chooses one, what is on App Store Connect holds.
    void choosePosterFrames(ScreenshotSetEdit& edit) const {
        for (std::size_t at = 0; at < locals_.size(); ++at)
            if (const std::string& wanted = locals_[at]->item.posterFrame;
                entries_[at] && isSent(locals_[at]) && !wanted.empty() &&
                !isSameTimeCode(entries_[at]->posterFrame.value_or(std::string(usualPosterFrame)), wanted))
                edit.posterFrames.push_back({entries_[at]->id, locals_[at]->item.fileName(), wanted});
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

    AssetTraits traits_;
    std::vector<const LocalScreenshot*> locals_;
    const ScreenshotsCatalog::Set& remote_;
    ScreenshotPushMode mode_;
    std::vector<const Entry*> entries_; // of each local file; null: not there yet
    std::set<std::string> matched_;     // their ids
    std::set<std::string> misplaced_;   // of files that are there, but are sent again
};

} // namespace

LocalScreenshot inspect(const ScreenshotPushItem& item, const ScreenshotsCatalog& catalog) {
    LocalScreenshot local{item, ScreenshotFile(item.sentFile()).size(), {}};
    const auto& set = catalog.setOf(item.locale, item.displayType);
    if (std::ranges::any_of(set, [&](const Entry& entry) { return hasSize(entry, local.size); }))
        local.checksum = fileChecksum(item.sentFile());
    return local;
}

bool isSameScreenshot(const Entry& entry, const LocalScreenshot& local) {
    if (!hasSize(entry, local.size) || entry.fileName != local.item.fileName()) return false;
    return entry.sourceFileChecksum ? entry.sourceFileChecksum == local.checksum : entry.fileSize.has_value();
}

ScreenshotPlan planScreenshots(const std::vector<LocalScreenshot>& locals, const ScreenshotsCatalog& catalog,
                               ScreenshotPushMode mode, SetsWithoutFiles withoutFiles, AssetKind kind) {
    std::map<SetKey, std::vector<const LocalScreenshot*>> sets;
    for (const LocalScreenshot& local : locals)
        sets[{local.item.locale, local.item.displayType}].push_back(&local);
    for (const auto& [locale, types] : catalog.sets)
        for (const auto& [type, entries] : types)
            if (!entries.empty()) sets.try_emplace({locale, type});
    ScreenshotPlan plan;
    for (const auto& [key, files] : sets) {
        const auto& remote = catalog.setOf(key.first, key.second);
        const SetComparison comparison(files, remote, mode, withoutFiles, kind);
        ScreenshotSetEdit edit = comparison.edit(key);
        plan.sets.push_back(comparison.status(edit));
        ScreenshotSetStatus& status = plan.sets.back();
        if (!edit.localsToUpload.empty()) status.problem = comparison.problemOf(edit);
        if (status.differs() && !status.problem) plan.edits.push_back(std::move(edit));
        std::ranges::move(comparison.inProcessing(), std::back_inserter(plan.inProcessing));
    }
    return plan;
}

} // namespace quorvel
