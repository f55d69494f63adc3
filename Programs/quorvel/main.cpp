#include "Platform/process/Interrupt.h"
#include "Platform/process/ProgramStart.h"
#include "Platform/task/Task.h"
#include "Programs/quorvel/ExitStatus.h"
#include "Programs/quorvel/Run.h"

#include <cstdio>
#include <string_view>

int main(int count, char** words) {
    using namespace quorvel;
    prepareProcess();
    if (count == 2 && std::string_view(words[1]) == "--version")
        return std::puts(versionLine().c_str()) < 0 || std::fflush(stdout) != 0;
    const Interrupt interrupt(static_cast<int>(ExitStatus::interrupted));
    const TaskScope task(interrupt.token());
    const Surroundings surroundings = surroundingsOfProcess(count > 0 ? words[0] : "quorvel");
    return static_cast<int>(run({words + (count > 0 ? 1 : 0), words + count}, surroundings));
}
