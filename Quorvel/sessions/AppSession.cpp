#include "Quorvel/sessions/AppSession.h"

#include <fmt/format.h>

namespace quorvel {

std::shared_ptr<AppSession> makeAppSession(AppAccess::Parts parts, std::shared_ptr<OperationGate> gate) {
    const AppAccess access(std::move(parts));
    auto session = std::make_shared<AppSession>();
    session->gate = std::move(gate);
    session->metadata = std::make_shared<MetadataController>(access, session->gate);
    session->screenshots =
        std::make_shared<ScreenshotsController>(access, session->gate, AssetKind::screenshot);
    session->previews = std::make_shared<ScreenshotsController>(access, session->gate, AssetKind::preview);
    session->release = std::make_shared<ReleaseController>(access, session->gate);
    session->translation = std::make_shared<TranslationController>(access, session->metadata);
    session->notes = std::make_shared<ReleaseNotesController>(access, session->metadata);
    return session;
}

std::string sessionKey(std::string_view appID, const std::optional<MetadataFolder>& folder) {
    if (!folder) return std::string(appID);
    const std::string tree = folder->inPlace ? encodeJSON(*folder->inPlace) : "";
    return fmt::format("{}\n{}\n{}", appID, tree, folder->rootURL.native());
}

std::optional<MetadataFolder> folderOfKey(std::string_view key) {
    const std::size_t end = key.find('\n');
    if (end == key.npos) return std::nullopt;
    key.remove_prefix(end + 1);
    const std::string_view tree = key.substr(0, key.find('\n'));
    MetadataFolder folder{std::filesystem::path(key.substr(tree.size() + 1))};
    if (!tree.empty()) folder.inPlace = decodeJSON<TreeInPlace>(tree);
    return folder;
}

AppSessionStore::AppSessionStore(Factory factory) : factory_(std::move(factory)) {}

std::shared_ptr<AppSession> AppSessionStore::session(std::string_view appID) {
    std::promise<std::shared_ptr<AppSession>> made;
    const auto own = std::make_shared<const Making>(made.get_future().share());
    std::shared_ptr<const Making> known;
    {
        const std::lock_guard lock(mutex_);
        known = sessions_.try_emplace(std::string(appID), own).first->second;
    }
    if (known != own) return known->get();

    // Without the lock: making a session reads files, and may ask for another one.
    try {
        made.set_value(factory_(appID));
    } catch (...) {
        {
            const std::lock_guard lock(mutex_);
            const auto entry = sessions_.find(appID);
            if (entry != sessions_.end() && entry->second == own) sessions_.erase(entry);
        }
        made.set_exception(std::current_exception());
    }
    return own->get();
}

void AppSessionStore::forget(std::string_view appID) {
    // They go after the lock: a controller ends its work first.
    std::vector<std::shared_ptr<const Making>> forgotten;
    const std::lock_guard lock(mutex_);
    std::erase_if(sessions_, [&](auto& entry) {
        if (entry.first != appID && !entry.first.starts_with(std::string(appID) + "\n")) return false;
        forgotten.push_back(std::move(entry.second));
        return true;
    });
}

} // namespace quorvel
