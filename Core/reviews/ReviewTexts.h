// The words that every face shows about reviews.
#pragma once

#include <string_view>

namespace quorvel::reviewTexts {

inline constexpr std::string_view distributionTitle = "RATING DISTRIBUTION";
inline constexpr std::string_view responseLead = "Developer response · ";
inline constexpr std::string_view waitingText = " · waiting for Apple's check"; // behind a response
inline constexpr std::string_view replyHint =
    "Write a public developer response, with an AI draft to start from";

} // namespace quorvel::reviewTexts
