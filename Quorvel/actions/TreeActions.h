// Exchanges store texts with trees of other release tools.
#pragma once

#include "Core/metadata/MetadataTransfer.h"
#include "Quorvel/actions/Target.h"

namespace quorvel {

struct ImportTexts {
    static constexpr ActionInfo info{"import_texts", "Take the texts of a tree of <locale>/<field>.txt files",
                                     Effect::localFiles};
    struct Request {
        std::string tree;
        std::optional<std::string> app;
        std::optional<std::string> workspace;
        std::optional<std::string> context;
        std::optional<std::string> folder;
        bool dryRun = false;
        QUORVEL_RECORD(Request, tree, app, workspace, context, folder, dryRun)
        static constexpr JSONMember members[] = {{"tree", "The tree's folder.", JSONMember::required},
                                                 appMember,
                                                 workspaceMember,
                                                 contextMember,
                                                 folderMember,
                                                 dryRunMember};
    };
    /// The texts of a further platform.
    struct Part {
        std::string folder; // of the context
        std::string context;
        ImportReport report;
        QUORVEL_RECORD(Part, folder, context, report)
    };
    struct Result {
        AppReference app;
        std::string folder; // of the context
        std::string context;
        ImportReport report;
        std::optional<ImportedAppReport> imported;
        std::vector<Part> others; // of a tree with a folder per platform
        QUORVEL_RECORD(Result, app, folder, context, report, imported, others)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct ExportTexts {
    static constexpr ActionInfo info{
        "export_texts", "Write the local texts as a tree of <locale>/<field>.txt files", Effect::localFiles};
    using Request = ImportTexts::Request;
    struct Result {
        std::optional<AppReference> app; // nothing over a named folder of no recorded app
        std::string tree;
        std::string context;
        ExportReport report;
        std::optional<std::string> warning; // of a repository that would take the demo account's password
        QUORVEL_RECORD(Result, app, tree, context, report, warning)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

struct TidyTexts {
    static constexpr ActionInfo info{"tidy_texts",
                                     "Strip final line breaks and byte order marks from the local texts",
                                     Effect::localFiles};
    using Request = FolderChangeRequest;
    struct Result {
        std::optional<AppReference> app; // nothing over a named folder of no recorded app
        TidyReport report;
        QUORVEL_RECORD(Result, app, report)
    };
    [[nodiscard]] static Result perform(Application& application, const Request& request,
                                        const ActionProgress& progress = {});
};

} // namespace quorvel
