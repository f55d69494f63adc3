// A recorded app with a small App Store Connect in memory.
#pragma once

#include "Core/metadata/MetadataError.h"
#include "Platform/log/Log.h"
#include "Tests/Core/metadata/FakeConnect.h"
#include "Tests/support/ControllerSandbox.h"

namespace quorvel::test {

struct Folder {
    TemporaryFolder folder;
};

/// iOS, a next version v1 and a live one v0, texts of two locales.
struct ControllerAccount : Folder, RecordedApp {
    ControllerAccount() : RecordedApp(folder / "home", "app1"), controller(controllerOver(connect)) {
        connect.addVersion("v1", "IOS", "PREPARE_FOR_SUBMISSION");
        connect.addVersion("v0", "IOS", "READY_FOR_SALE");
        connect.addAppInfo("i1", "PREPARE_FOR_SUBMISSION");
        connect.localizations[FakeConnect::ofVersion] = {
            {"de-DE", {{"locale", "de-DE"}, {"description", "Text"}, {"keywords", "a,b"}}},
            {"ja", {{"locale", "ja"}, {"whatsNew", "新"}}}};
        connect.localizations[FakeConnect::ofAppInfo] = {
            {"de-DE", {{"locale", "de-DE"}, {"name", "Name"}, {"subtitle", "Unter"}}},
            {"ja", {{"locale", "ja"}, {"name", "名"}}}};
    }
    void setState(std::string state) {
        connect.versions.clear();
        connect.addVersion("v1", "IOS", std::move(state));
    }
    void write(std::string_view locale, FieldType field, std::string_view text) const {
        store().write(locale, field, text);
    }
    [[nodiscard]] std::string text(std::string_view locale, FieldType field) const {
        return store().read(locale, field).value_or("(none)");
    }
    void disable(std::string code) const {
        apps.setLocales(app.id,
                        std::vector{ManagedLocale{.code = std::move(code), .enabled = false, .app = app.id}});
    }
    /// Replaces the controller by one over `folder`.
    void use(MetadataFolder named) { controller = controllerOver(connect, std::move(named)); }
    PullResult pull() const { return controller->pull({}).at(0).result.value(); }
    PushReport push() const { return controller->push(controller->planPush({{}, {}, Clearing::allow})); }

    FakeConnect connect;
    std::unique_ptr<MetadataController> controller;
};

} // namespace quorvel::test
