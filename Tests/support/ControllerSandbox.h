// An imported app of a sandbox and its metadata controller.
#pragma once

#include "Platform/time/Date.h"
#include "Quorvel/controllers/metadata/MetadataController.h"
#include "Tests/support/SandboxFixture.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::test {

/// A pointer to what somebody else owns.
template <typename Type>
std::shared_ptr<const Type> borrowed(const Type& object) {
    return {std::shared_ptr<void>(), &object};
}

/// A home folder with a store in it and the record of one app; `client` is asked for App Store Connect.
struct RecordedApp {
    RecordedApp(const std::filesystem::path& homeFolder, std::string_view appStoreID)
        : home{homeFolder},
          container(ModelContainer::open(home.applicationSupport(), clock)),
          apps(container, clock),
          app(apps.add({.slug = "garden",
                        .displayName = "Garden",
                        .bundleId = "studio.fernhollow.garden",
                        .appStoreId = std::string(appStoreID)})) {}

    [[nodiscard]] AppAccess::Parts partsOver(const ASCClientProtocol& client,
                                             std::optional<MetadataFolder> folder = {}) const {
        return {.container = container,
                .app = [records = apps, id = app.id] { return records.find(id); },
                .client = [&client] { return borrowed(client); },
                .home = home,
                .clock = clock,
                .notifications = notifications,
                .folder = std::move(folder)};
    }
    [[nodiscard]] std::unique_ptr<MetadataController>
    controllerOver(const ASCClientProtocol& client, std::optional<MetadataFolder> folder = {}) const {
        return std::make_unique<MetadataController>(AppAccess(partsOver(client, std::move(folder))),
                                                    std::make_shared<OperationGate>());
    }
    [[nodiscard]] MetadataFolder appFolder() const { return defaultAppFolder(home, app.slug); }
    [[nodiscard]] MetadataStore store(const ContextID& context = {}) const {
        return MetadataStore(appFolder().contextFolder(context));
    }
    [[nodiscard]] std::vector<PushHistoryEntry> history() const {
        return PushHistory(container).entries(app.id);
    }

    Home home;
    Clock clock = [] { return dateFromSecondsSince1970(1772368200); };
    SharedContainer container;
    AppRecords apps;
    ManagedApp app;
    std::shared_ptr<NotificationCenter> notifications = std::make_shared<NotificationCenter>();
};

struct ControllerSandbox : SandboxFixture, RecordedApp {
    explicit ControllerSandbox(std::string_view appStoreID = gardenApp, sandbox::Options options = {})
        : SandboxFixture(std::move(options)),
          RecordedApp(SandboxFixture::folder / "home", appStoreID),
          owned(controllerOver(client)),
          controller(*owned) {}

    /// "GET /v1/appInfos" and so on, without what follows the resource's type.
    [[nodiscard]] std::vector<std::string> requests() const {
        std::vector<std::string> list;
        for (const auto& request : server.requests())
            list.push_back(request.method + " " + request.path.substr(0, request.path.find('/', 4)));
        return list;
    }
    PullResult pull() { return controller.pull({}).at(0).result.value(); }
    PushReport push(const PushFilter& filter = {{}, {}, Clearing::allow}) {
        return controller.push(controller.planPush(filter));
    }

    std::unique_ptr<MetadataController> owned;
    MetadataController& controller;
};

} // namespace quorvel::test
