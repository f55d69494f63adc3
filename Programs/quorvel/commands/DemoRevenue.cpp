#include "Programs/quorvel/commands/DemoRevenue.h"

#include <algorithm>
#include <string>

namespace quorvel {

namespace {

std::int64_t askedReports(DemoStage& stage) {
    const auto asked = std::ranges::count(stage.server().requests(), std::string("/v1/salesReports"),
                                          &sandbox::RecordedRequest::path);
    stage.server().forgetRequests();
    return asked;
}

} // namespace

DemoRevenueRecord playRevenue(DemoStage& stage) {
    DemoRevenueRecord record{.daysShown = 14};
    const std::string vendor = stage.server().access().vendorNumber;
    stage.step(
        "What it earns",
        "Apple's daily sales reports, summed per app and converted into one currency, against the week "
        "before. They are asked for with the account's vendor number:");
    stage.server().forgetRequests();
    stage.command({"revenue", "--days", "7", "--currency", "EUR", "--vendor-number", vendor});
    record.reportsAsked = askedReports(stage);
    stage.tell(
        "A second look reads the kept reports; only the last three days, which Apple still changes, are asked "
        "for again. As rows for a spreadsheet:");
    stage.command({"revenue", "export", "--days", "1", "--vendor-number", vendor});
    stage.server().forgetRequests();
    stage.tell(
        "And in words, by the AI service, which is given sums and nothing else. First what it would cost:");
    stage.command({"revenue", "analyse", "--days", "7", "--vendor-number", vendor, "--dry-run"});
    record.reportsAskedAgain = askedReports(stage);
    stage.command({"revenue", "analyse", "--days", "7", "--vendor-number", vendor, "--yes"});
    record.wasCommentedOn = stage.lastOutput().find("Written by an AI model") != std::string::npos;
    return record;
}

} // namespace quorvel
