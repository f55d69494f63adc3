// The groups of commands, in the order of the help. A command stands in the table of its group.
#pragma once

#include "Programs/quorvel/Command.h"

#include <vector>

namespace quorvel {

[[nodiscard]] std::vector<Command> authCommands();
[[nodiscard]] std::vector<Command> workspaceCommands();
[[nodiscard]] std::vector<Command> appCommands();
[[nodiscard]] std::vector<Command> appSettingsCommands();
[[nodiscard]] std::vector<Command> repositoryCommands();
[[nodiscard]] std::vector<Command> versionCommands();
[[nodiscard]] std::vector<Command> buildCommands(); // after those of versions, which have "builds"
[[nodiscard]] std::vector<Command> pullCommands();
[[nodiscard]] std::vector<Command> compareCommands();
[[nodiscard]] std::vector<Command> conflictCommands();
[[nodiscard]] std::vector<Command> checkCommands();
[[nodiscard]] std::vector<Command> pushCommands();
[[nodiscard]] std::vector<Command> historyCommands();
[[nodiscard]] std::vector<Command> localeCommands();
[[nodiscard]] std::vector<Command> treeCommands();
[[nodiscard]] std::vector<Command> translateCommands();
[[nodiscard]] std::vector<Command> keywordsCommands();
[[nodiscard]] std::vector<Command> keywordTrackingCommands(); // after those, which have "keywords"
[[nodiscard]] std::vector<Command> competitorCommands();
/// Stands in the group of `keywordsCommands`; it is a kind of translation.
[[nodiscard]] const Command& generateKeywordsCommand();
/// --fresh, of the commands that ask the model.
[[nodiscard]] ArgumentSpec freshArgument();
[[nodiscard]] std::vector<Command> notesCommands();
[[nodiscard]] std::vector<Command> costsCommands();
[[nodiscard]] std::vector<Command> screenshotCommands();
[[nodiscard]] std::vector<Command> previewCommands();
[[nodiscard]] std::vector<Command> revenueCommands();
[[nodiscard]] std::vector<Command> reviewCommands();
[[nodiscard]] std::vector<Command> reviewReplyCommands(); // stand in the group of `reviewCommands`
[[nodiscard]] std::vector<Command> storeCommands();
[[nodiscard]] std::vector<Command> checklistCommands();
[[nodiscard]] std::vector<Command> shipCommands();
[[nodiscard]] std::vector<Command> testFlightCommands();
[[nodiscard]] std::vector<Command> releaseCommands();
[[nodiscard]] std::vector<Command> monitorCommands();
[[nodiscard]] std::vector<Command> assistantCommands();
[[nodiscard]] std::vector<Command> demoCommands();
[[nodiscard]] std::vector<Command> sandboxCommands();
[[nodiscard]] std::vector<Command> shellCommands();

/// What runs when no command is named.
[[nodiscard]] const Command& homeCommand();

inline constexpr std::vector<Command> (*commandGroups[])() = {
    authCommands,       workspaceCommands,       appCommands,        appSettingsCommands,
    repositoryCommands, versionCommands,         buildCommands,      pullCommands,
    compareCommands,    checkCommands,           conflictCommands,   pushCommands,
    historyCommands,    localeCommands,          treeCommands,       translateCommands,
    keywordsCommands,   keywordTrackingCommands, competitorCommands, notesCommands,
    costsCommands,      screenshotCommands,      previewCommands,    testFlightCommands,
    releaseCommands,    checklistCommands,       shipCommands,       monitorCommands,
    revenueCommands,    storeCommands,           assistantCommands,  reviewCommands,
    demoCommands,       sandboxCommands,         shellCommands,
};

} // namespace quorvel
