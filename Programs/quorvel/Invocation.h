// What a running command is handed.
#pragma once

#include "Programs/quorvel/Command.h"
#include "Programs/quorvel/GlobalOptions.h"
#include "Programs/quorvel/Output.h"
#include "Programs/quorvel/Surroundings.h"

namespace quorvel {

class Application;

struct Invocation {
    const Command& command;
    const Arguments& arguments;
    const GlobalOptions& global;
    const Surroundings& surroundings;
    Output& output;
    Application& application;
};

} // namespace quorvel
