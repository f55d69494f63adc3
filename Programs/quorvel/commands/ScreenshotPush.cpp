#include "Programs/quorvel/commands/ScreenshotPush.h"

#include "Core/asc/ASCError.h"
#include "Core/screenshots/ScreenshotError.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Programs/quorvel/Errors.h"
#include "Programs/quorvel/TransferBars.h"
#include "Programs/quorvel/commands/MetadataRecords.h"
#include "Programs/quorvel/commands/ScreenshotRecords.h"

#include <fmt/format.h>

#include <atomic>

namespace quorvel {

namespace {

struct PlannedWork {
    std::size_t uploads = 0;
    std::size_t deletions = 0;
    std::uint64_t bytes = 0;
};

PlannedWork workOf(const std::vector<ScreenshotSetEdit>& edits) {
    PlannedWork work;
    for (const ScreenshotSetEdit& edit : edits) {
        work.uploads += edit.localsToUpload.size();
        work.deletions += edit.ascIdsToDelete.size();
        for (const ScreenshotPushItem& item : edit.localsToUpload) {
            std::error_code unknown;
            const auto size = std::filesystem::file_size(item.fileURL, unknown);
            if (!unknown) work.bytes += size;
        }
    }
    return work;
}

TransferBars::Form formOfBars(const Invocation& invocation) {
    if (invocation.global.quiet) return TransferBars::Form::silent;
    return invocation.output.streams().errorIsTerminal ? TransferBars::Form::bars : TransferBars::Form::lines;
}

void confirm(const ScreenshotPush& push, const PlannedWork& work) {
    Output& output = push.invocation.output;
    const auto& plan = push.prepared.plan;
    const std::string what =
        fmt::format("Upload {} ({}) and delete {} in {} of {} {} ({})", counted(work.uploads, "screenshot"),
                    byteCount(work.bytes), work.deletions, counted(plan.edits.size(), "set"),
                    push.target.app().displayName, push.context.versionString, push.context.id());
    if (!push.invocation.global.yes && output.canAsk()) {
        printScreenshotSets(output, plan.sets);
        if (!output.confirm(fmt::format("{}?", what)))
            throw CommandError(ExitStatus::failed, "Nothing was pushed.");
    }
    output.note(fmt::format("{}.", what));
}

void show(TransferBars& bars, const std::string& name, const ScreenshotTransfer& transfer) {
    switch (transfer.stage) {
    case ScreenshotTransfer::Stage::running:
        return bars.running(name, transfer.sent, transfer.total);
    case ScreenshotTransfer::Stage::finished:
        return bars.finished(name, transfer.total);
    case ScreenshotTransfer::Stage::failed:
        return bars.failed(name);
    }
}

ScreenshotPushSummary carryOut(const ScreenshotPush& push, const PlannedWork& work) {
    Invocation& invocation = push.invocation;
    std::atomic<std::size_t> uploaded = 0;
    try {
        const TransferBars::Form form = formOfBars(invocation);
        TransferBars bars(invocation.output.streams(), form, work.uploads, work.bytes);
        const ScreenshotPusher::Observer observer{
            .progress =
                [&](const ScreenshotPusher::PushProgress& progress) {
                    bars.stage(progress.stage);
                    // The one stage that lasts without a file that ends.
                    if (form == TransferBars::Form::lines && progress.stage == processingStage)
                        invocation.output.note(progress.stage);
                },
            .transfer =
                [&](const ScreenshotTransfer& transfer) {
                    if (transfer.stage == ScreenshotTransfer::Stage::finished) ++uploaded;
                    show(bars, shownPath(transfer.fileURL.lexically_relative(push.store.paths().pictures)),
                         transfer);
                }};
        ScreenshotPushOptions options;
        if (invocation.arguments.has("--no-wait")) options.processingDeadline = 0;
        URLSessionHTTPClient uploads(invocation.composition.session());
        return ScreenshotPusher(push.target.client(), uploads, push.context, push.target.app().appStoreId,
                                options)
            .push(push.prepared.plan.edits, observer);
    } catch (const CancellationError&) {
        invocation.output.note(fmt::format("{} of {} files were uploaded before the interruption; pushing "
                                           "again does the rest and the order.",
                                           uploaded.load(), work.uploads));
        throw;
    }
}

// What was pushed stands and is told, whatever becomes of the catalogue.
void remember(const ScreenshotPush& push, ScreenshotPushSummary& summary) {
    const auto warn = [&](std::string_view problem) {
        summary.warnings.push_back(fmt::format("The push is done, but the catalogue could not be brought up "
                                               "to date: {} Pull with 'quorvel screenshots pull'.",
                                               problem));
    };
    try {
        push.store.remember(push.store.readRemote(push.target.client(), push.locales), push.locales);
    } catch (const ASCError& error) {
        warn(error.description());
    } catch (const FileError& error) {
        warn(error.what());
    }
}

} // namespace

ExitStatus rehearse(const ScreenshotPush& push) {
    const PreparedScreenshots& prepared = push.prepared;
    Output& output = push.invocation.output;
    ScreenshotPushDocument document = documentOf(prepared, {});
    document.dryRun = true;
    output.document(document);
    printScreenshotSets(output, prepared.plan.sets);
    const PlannedWork work = workOf(prepared.plan.edits);
    output.note(fmt::format("Dry run: {} would be uploaded ({}) and {} deleted, nothing was sent.",
                            counted(work.uploads, "screenshot"), byteCount(work.bytes), work.deletions));
    return prepared.plan.edits.empty() ? statusOf(document, 0, prepared.unreadableFolders) : ExitStatus::done;
}

ExitStatus perform(const ScreenshotPush& push) {
    const PreparedScreenshots& prepared = push.prepared;
    Output& output = push.invocation.output;
    const PlannedWork work = workOf(prepared.plan.edits);
    ScreenshotPushSummary summary;
    std::size_t notDone = prepared.failures.size() + prepared.unreadableFolders;
    if (!prepared.plan.edits.empty()) {
        confirm(push, work);
        summary = carryOut(push, work);
        notDone += summary.failures.size() + summary.warnings.size();
        remember(push, summary);
    }
    for (const ScreenshotPushItem& item : prepared.plan.inProcessing)
        summary.warnings.push_back(
            fmt::format("{}: was there, but App Store Connect was still processing it when the push began; "
                        "pull to see the outcome.",
                        item.text()));
    const ScreenshotPushDocument document = documentOf(prepared, summary);
    output.document(document);
    for (const std::string& warning : summary.warnings)
        output.warning(warning);
    for (const std::string& failure : summary.failures)
        output.warning(failure);
    output.line(outcomeText(prepared, summary));
    const ExitStatus result = statusOf(document, work.uploads, prepared.unreadableFolders);
    if (result != ExitStatus::done)
        output.line(fmt::format("{} not done as listed above; push again after mending them.",
                                counted(notDone, "thing")));
    return result;
}

} // namespace quorvel
