#include "Sandbox/server/FileAnswers.h"

#include "Sandbox/rules/Analytics.h"

#include "Platform/crypto/Digest.h"

namespace quorvel::sandbox {
namespace {

/// A grey pixel, for every picture and size that is asked for.
constexpr std::string_view picture =
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAAAAAA6fptVAAAACklEQVR4nGNoAAAAggCBd81ytgAAAABJRU5ErkJggg==";

Response notFound() {
    return {.status = 404, .contentType = "text/plain", .body = "There is no such file."};
}

} // namespace

Response file(const World& world, const Request& request) {
    if (request.method != "GET") return notFound();
    const std::string_view path = request.path;
    constexpr std::string_view image = "/image/", report = "/report/";
    if (path.starts_with(image)) {
        const std::string_view rest = path.substr(image.size());
        const std::string_view id = rest.substr(0, rest.find('/'));
        if (!world.store.find("appScreenshots", id) && !world.store.find("appPreviews", id))
            return notFound();
        return {.contentType = "image/png", .body = *base64Decode(picture)};
    }
    if (path.starts_with(report)) {
        const Resource* segment = world.store.find("analyticsReportSegments", path.substr(report.size()));
        if (!segment) return notFound();
        return {.contentType = "application/a-gzip",
                .body = segmentFile(*segment->hidden.find("report")->text(),
                                    *segment->hidden.find("date")->text())
                            .bytes};
    }
    return notFound();
}

} // namespace quorvel::sandbox
