#include "Quorvel/controllers/metadata/AppContexts.h"

#include "Core/metadata/MetadataError.h"
#include "Platform/text/Text.h"
#include "Quorvel/controllers/OperationRefused.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace quorvel {

namespace {

std::optional<ContextID> firstOnDisk(const MetadataFolder& appFolder) {
    for (const auto& [platform, raw] : RawValues<ASCPlatform>::values)
        for (const auto slot : {AppStoreVersionStateClass::editable, AppStoreVersionStateClass::live})
            if (isFolder(appFolder.contextFolder({platform, slot}))) return ContextID{platform, slot};
    return std::nullopt;
}

std::string idsOf(const std::vector<PlatformContext>& contexts) {
    std::vector<std::string> ids;
    std::ranges::transform(contexts, std::back_inserter(ids), &PlatformContext::id);
    return fmt::format("{}", fmt::join(ids, ", "));
}

} // namespace

ContextID requireContextID(std::string_view name) {
    if (const auto context = parseContextID(name)) return *context;
    throw MetadataError::invalidContext(name);
}

AppContexts::AppContexts(const MetadataFolder& appFolder, const Clock& clock,
                         std::optional<std::string> usual)
    : folder_(appFolder), usual_(std::move(usual)), saved_(ContextsStore(appFolder, clock).load()) {}

std::optional<PlatformContext> AppContexts::savedContext(const ContextID& context) const {
    if (saved_)
        for (const PlatformContext& one : saved_->contexts)
            if (one.contextID() == context) return one;
    return std::nullopt;
}

Release AppContexts::releaseOf(const ContextID& context) const {
    return saved_ ? quorvel::releaseOf(context, saved_->contexts) : Release::update;
}

std::optional<ContextID> AppContexts::known(const std::optional<std::string>& given) const {
    if (const auto context = wanted(given)) return requireContextID(*context);
    if (saved_ && saved_->selectedContextId)
        if (const auto selected = parseContextID(*saved_->selectedContextId)) return selected;
    return firstOnDisk(folder_);
}

PlatformContext AppContexts::choose(const std::vector<PlatformContext>& contexts,
                                    const std::optional<std::string>& given,
                                    const std::optional<std::string>& selected) {
    const auto chosen = chooseContext(contexts, given ? given : selected);
    if (!chosen || (given && chosen->id() != *given))
        throw MetadataError::unknownContext(given.value_or(""),
                                            chosen ? idsOf(contexts) : "none yet, pull first");
    return *chosen;
}

PlatformContext AppContexts::current(const ASCList<AppStoreVersionAttributes>& versions,
                                     const std::optional<std::string>& given,
                                     std::string_view appName) const {
    const auto contexts = contextsOf(versions);
    if (contexts.empty()) throw OperationRefused(Refusal::noVersions);
    std::vector<std::string> versionIDs;
    for (const auto& version : versions)
        versionIDs.push_back(version.id);
    requireSameApp(versionIDs, appName);
    const auto context = known(given);
    return choose(contexts, wanted(given), context ? std::optional(context->text()) : std::nullopt);
}

bool AppContexts::areOf(const std::vector<std::string>& versionIDs) const {
    return !saved_ || saved_->areOf(versionIDs);
}

void AppContexts::requireSameApp(const std::vector<std::string>& versionIDs, std::string_view appName) const {
    if (!areOf(versionIDs)) throw MetadataError::otherApp(folder_.rootURL, appName);
}

} // namespace quorvel
