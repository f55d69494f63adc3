#include "Quorvel/application/RequestDefaults.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/repository/RepositoryFile.h"

namespace quorvel {

std::optional<std::string> usualApp(Application& application) {
    if (application.options().usualApp) return application.options().usualApp;
    const RepositoryFile* file = application.repository();
    return file ? std::optional(file->app) : std::nullopt;
}

const RepositoryFile* repositoryFor(Application& application, const ManagedApp& app) {
    const RepositoryFile* file = application.repository();
    // The records would find it by any of these.
    const bool isMeant =
        file && (file->app == app.bundleId || file->app == app.appStoreId || file->app == app.slug);
    return isMeant ? file : nullptr;
}

std::optional<MetadataFolder> treeOf(const RepositoryFile& file) {
    return file.tree ? std::optional(MetadataFolder{*file.tree}) : std::nullopt;
}

} // namespace quorvel
