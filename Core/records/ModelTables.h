// Which table each model has; for the sources of this folder.
#pragma once

#include "Core/records/Models.h"

#include <boost/mp11/list.hpp>

#include <string_view>

namespace quorvel::records {

/// The models of the schema.
using Models = boost::mp11::mp_list<ManagedWorkspace, ManagedApp, ManagedLocale, FieldRule, PushHistoryEntry,
                                    CachedTranslation, TrackedKeyword, KeywordSnapshot, TrackedCompetitor,
                                    CompetitorSnapshot, CachedReview>;

/// A model's table and the columns by which a second record of the same values is the same record.
template <typename Record>
struct Model;

template <>
struct Model<ManagedWorkspace> {
    static constexpr std::string_view name = "ManagedWorkspace", key = "id";
};
template <>
struct Model<ManagedApp> {
    static constexpr std::string_view name = "ManagedApp", key = "id";
};
template <>
struct Model<ManagedLocale> {
    static constexpr std::string_view name = "ManagedLocale", key = "app, code";
};
template <>
struct Model<FieldRule> {
    static constexpr std::string_view name = "FieldRule", key = "app, fieldType";
};
template <>
struct Model<PushHistoryEntry> {
    static constexpr std::string_view name = "PushHistoryEntry", key = "";
};
template <>
struct Model<CachedTranslation> {
    static constexpr std::string_view name = "CachedTranslation", key = "hashKey";
};
template <>
struct Model<TrackedKeyword> {
    static constexpr std::string_view name = "TrackedKeyword", key = "id";
};
template <>
struct Model<KeywordSnapshot> {
    static constexpr std::string_view name = "KeywordSnapshot", key = "";
};
template <>
struct Model<TrackedCompetitor> {
    static constexpr std::string_view name = "TrackedCompetitor", key = "id";
};
template <>
struct Model<CompetitorSnapshot> {
    static constexpr std::string_view name = "CompetitorSnapshot", key = "";
};
template <>
struct Model<CachedReview> {
    static constexpr std::string_view name = "CachedReview", key = "id";
};

} // namespace quorvel::records
