// Any bytes as the body of a refusal: the text for the user is never empty and never holds a control
// character.
#include "Core/asc/ASCError.h"
#include "Platform/text/Text.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string body(reinterpret_cast<const char*>(data), size);
    const ASCError refused(ASCError::APIErrors{decodeErrorDocument(body)});
    if (refused.description().empty()) std::abort();
    (void)refused.httpStatus();
    (void)refused.hasCodeContaining("INVALID.DUPLICATE");
    const ASCError status(ASCError::HTTPStatus{418, body});
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20; };
    if (std::ranges::any_of(status.description(), isControl)) std::abort();
    return 0;
}
