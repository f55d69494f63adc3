#include "Platform/task/Backoff.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace quorvel {

double defaultBackoff(int attempt) {
    thread_local std::minstd_rand generator{std::random_device{}()};
    return std::pow(2.0, std::max(attempt - 1, 0)) +
           std::uniform_real_distribution<double>(0, 0.5)(generator);
}

} // namespace quorvel
