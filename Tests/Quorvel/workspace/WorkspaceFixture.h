// A store, a home folder and apps with saved contexts for the tests of this folder.
#pragma once

#include "Platform/files/Files.h"
#include "Quorvel/workspace/AppFolder.h"
#include "Quorvel/workspace/WorkspaceIndex.h"
#include "Tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace quorvel::test {

inline PlatformContext contextIn(std::string state, ASCPlatform platform = ASCPlatform::iOS,
                                 std::string version = "1.0") {
    return {platform, stateClassOf(state), std::move(version), std::move(state), "v1"};
}

struct WorkspaceFixture : testing::Test {
    TemporaryFolder folder;
    Home home{folder / "home"};
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
    SharedContainer container = ModelContainer::open(home.applicationSupport(), clock);
    AppRecords apps{container, clock};
    std::shared_ptr<NotificationCenter> notifications = std::make_shared<NotificationCenter>();

    ManagedApp addApp(const std::string& slug) const {
        return apps.add({.slug = slug, .displayName = slug, .bundleId = "com.example." + slug});
    }
    void save(const ManagedApp& app, const std::vector<PlatformContext>& contexts) const {
        ContextsStore(appFolderOf(app, home, apps), clock).save(contexts, std::nullopt);
    }
    void postPersisted(const std::string& appID) const {
        notifications->post({std::string(metadataContextsPersistedNotification), {{"app", appID}}});
    }
};

} // namespace quorvel::test
