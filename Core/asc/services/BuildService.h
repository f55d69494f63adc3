// A build and the version that it belongs to.
#pragma once

#include "Core/asc/ASCClientProtocol.h"

#include <string_view>

namespace quorvel {

/// Whether a build uses encryption that is not exempt from export documentation.
enum class Encryption { exempt, notExempt };

/// Works on one build.
class BuildService {
  public:
    explicit BuildService(const ASCClientProtocol& client) : client_(client) {}

    /// Answers the build's question on encryption. An answer that is there already is no error when it is the
    /// same one, as the first request may have been carried out though its answer was lost.
    void answerCompliance(std::string_view buildID, Encryption encryption) const;

  private:
    const ASCClientProtocol& client_;
};

} // namespace quorvel
