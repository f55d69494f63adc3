// Fills the form of an API key from the command line, the environment, key files and the terminal.
#pragma once

#include "Core/asc/ASCSettingsViewModel.h"
#include "Programs/quorvel/Invocation.h"

namespace quorvel {

/// Completes what `model` has stored with what is given or found, and on a terminal asks for what is missing.
/// Throws `UsageError` when something still is, `CommandError` when the key's file is of no use.
void fillIn(Invocation& invocation, ASCSettingsViewModel& model);

} // namespace quorvel
