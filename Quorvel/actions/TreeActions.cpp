#include "Quorvel/actions/TreeActions.h"

#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"
#include "Quorvel/controllers/metadata/SecretExposure.h"

#include <fmt/format.h>

#include <filesystem>

namespace quorvel {

ImportTexts::Result ImportTexts::perform(Application& application, const Request& request,
                                         const ActionProgress& progress) {
    const auto tree = application.absolutePath(request.tree);
    std::error_code unreachable;
    if (!std::filesystem::is_directory(tree, unreachable))
        throw ApplicationError(FailureKind::noFolder, fmt::format("there is no folder {}", tree.string()));
    OpenedApp opened = request.dryRun ? openUnchanged(application, targetOf(request))
                                      : openOrImport(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    Result result{.app = referenceOf(opened.app),
                  .folder = {},
                  .context = {},
                  .report = {},
                  .imported = std::move(opened.imported)};
    for (auto& import : opened.session->metadata->importTexts(tree, request.context, dryRunOf(request)))
        result.others.push_back(
            {import.folder.rootURL.string(), import.context.text(), std::move(import.report)});
    Part first = std::move(result.others.front());
    result.others.erase(result.others.begin());
    result.folder = std::move(first.folder);
    result.context = std::move(first.context);
    result.report = std::move(first.report);
    return result;
}

ExportTexts::Result ExportTexts::perform(Application& application, const Request& request,
                                         const ActionProgress&) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const DryRun dryRun = dryRunOf(request);
    const auto compared = opened.session->metadata->compare(request.context, {}, dryRun);
    const auto tree = application.absolutePath(request.tree);
    Result result{knownReferenceOf(opened.app), tree.string(), compared.context.text(),
                  exportTree(MetadataStore(compared.folder), tree, dryRun), std::nullopt};
    if (auto exposed = exposedSecret({tree})) result.warning = std::move(exposed->text);
    return result;
}

TidyTexts::Result TidyTexts::perform(Application& application, const Request& request,
                                     const ActionProgress& progress) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {knownReferenceOf(opened.app), opened.session->metadata->tidy(request.context, dryRunOf(request))};
}

} // namespace quorvel
