#include "Quorvel/controllers/build/BuildFolder.h"

#include "Platform/files/Files.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace quorvel {

namespace {

constexpr std::string_view awaitedName = "awaited.json";

std::filesystem::path buildsFolder(const Home& home) {
    return home.applicationSupport() / "Brevant" / "builds";
}

std::optional<AwaitedBuildOfApp> awaitedIn(const std::filesystem::path& folder) {
    try {
        const auto text = readFile(folder / awaitedName);
        return text ? std::optional(decodeJSON<AwaitedBuildOfApp>(*text)) : std::nullopt;
    } catch (const std::exception& error) {
        Logger("BuildFolder").warning(fmt::format("What is awaited cannot be read: {}", error.what()));
        return std::nullopt;
    }
}

} // namespace

BuildFolder::BuildFolder(const Home& home, const AppReference& app, TargetPlatform platform)
    : app_(app), platform_(platform) {
    const std::string& name = isSafeName(app.bundleId) ? app.bundleId : app.appStoreId;
    if (!isSafeName(name))
        throw std::invalid_argument(fmt::format("The bundle id of {} is no folder name.", app.displayName));
    path_ = buildsFolder(home) / fmt::format("{}-{}", name, namesOf(platform).altoolType);
}

FileLock BuildFolder::lock() const {
    createFolders(path_, FolderMode::secret);
    const std::filesystem::path file = path_ / "lock";
    if (auto lock = FileLock::tryLock(file)) {
        lock->noteHolder("a build");
        return std::move(*lock);
    }
    const auto holder = FileLock::holderOf(file);
    throw OperationRefused(Refusal::operationRunning,
                           fmt::format("A build of {} for {} is at work{}.", app_.displayName,
                                       rawValue(platform_),
                                       holder ? fmt::format(" (process {})", holder->processID) : ""));
}

std::optional<AwaitedBuildOfApp> BuildFolder::awaited() const {
    return awaitedIn(path_);
}

void BuildFolder::remember(const std::optional<AwaitedBuild>& build) const {
    if (build)
        writeFileAtomically(path_ / awaitedName,
                            encodeJSON(AwaitedBuildOfApp{app_, *build}, JSONFormat::stateFile()) + "\n",
                            FileMode::secret);
    else
        removeFile(path_ / awaitedName);
}

std::vector<AwaitedBuildOfApp> BuildFolder::allAwaited(const Home& home) {
    std::vector<AwaitedBuildOfApp> all;
    for (const FolderEntry& entry : listFolder(buildsFolder(home)).value_or(std::vector<FolderEntry>{}))
        if (auto awaited = awaitedIn(buildsFolder(home) / entry.name)) all.push_back(std::move(*awaited));
    std::ranges::stable_sort(all, std::greater(),
                             [](const AwaitedBuildOfApp& one) { return one.build.uploadedAt; });
    return all;
}

} // namespace quorvel
