// The accounts that a sandbox begins with.
#pragma once

#include "Sandbox/SandboxServer.h"
#include "Sandbox/rules/World.h"

namespace quorvel::sandbox {

/// Fills an empty world.
void plant(World& world, Seed seed);

/// Adds an app; `id` is its App Store id.
Resource& addApp(World& world, std::string_view id, std::string_view name, std::string_view bundleID,
                 std::string_view sku, std::string_view primaryLocale);
/// Adds a processed build that was uploaded `age` seconds ago, and its train when there is none yet.
Resource& addBuildTo(World& world, const Resource& app, std::string_view platform, std::string_view version,
                     std::string_view number, double age);
/// Adds reviews in several languages, a fifth of them answered, the newest an hour old.
void addReviews(World& world, const Resource& app, int count);

/// Fills an empty world with the account of the seed `demo`.
void plantDemo(World& world);

} // namespace quorvel::sandbox
