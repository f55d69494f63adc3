// Sends the parts of a reserved file to the places that App Store Connect named.
#pragma once

#include "Core/asc/ASCClientProtocol.h"
#include "Core/screenshots/ScreenshotFile.h"
#include "Core/screenshots/ScreenshotPusher.h"
#include "Platform/http/HTTPClient.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace quorvel {

class PartSender {
  public:
    PartSender(HTTPClient& uploads, const ScreenshotPushOptions& options)
        : uploads_(uploads), options_(options) {}

    /// Sends one request per operation, in their order, each slice streamed from the file; tells `progress`
    /// the bytes of the file sent so far. A part is sent again while its failure may pass. Throws
    /// `ScreenshotFileError`, and `CancellationError`.
    void send(const ScreenshotFile& file, const std::vector<ASCUploadOperation>& operations,
              const std::function<void(std::uint64_t sent)>& progress) const;

  private:
    void sendPart(const ScreenshotFile& file, const ASCUploadOperation& operation,
                  const std::function<void(std::uint64_t)>& progress) const;

    HTTPClient& uploads_;
    const ScreenshotPushOptions& options_;
};

} // namespace quorvel
