// std::stop_token and std::jthread. libc++ before LLVM 20 has them only with -fexperimental-library, which
// the build sets; a standard library without them needs a change in this header alone.
#pragma once

#include <stop_token>
#include <thread>
