#include "Platform/files/Files.h"
#include "Platform/task/Task.h"
#include "Programs/xcrun-stand-in/StandIn.h"

#include <cstdio>

int main(int count, char** words) {
    using namespace quorvel;
    const std::vector<std::string> all(words + 1, words + count);
    // A link to this program lies beside its script.
    const std::filesystem::path folder = std::filesystem::absolute(words[0]).parent_path();
    std::string called;
    for (const std::string& word : all)
        called += (called.empty() ? "" : "\t") + word;
    try {
        appendLine(folder / "calls.log", called);
        const standin::Script script(folder);
        const std::string tool = all.empty() ? "" : all.front();
        const std::vector<std::string> arguments(all.begin() + (all.empty() ? 0 : 1), all.end());
        if (tool == "xcodebuild") return standin::runXcodebuild(arguments, script);
        if (tool == "altool") return standin::runAltool(arguments, script);
        if (tool == "agvtool") return standin::runAgvtool(arguments, script);
        std::fprintf(stderr, "xcrun: error: unable to find utility \"%s\", not a developer tool or in PATH\n",
                     tool.c_str());
        return 72;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "stand-in: %s\n", error.what());
        return 71;
    }
}
