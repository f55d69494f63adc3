#include "Quorvel/actions/ScreenshotActions.h"

#include "Core/screenshots/ScreenshotDisplayType.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

// All of it is checked before anything is asked.
ScreenshotChoice choiceOf(const ScreenshotRequest& request, ScreenshotPushMode usual) {
    if (request.context) (void)requireContextID(*request.context);
    ScreenshotChoice choice{.mode = request.mode.value_or(usual),
                            .check = request.noCheck ? PictureCheck::none : PictureCheck::full,
                            .alpha = request.flatten ? AlphaChannel::dropped : AlphaChannel::refused,
                            .withoutFiles =
                                request.prune ? SetsWithoutFiles::empty : SetsWithoutFiles::leave};
    if (request.prune && choice.mode != ScreenshotPushMode::replaceSet)
        throw ApplicationError(FailureKind::badRequest,
                               "sets without local files are emptied only when sets are replaced",
                               "Choose the mode replace, or leave the other sets as they are.");
    for (const std::string& locale : request.locales) {
        requireAppStoreLocale(locale);
        choice.selection.locales.push_back(locale);
    }
    for (const std::string& display : request.displayTypes) {
        const auto type = displayTypeOfFolder(display);
        if (!type)
            throw ApplicationError(
                FailureKind::badRequest, fmt::format("{} is no display type", quotedWord(display)),
                "A display type is named as App Store Connect does (APP_IPHONE_67) or as its folder is "
                "(iphone-67).");
        choice.selection.displayTypes.push_back(*type);
    }
    return choice;
}

ActionProgress::Transfer transferOf(const ScreenshotTransfer& transfer, const std::filesystem::path& folder) {
    using Stage = ActionProgress::Transfer::Stage;
    return {.file = shownPath(transfer.fileURL.lexically_relative(folder)),
            .sent = transfer.sent,
            .total = transfer.total,
            .stage = transfer.stage == ScreenshotTransfer::Stage::running    ? Stage::running
                     : transfer.stage == ScreenshotTransfer::Stage::finished ? Stage::finished
                                                                             : Stage::failed};
}

} // namespace

PullScreenshots::Result PullScreenshots::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    if (request.context) (void)requireContextID(*request.context); // before anything is asked
    OpenedApp opened = openOrImport(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {opened.session->screenshots->pull(request.context), std::move(opened.imported)};
}

ImportScreenshots::Result ImportScreenshots::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {opened.session->screenshots->importPictures(application.absolutePath(request.tree),
                                                        request.context, dryRunOf(request))};
}

CompareScreenshots::Result CompareScreenshots::perform(Application& application, const Request& request,
                                                       const ActionProgress&) {
    const ScreenshotChoice choice = choiceOf(request, ScreenshotPushMode::replaceSet);
    const OpenedApp opened = openLocal(application, targetOf(request));
    return {opened.session->screenshots->status(request.context, choice, dryRunOf(request))};
}

PlanScreenshotPush::Result PlanScreenshotPush::perform(Application& application, const Request& request,
                                                       const ActionProgress& progress) {
    const ScreenshotChoice choice = choiceOf(request, ScreenshotPushMode::append);
    const OpenedApp opened = openUnchanged(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {opened.session->screenshots->planPush(request.context, choice, dryRunOf(request))};
}

PushScreenshots::Result PushScreenshots::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    const ScreenshotPushPlan& plan = request.plan;
    OpenedApp opened = openPlanned(application, plan.app, request.workspace, plan.folder);
    const ToldOperations told(*opened.session, progress);
    const auto pictures =
        screenshotPaths(opened.session->metadata->folder(), plan.version.contextID()).pictures;
    const ScreenshotPusher::Observer observer{
        .progress =
            [&](const ScreenshotPusher::PushProgress& step) {
                progress.step({step.stage, static_cast<std::size_t>(step.completed),
                               static_cast<std::size_t>(step.total)});
            },
        .transfer =
            [&](const ScreenshotTransfer& transfer) { progress.transfer(transferOf(transfer, pictures)); }};
    ScreenshotPushOptions options;
    if (request.noWait) options.processingDeadline = 0;
    return {opened.session->screenshots->push(plan, observer, options), std::move(opened.imported)};
}

} // namespace quorvel
