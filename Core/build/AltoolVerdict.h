// What the upload tool says of an upload.
#pragma once

#include "Platform/json/JSON.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

/// The upload tool's JSON; newer versions of it spell the keys "product-errors" and "user-info".
struct AltoolOutput {
    struct UserInfo {
        std::optional<std::string> detail;
        std::optional<std::string> title;
        std::optional<std::string> NSLocalizedFailureReason; // the cause, where the tool gives no detail
        QUORVEL_RECORD(UserInfo, detail, title, NSLocalizedFailureReason)
        bool operator==(const UserInfo&) const = default;
    };
    struct ProductError {
        std::optional<std::int64_t> code;
        std::optional<std::string> message;
        std::optional<UserInfo> userInfo;
        QUORVEL_RECORD(ProductError, code, message, userInfo)
        bool operator==(const ProductError&) const = default;
    };
    std::optional<std::vector<ProductError>> productErrors;
    QUORVEL_RECORD(AltoolOutput, productErrors)
    bool operator==(const AltoolOutput&) const = default;
};

template <>
struct JSONAliases<AltoolOutput> {
    static constexpr JSONAlias values[] = {{"product-errors", "productErrors"}};
};
template <>
struct JSONAliases<AltoolOutput::ProductError> {
    static constexpr JSONAlias values[] = {{"user-info", "userInfo"}};
};

/// Why the upload failed, from all that the tool printed; nothing when it succeeded. The tool's exit code
/// says too little: some versions exit with 0 after a failed upload.
[[nodiscard]] std::optional<std::string> uploadFailureIn(std::string_view stdoutText,
                                                         std::string_view stderrText);

} // namespace quorvel
