// Any bytes decoded as the documents that App Store Connect sends: either a record or a JSONError, and what
// was decoded encodes to text that decodes to the same.
#include "Core/asc/ASCClientProtocol.h"

#include <cstdlib>

namespace {

template <typename Document>
void decodeAndRepeat(std::string_view text) {
    Document document;
    try {
        document = quorvel::decodeJSON<Document>(text);
    } catch (const quorvel::JSONError&) {
        return;
    }
    const std::string encoded = quorvel::encodeJSON(document);
    if (!(quorvel::decodeJSON<Document>(encoded) == document)) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace quorvel;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    decodeAndRepeat<ASCResponse<ASCList<AppStoreVersionLocalizationAttributes>>>(text);
    decodeAndRepeat<ASCResponse<ASCResource<AppScreenshotAttributes>>>(text);
    decodeAndRepeat<ASCResponse<std::optional<ASCResource<AppEventAttributes>>>>(text);
    try {
        const auto value = decodeJSON<JSONValue>(text);
        const std::string encoded = encodeJSON(value);
        if (encodeJSON(decodeJSON<JSONValue>(encoded)) != encoded) std::abort();
    } catch (const JSONError&) {
    }
    return 0;
}
