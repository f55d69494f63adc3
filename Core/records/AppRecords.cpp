#include "Core/records/RecordError.h"
#include "Core/records/RecordMapping.h"
#include "Core/records/Records.h"
#include "Platform/crypto/Digest.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorvel {

using namespace records;

namespace {

ManagedApp requireApp(Database& database, std::string_view id) {
    if (auto app = selectOne<ManagedApp>(database, "WHERE id = ?1", {id})) return std::move(*app);
    throw RecordError(RecordError::Kind::gone,
                      "The app is no longer among the imported ones; import it again.");
}

// As it was stored: with the precision that the store has.
ManagedApp put(Database& database, const ManagedApp& app) {
    if (app.workspace && !selectOne<ManagedWorkspace>(database, "WHERE id = ?1", {*app.workspace}))
        throw RecordError(RecordError::Kind::gone, "The workspace is gone; list the workspaces there are.");
    insert(database, app);
    return requireApp(database, app.id);
}

std::vector<ManagedApp> inOrderOfNames(std::vector<ManagedApp> apps) {
    std::ranges::stable_sort(apps, nameLess, &ManagedApp::displayName);
    return apps;
}

std::size_t placeOf(const FieldRule& rule) {
    const auto field = rule.fieldTypeValue();
    return field ? static_cast<std::size_t>(std::ranges::find(storeTexts, *field) - storeTexts.begin())
                 : storeTexts.size();
}

} // namespace

AppRecords::AppRecords(SharedContainer container, Clock clock)
    : container_(std::move(container)), clock_(std::move(clock)) {}

std::vector<ManagedApp> AppRecords::all() const {
    return inOrderOfNames(fetch<ManagedApp>(*container_, "ORDER BY slug"));
}

std::vector<ManagedApp> AppRecords::inWorkspace(const std::optional<std::string>& workspaceID) const {
    const StoreValue wanted = workspaceID ? StoreValue(std::string_view(*workspaceID)) : StoreValue();
    return inOrderOfNames(fetch<ManagedApp>(*container_, "WHERE workspace IS ?1 ORDER BY slug", {wanted}));
}

std::optional<ManagedApp> AppRecords::find(std::string_view id) const {
    return fetchOne<ManagedApp>(*container_, "WHERE id = ?1", {id});
}

std::optional<ManagedApp> AppRecords::locate(std::string_view wanted) const {
    if (wanted.empty()) return std::nullopt;
    return fetchOne<ManagedApp>(
        *container_,
        "WHERE ?1 IN (bundleId, appStoreId, slug, id) ORDER BY CASE ?1 WHEN bundleId THEN 1 WHEN "
        "appStoreId THEN 2 WHEN slug THEN 3 ELSE 4 END, identity LIMIT 1",
        {wanted});
}

ManagedApp AppRecords::add(ManagedApp app) const {
    const Date now = clock_();
    if (app.id.empty()) app.id = makeUUID();
    if (app.createdAt == Date()) app.createdAt = now;
    if (app.updatedAt == Date()) app.updatedAt = now;
    container_->write([&](Database& database) { app = put(database, app); });
    return app;
}

ManagedApp AppRecords::update(ManagedApp app) const {
    app.updatedAt = clock_();
    container_->write([&](Database& database) {
        static_cast<void>(requireApp(database, app.id));
        app = put(database, app);
    });
    return app;
}

void AppRecords::moveToWorkspace(std::string_view id, const std::optional<std::string>& workspaceID) const {
    container_->write([&](Database& database) {
        ManagedApp app = requireApp(database, id);
        app.workspace = workspaceID;
        app.updatedAt = clock_();
        put(database, app);
    });
}

bool AppRecords::remove(std::string_view id) const {
    return discard<ManagedApp>(*container_, "WHERE id = ?1", {id}) > 0;
}

std::vector<ManagedLocale> AppRecords::locales(std::string_view appID) const {
    return fetch<ManagedLocale>(*container_, "WHERE app = ?1 ORDER BY code", {appID});
}

LocaleSet AppRecords::disabledLocales(std::string_view appID) const {
    LocaleSet disabled;
    for (ManagedLocale& locale : locales(appID))
        if (!locale.enabled) disabled.insert(std::move(locale.code));
    return disabled;
}

void AppRecords::setLocales(std::string_view appID, std::span<const ManagedLocale> locales) const {
    container_->write([&](Database& database) {
        static_cast<void>(requireApp(database, appID));
        for (ManagedLocale locale : locales) {
            locale.app = appID;
            insert(database, locale);
        }
    });
}

void AppRecords::addMissingLocales(std::string_view appID, std::span<const std::string> codes) const {
    container_->write([&](Database& database) {
        static_cast<void>(requireApp(database, appID));
        for (const std::string& code : codes)
            insert(database, ManagedLocale{.code = code, .app = std::string(appID)}, Existing::keep);
    });
}

bool AppRecords::removeLocale(std::string_view appID, std::string_view code) const {
    return discard<ManagedLocale>(*container_, "WHERE app = ?1 AND code = ?2", {appID, code}) > 0;
}

std::vector<FieldRule> AppRecords::rules(std::string_view appID) const {
    auto rules = fetch<FieldRule>(*container_, "WHERE app = ?1 ORDER BY fieldType", {appID});
    std::ranges::stable_sort(rules, {}, placeOf);
    return rules;
}

void AppRecords::setRule(std::string_view appID, const FieldRule& rule) const {
    container_->write([&](Database& database) {
        static_cast<void>(requireApp(database, appID));
        FieldRule owned = rule;
        owned.app = appID;
        insert(database, owned);
    });
}

bool AppRecords::removeRule(std::string_view appID, FieldType field) const {
    return discard<FieldRule>(*container_, "WHERE app = ?1 AND fieldType = ?2", {appID, rawValue(field)}) > 0;
}

void AppRecords::together(const std::function<void()>& work) const {
    container_->write([&](Database&) { work(); });
}

} // namespace quorvel
