#include "Core/screenshots/PartSender.h"

#include "Platform/http/HeaderText.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace quorvel {

namespace {

constexpr std::chrono::seconds partTimeout{60}; // of the first attempt

bool mayPass(int status) {
    return status == 408 || status == 429 || (status >= 500 && status <= 599);
}

// Headers that speak for the connection or for the sender: a list from outside has no say in them.
bool isOurs(std::string_view name) {
    constexpr std::array ours = {"Authorization",
                                 "Connection",
                                 "Cookie",
                                 "Host",
                                 "Keep-Alive",
                                 "TE",
                                 "Proxy-Connection",
                                 "Proxy-Authenticate",
                                 "Trailer",
                                 "Upgrade",
                                 "Proxy-Authorization",
                                 "Transfer-Encoding"};
    return std::ranges::any_of(ours, [name](const char* own) { return isSameHeaderName(name, own); });
}

void requireHarmless(const ASCUploadOperation& operation) {
    if (problemOfURL(operation.url))
        throw ScreenshotFileError("ASC returned invalid upload URL: " + escapeControls(operation.url));
    if (operation.method != "PUT" && operation.method != "POST")
        throw ScreenshotFileError(fmt::format("App Store Connect asks to upload with {}, which is not done",
                                              escapeControls(operation.method)));
    for (const ASCUploadHeader& header : operation.requestHeaders.value_or(std::vector<ASCUploadHeader>()))
        if (isOurs(header.name))
            throw ScreenshotFileError(fmt::format(
                "App Store Connect asks to upload with the header {}, which is not done", header.name));
}

HTTPRequest requestFor(const ScreenshotFile& file, const ASCUploadOperation& operation) {
    HTTPRequest request{.method = operation.method, .url = operation.url};
    for (const ASCUploadHeader& header : operation.requestHeaders.value_or(std::vector<ASCUploadHeader>()))
        request.headers.push_back({header.name, header.value});
    request.body = FileSlice{file.path(), static_cast<std::uint64_t>(operation.offset),
                             static_cast<std::uint64_t>(operation.length)};
    request.timeout = partTimeout;
    return request;
}

// What an attempt came to: nothing when the part was taken.
struct Trouble {
    std::string text;
    bool mayPass = true;
    bool isTimeout = false;
};

std::optional<Trouble> attempt(HTTPClient& uploads, const HTTPRequest& request, const ScreenshotFile& file,
                               const ASCUploadOperation& operation) {
    try {
        const HTTPResponse response = uploads.send(request);
        if (response.status >= 200 && response.status <= 299) return std::nullopt;
        return Trouble{fmt::format("the upload was answered with status {}", response.status),
                       mayPass(response.status)};
    } catch (const TransportError& error) {
        if (error.kind() != TransportError::Kind::localFile)
            return Trouble{.text = error.what(),
                           .mayPass = error.kind() != TransportError::Kind::refusedURL &&
                                      error.kind() != TransportError::Kind::untrusted,
                           .isTimeout = error.kind() == TransportError::Kind::timedOut};
        file.requireBytes(operation.offset, operation.length);
        throw ScreenshotFileError(error.what());
    }
}

} // namespace

void PartSender::send(const ScreenshotFile& file, const std::vector<ASCUploadOperation>& operations,
                      const std::function<void(std::uint64_t)>& progress) const {
    std::uint64_t sent = 0;
    for (const ASCUploadOperation& operation : operations) {
        sendPart(file, operation, [&](std::uint64_t moved) { progress(sent + moved); });
        sent += static_cast<std::uint64_t>(operation.length);
    }
}

void PartSender::sendPart(const ScreenshotFile& file, const ASCUploadOperation& operation,
                          const std::function<void(std::uint64_t)>& progress) const {
    file.requireBytes(operation.offset, operation.length);
    requireHarmless(operation);
    HTTPRequest request = requestFor(file, operation);
    request.uploadProgress = [&](std::uint64_t moved, std::uint64_t) { progress(moved); };
    for (int count = 1;; ++count) {
        const auto trouble = attempt(uploads_, request, file, operation);
        if (!trouble) return;
        if (!trouble->mayPass || count >= options_.attempts)
            throw ScreenshotFileError(fmt::format("the {} bytes at offset {} were not taken: {}",
                                                  operation.length, operation.offset, trouble->text));
        if (trouble->isTimeout) request.timeout *= 2; // the link may be too slow for the part
        options_.sleepFor(options_.backoff(count));
    }
}

} // namespace quorvel
