// Typed access to the records. Small values over the shared container; safe to use from several threads.
// Everything throws `StoreError`.
#pragma once

#include "Core/metadata/FieldTexts.h"
#include "Core/records/ModelContainer.h"
#include "Core/records/Models.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

using SharedContainer = std::shared_ptr<const ModelContainer>;

class WorkspaceRecords {
  public:
    WorkspaceRecords(SharedContainer container, Clock clock);

    [[nodiscard]] std::vector<ManagedWorkspace> all() const; // by name
    [[nodiscard]] std::optional<ManagedWorkspace> find(std::string_view id) const;
    /// The workspace with this id or name (letter case ignored where that is unambiguous).
    [[nodiscard]] std::optional<ManagedWorkspace> locate(std::string_view wanted) const;
    /// Throws `RecordError` for a blank name or one that another workspace has.
    ManagedWorkspace create(std::string_view name) const;
    void rename(std::string_view id, std::string_view name) const;
    /// Its apps stay, without a workspace. Whether there was one.
    bool remove(std::string_view id) const;

  private:
    SharedContainer container_;
    Clock clock_;
};

class AppRecords {
  public:
    AppRecords(SharedContainer container, Clock clock);

    [[nodiscard]] std::vector<ManagedApp> all() const; // by display name
    [[nodiscard]] std::vector<ManagedApp> inWorkspace(const std::optional<std::string>& workspaceID) const;
    [[nodiscard]] std::optional<ManagedApp> find(std::string_view id) const;
    /// The app with this bundle id, App Store id, short name or id, in this order.
    [[nodiscard]] std::optional<ManagedApp> locate(std::string_view wanted) const;

    /// Adds an app, or updates the one of the same `id`. An empty id and empty dates are filled in.
    ManagedApp add(ManagedApp app) const;
    /// Stores a changed record; `updatedAt` becomes now. Throws `RecordError` when it is gone.
    ManagedApp update(ManagedApp app) const;
    void moveToWorkspace(std::string_view id, const std::optional<std::string>& workspaceID) const;
    /// Removes the app and all that belongs to it; no file. Whether there was one.
    bool remove(std::string_view id) const;

    [[nodiscard]] std::vector<ManagedLocale> locales(std::string_view appID) const; // by code
    /// The locales that the user took out of pulls and pushes.
    [[nodiscard]] LocaleSet disabledLocales(std::string_view appID) const;
    /// Adds the locales of an app, or updates those of the same code; others stay.
    void setLocales(std::string_view appID, std::span<const ManagedLocale> locales) const;
    /// Adds those codes that the app does not manage yet, enabled.
    void addMissingLocales(std::string_view appID, std::span<const std::string> codes) const;
    /// Forgets a locale with what was chosen for it; whether there was one.
    bool removeLocale(std::string_view appID, std::string_view code) const;

    [[nodiscard]] std::vector<FieldRule> rules(std::string_view appID) const; // in the order of the fields
    void setRule(std::string_view appID, const FieldRule& rule) const;
    bool removeRule(std::string_view appID, FieldType field) const;

    /// Runs `work` in one transaction: what the records change in it takes effect together or not at all.
    void together(const std::function<void()>& work) const;

  private:
    SharedContainer container_;
    Clock clock_;
};

/// One push, summed up from its entries.
struct PushRun {
    std::string sessionId;
    Date started; // of the first entry
    Date finished;
    std::int64_t fields = 0; // tried
    std::int64_t failed = 0;
    std::int64_t unknown = 0; // App Store Connect may have taken them (`isOutcomeUnknown`)
    std::int64_t locales = 0;
    std::optional<std::string> versionString;
    std::optional<std::string> platform;
    std::optional<std::string> stateClass;
    QUORVEL_RECORD(PushRun, sessionId, started, finished, fields, failed, unknown, locales, versionString,
                   platform, stateClass)
    bool operator==(const PushRun&) const = default;
};

/// Whether App Store Connect may or may not have taken the text: the program ended, or the connection broke,
/// between the request and its answer.
[[nodiscard]] bool isOutcomeUnknown(const PushHistoryEntry& entry);

class PushHistory {
  public:
    explicit PushHistory(SharedContainer container);

    /// Stores all or none. What is about to be sent has neither success nor an error.
    void record(std::span<const PushHistoryEntry> entries) const;
    /// Stores `known` in the place of what was recorded of the same run and fields before they were sent, and
    /// removes that of `unsent`, which were not sent after all. All or nothing.
    void settle(std::span<const PushHistoryEntry> known, std::span<const PushHistoryEntry> unsent = {}) const;
    /// The newest entries first; `limit` 0 for all.
    [[nodiscard]] std::vector<PushHistoryEntry> entries(std::string_view appID, std::size_t limit = 0) const;
    /// The entries of one run in the order they were recorded.
    [[nodiscard]] std::vector<PushHistoryEntry> entriesOfRun(std::string_view appID,
                                                             std::string_view sessionId) const;
    /// The newest runs first; `limit` 0 for all.
    [[nodiscard]] std::vector<PushRun> runs(std::string_view appID, std::size_t limit = 0) const;
    /// The runs whose identifier begins with `start`.
    [[nodiscard]] std::vector<PushRun> runsBeginningWith(std::string_view appID,
                                                         std::string_view start) const;

  private:
    SharedContainer container_;
};

class TranslationRecords {
  public:
    explicit TranslationRecords(SharedContainer container);
    [[nodiscard]] std::optional<CachedTranslation> find(std::string_view hashKey) const;
    /// Replaces an earlier one with the same key.
    void store(const CachedTranslation& translation) const;
    std::int64_t removeAll() const;

  private:
    SharedContainer container_;
};

} // namespace quorvel
