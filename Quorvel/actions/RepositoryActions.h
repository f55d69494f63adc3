// quorvel.toml: what it says, what it could say, and writing it.
#pragma once

#include "Quorvel/actions/Target.h"
#include "Quorvel/repository/RepositoryFile.h"
#include "Quorvel/repository/RepositoryParts.h"

namespace quorvel {

struct PlanRepository {
    static constexpr ActionInfo info{"plan_repository", "Show what a quorvel.toml of this folder could name"};
    struct Request {
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> tree;
        std::optional<std::string> screenshots;
        std::optional<std::string> project;
        std::optional<std::string> platform;
        QUORVEL_RECORD(Request, app, workspace, tree, screenshots, project, platform)
        static constexpr JSONMember members[] = {
            appMember,
            workspaceMember,
            {"tree", "The metadata folder; relative paths start at the working folder."},
            {"screenshots", "The folder of pictures."},
            {"project", "The Xcode project or workspace."},
            {"platform", "ios, macos, tvos or visionos."}};
    };
    struct AppName {
        std::string bundleId;
        std::string displayName;
        QUORVEL_RECORD(AppName, bundleId, displayName)
    };
    struct Result {
        RepositoryFile content; // what was named, else the only one found; a blank app where that tells none
        std::string text;       // of the file
        bool exists = false;    // the file is there already
        bool ignoresPrivateFolder = false; // a .gitignore beside it says so
        std::vector<AppName> apps;         // recorded, else of the account
        RepositoryParts found;
        std::vector<std::string> platforms; // whose texts the tree may hold; none where nothing tells
        QUORVEL_RECORD(Result, content, text, exists, ignoresPrivateFolder, apps, found, platforms)
    };
    /// Asks App Store Connect, where a key is known, for the apps where none is named or recorded, and for
    /// the app's versions where the tree does not tell its platform. Throws `ApplicationError` for an app
    /// that is no bundle id, and for what is named and cannot be what it is named as.
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct WriteRepository {
    static constexpr ActionInfo info{"write_repository", "Write a quorvel.toml", Effect::localFiles};
    struct Request {
        RepositoryFile content;
        bool overwrite = false;
        QUORVEL_RECORD(Request, content, overwrite)
        static constexpr JSONMember members[] = {
            {"content", "What it names, as plan_repository has it.", JSONMember::required},
            {"overwrite", "Replace a file that is there."}};
    };
    struct Result {
        RepositoryFile content;
        QUORVEL_RECORD(Result, content)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

/// Where the private folders of metadata trees have to be named so that no repository takes them.
inline constexpr std::string_view privateFolderPattern = ".brevant/";

} // namespace quorvel
