#include "Quorvel/actions/ScreenshotActions.h"

#include "Core/screenshots/ScreenshotDisplayType.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Quorvel/actions/PreviewActions.h"
#include "Quorvel/application/Application.h"
#include "Quorvel/application/Failure.h"

#include <fmt/format.h>

namespace quorvel {

namespace {

template <typename Request>
bool flattens(const Request& request) {
    if constexpr (requires { request.flatten; })
        return request.flatten;
    else
        return false;
}

// All of it is checked before anything is asked.
template <typename Request>
ScreenshotChoice choiceOf(const Request& request, ScreenshotPushMode usual) {
    if (request.context) (void)requireContextID(*request.context);
    ScreenshotChoice choice{.mode = request.mode.value_or(usual),
                            .check = request.noCheck ? PictureCheck::none : PictureCheck::full,
                            .alpha = flattens(request) ? AlphaChannel::dropped : AlphaChannel::refused,
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
        const auto type = displayTypeOfFolder(display, Request::kind);
        if (!type)
            throw ApplicationError(
                FailureKind::badRequest, fmt::format("{} is no display type", quotedWord(display)),
                fmt::format("A display type is named as App Store Connect does ({}) or as its folder is "
                            "(iphone-67).",
                            findDisplayType("APP_IPHONE_67")->nameFor(Request::kind)));
        choice.selection.displayTypes.push_back(*type);
    }
    return choice;
}

ScreenshotsController& controllerOf(const OpenedApp& opened, AssetKind kind) {
    return kind == AssetKind::preview ? *opened.session->previews : *opened.session->screenshots;
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

template <typename Action>
typename Action::Result pullAssets(AssetKind kind, Application& application,
                                   const typename Action::Request& request, const ActionProgress& progress) {
    if (request.context) (void)requireContextID(*request.context); // before anything is asked
    OpenedApp opened = openOrImport(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {controllerOf(opened, kind).pull(request.context), std::move(opened.imported)};
}

template <typename Action>
typename Action::Result importAssets(AssetKind kind, Application& application,
                                     const typename Action::Request& request,
                                     const ActionProgress& progress) {
    const OpenedApp opened = openLocal(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {controllerOf(opened, kind)
                .importPictures(application.absolutePath(request.tree), request.context, dryRunOf(request))};
}

template <typename Action>
typename Action::Result compareAssets(Application& application, const typename Action::Request& request) {
    const ScreenshotChoice choice = choiceOf(request, ScreenshotPushMode::replaceSet);
    const OpenedApp opened = openLocal(application, targetOf(request));
    return {controllerOf(opened, Action::Request::kind).status(request.context, choice, dryRunOf(request))};
}

template <typename Action>
typename Action::Result planAssets(Application& application, const typename Action::Request& request,
                                   const ActionProgress& progress) {
    const ScreenshotChoice choice = choiceOf(request, ScreenshotPushMode::append);
    const OpenedApp opened = openUnchanged(application, targetOf(request));
    const ToldOperations told(*opened.session, progress);
    return {controllerOf(opened, Action::Request::kind).planPush(request.context, choice, dryRunOf(request))};
}

template <typename Action>
typename Action::Result pushAssets(AssetKind kind, Application& application,
                                   const typename Action::Request& request, const ActionProgress& progress) {
    const ScreenshotPushPlan& plan = request.plan;
    OpenedApp opened = openPlanned(application, plan.app, request.workspace, plan.folder);
    const ToldOperations told(*opened.session, progress);
    const auto folder =
        controllerOf(opened, kind).pictures(opened.session->metadata->folder(), plan.version.contextID());
    const ScreenshotPusher::Observer observer{
        .progress =
            [&](const ScreenshotPusher::PushProgress& step) {
                progress.step({step.stage, static_cast<std::size_t>(step.completed),
                               static_cast<std::size_t>(step.total)});
            },
        .transfer =
            [&](const ScreenshotTransfer& transfer) { progress.transfer(transferOf(transfer, folder)); }};
    ScreenshotPushOptions options;
    if (request.noWait) options.processingDeadline = 0;
    return {controllerOf(opened, kind).push(plan, observer, options), std::move(opened.imported)};
}

} // namespace

PullScreenshots::Result PullScreenshots::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    return pullAssets<PullScreenshots>(AssetKind::screenshot, application, request, progress);
}

PullPreviews::Result PullPreviews::perform(Application& application, const Request& request,
                                           const ActionProgress& progress) {
    return pullAssets<PullPreviews>(AssetKind::preview, application, request, progress);
}

ImportScreenshots::Result ImportScreenshots::perform(Application& application, const Request& request,
                                                     const ActionProgress& progress) {
    return importAssets<ImportScreenshots>(AssetKind::screenshot, application, request, progress);
}

ImportPreviews::Result ImportPreviews::perform(Application& application, const Request& request,
                                               const ActionProgress& progress) {
    return importAssets<ImportPreviews>(AssetKind::preview, application, request, progress);
}

CompareScreenshots::Result CompareScreenshots::perform(Application& application, const Request& request,
                                                       const ActionProgress&) {
    return compareAssets<CompareScreenshots>(application, request);
}

ComparePreviews::Result ComparePreviews::perform(Application& application, const Request& request,
                                                 const ActionProgress&) {
    return compareAssets<ComparePreviews>(application, request);
}

PlanScreenshotPush::Result PlanScreenshotPush::perform(Application& application, const Request& request,
                                                       const ActionProgress& progress) {
    return planAssets<PlanScreenshotPush>(application, request, progress);
}

PlanPreviewPush::Result PlanPreviewPush::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    return planAssets<PlanPreviewPush>(application, request, progress);
}

PushScreenshots::Result PushScreenshots::perform(Application& application, const Request& request,
                                                 const ActionProgress& progress) {
    return pushAssets<PushScreenshots>(AssetKind::screenshot, application, request, progress);
}

PushPreviews::Result PushPreviews::perform(Application& application, const Request& request,
                                           const ActionProgress& progress) {
    return pushAssets<PushPreviews>(AssetKind::preview, application, request, progress);
}

} // namespace quorvel
