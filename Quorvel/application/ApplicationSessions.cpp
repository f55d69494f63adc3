#include "Quorvel/application/Application.h"
#include "Quorvel/application/RequestDefaults.h"
#include "Quorvel/repository/RepositoryFile.h"

#include <fmt/format.h>

namespace quorvel {

// What the repository says of the app, as far as it is about the folder that is worked on.
void Application::takeRepository(AppAccess::Parts& parts, const ManagedApp& app) {
    parts.context = options_.usualContext;
    const RepositoryFile* file = repositoryFor(*this, app);
    if (!file) return;
    const auto tree = treeOf(*file);
    if (tree && (!parts.folder || parts.folder->rootURL != tree->rootURL)) return;
    if (tree) parts.folderOrigin = fmt::format("tree in {}", file->file);
    if (!parts.context) parts.context = file->context;
    if (file->screenshots) parts.pictures = *file->screenshots;
}

std::shared_ptr<AppSession> Application::session(std::string_view appID,
                                                 const std::optional<MetadataFolder>& folder) {
    return sessions_.session(sessionKey(appID, folder));
}

std::shared_ptr<AppSession> Application::openSession(std::string_view key) {
    const std::size_t end = std::min(key.find('\n'), key.size());
    const std::string appID(key.substr(0, end));
    AppAccess::Parts parts{
        .container = container(),
        .app = [records = apps(), appID] { return records.find(appID); },
        .client =
            [this, records = apps(), appID] {
                const auto app = records.find(appID);
                return client({appID, app ? app->workspace : std::nullopt});
            },
        .http = [this] { return transfers(); },
        .home = home(),
        .clock = clock(),
        .notifications = notifications_,
    };
    const ManagedApp app = apps().find(appID).value_or(ManagedApp{});
    parts.folder = folderOfKey(key);
    const bool isAppsOwn = !parts.folder;
    takeRepository(parts, app);
    if (isAppsOwn) return makeAppSession(std::move(parts), std::make_shared<OperationGate>());
    return makeAppSession(std::move(parts), sessions_.session(appID)->gate);
}

std::shared_ptr<AppSession> Application::sessionOfUnrecorded(const ManagedApp& app, const KeyOwner& owner,
                                                             const MetadataFolder& folder) {
    return makeAppSession(partsOver(app, folder, [this, owner] { return client(owner); }),
                          std::make_shared<OperationGate>());
}

std::shared_ptr<AppSession> Application::sessionOver(const ManagedApp& app, const MetadataFolder& folder,
                                                     std::shared_ptr<const ASCClientProtocol> client) {
    return makeAppSession(partsOver(app, folder, [client] { return client; }),
                          app.id.empty() ? std::make_shared<OperationGate>() : session(app.id)->gate);
}

AppAccess::Parts Application::partsOver(const ManagedApp& app, const MetadataFolder& folder,
                                        std::function<std::shared_ptr<const ASCClientProtocol>()> client) {
    AppAccess::Parts parts{.container = hasRecords() ? container() : nullptr,
                           .app = [app] { return app; },
                           .client = std::move(client),
                           .http = [this] { return transfers(); },
                           .home = home(),
                           .clock = clock(),
                           .notifications = notifications_,
                           .folder = folder};
    takeRepository(parts, app);
    return parts;
}

void Application::forgetSession(std::string_view appID) {
    sessions_.forget(appID);
}

} // namespace quorvel
