#include "Platform/task/Backoff.h"

#include <gtest/gtest.h>

#include <utility>

namespace quorvel {

TEST(Backoff, waitsOneTwoFourSecondsWithJitter) {
    const std::pair<int, double> cases[] = {{0, 1}, {1, 1}, {2, 2}, {3, 4}, {4, 8}};
    for (const auto& [attempt, seconds] : cases) {
        EXPECT_GE(defaultBackoff(attempt), seconds);
        EXPECT_LT(defaultBackoff(attempt), seconds + 0.5);
    }
}

} // namespace quorvel
