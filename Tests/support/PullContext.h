// The pull of one context of an app whose record nobody needs.
#pragma once

#include "Core/metadata/MetadataPuller.h"

namespace quorvel::test {

/// Pulls a context into this folder.
inline PullResult pullInto(const MetadataFolder& contextFolder, const ASCClientProtocol& client,
                           const Clock& clock, std::string_view appID, const PlatformContext& context,
                           const PullOptions& options = {}) {
    AppInfoTexts texts(client,
                       {.contexts = {}, .versionIDs = {}, .appInfos = client.listAppInfoSummaries(appID)});
    return MetadataPuller(client, clock).pull(texts, context, contextFolder, options);
}

/// Discovers the app and pulls its context `contextID` into that one's folder under the app's.
inline PullResult pullContext(const ASCClientProtocol& client, const Clock& clock, std::string_view appID,
                              const MetadataFolder& appFolder, const std::string& contextID,
                              const PullOptions& options = {}) {
    const MetadataPuller puller(client, clock);
    const AppDiscovery found = puller.discover(appID);
    const PlatformContext context = chooseContext(found.contexts, contextID).value();
    AppInfoTexts texts(client, found);
    return puller.pull(texts, context, appFolder.contextFolder(context.contextID()), options);
}

} // namespace quorvel::test
