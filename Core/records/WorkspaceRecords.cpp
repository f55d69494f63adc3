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

constexpr std::size_t longestName = 100;

std::string usableName(Database& database, std::string_view name, std::string_view ownID) {
    const std::string_view trimmed = trim(name);
    if (trimmed.empty()) throw RecordError(RecordError::Kind::blankName, "A workspace needs a name.");
    if (!isValidUTF8(trimmed))
        throw RecordError(RecordError::Kind::invalidName, "The name of a workspace must be UTF-8.");
    if (escapeControls(trimmed) != trimmed)
        throw RecordError(RecordError::Kind::invalidName,
                          "The name of a workspace is one line without control characters.");
    if (graphemeCount(trimmed) > longestName)
        throw RecordError(RecordError::Kind::invalidName,
                          fmt::format("The name of a workspace has at most {} characters; this one has {}.",
                                      longestName, graphemeCount(trimmed)));
    if (const auto other = selectOne<ManagedWorkspace>(
            database, "WHERE name = ?1 COLLATE NOCASE AND id <> ?2", {trimmed, ownID}))
        throw RecordError(RecordError::Kind::nameTaken,
                          fmt::format("There is a workspace \"{}\" already; choose another name.",
                                      escapeControls(other->name)));
    return std::string(trimmed);
}

} // namespace

WorkspaceRecords::WorkspaceRecords(SharedContainer container, Clock clock)
    : container_(std::move(container)), clock_(std::move(clock)) {}

std::vector<ManagedWorkspace> WorkspaceRecords::all() const {
    auto workspaces = fetch<ManagedWorkspace>(*container_, "");
    std::ranges::sort(workspaces, nameLess, &ManagedWorkspace::name);
    return workspaces;
}

std::optional<ManagedWorkspace> WorkspaceRecords::find(std::string_view id) const {
    return fetchOne<ManagedWorkspace>(*container_, "WHERE id = ?1", {id});
}

std::optional<ManagedWorkspace> WorkspaceRecords::locate(std::string_view wanted) const {
    for (const std::string_view clause :
         {"WHERE id = ?1", "WHERE name = ?1", "WHERE name = ?1 COLLATE NOCASE"})
        if (auto found = fetch<ManagedWorkspace>(*container_, clause, {wanted}); found.size() == 1)
            return std::move(found.front());
    return std::nullopt;
}

ManagedWorkspace WorkspaceRecords::create(std::string_view name) const {
    std::optional<ManagedWorkspace> created;
    container_->write([&](Database& database) {
        const std::string id = makeUUID();
        insert(database, ManagedWorkspace{id, usableName(database, name, id), clock_()});
        created = selectOne<ManagedWorkspace>(database, "WHERE id = ?1", {id});
    });
    return created.value();
}

void WorkspaceRecords::rename(std::string_view id, std::string_view name) const {
    container_->write([&](Database& database) {
        auto workspace = selectOne<ManagedWorkspace>(database, "WHERE id = ?1", {id});
        if (!workspace)
            throw RecordError(RecordError::Kind::gone,
                              "The workspace is gone; list the workspaces there are.");
        workspace->name = usableName(database, name, id);
        insert(database, *workspace);
    });
}

bool WorkspaceRecords::remove(std::string_view id) const {
    return discard<ManagedWorkspace>(*container_, "WHERE id = ?1", {id}) > 0;
}

} // namespace quorvel
