// The server that AI assistants start: the assistants' protocol over standard input and output.
#include "Platform/log/Log.h"
#include "Platform/process/Interrupt.h"
#include "Platform/process/ProgramStart.h"
#include "Programs/quorvel-mcp/Serve.h"
#include "Quorvel/application/EnvironmentOptions.h"
#include "Quorvel/assistants/Server.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace {

using namespace quorvel;

constexpr const char* usage =
    "quorvel-mcp " QUORVEL_VERSION " lets an AI assistant work with Quorvel.\n"
    "An assistant starts it and speaks the Model Context Protocol over standard input and output;\n"
    "'quorvel assistants connect' enters it into an assistant's configuration.\n"
    "It takes no arguments. QUORVEL_HOME, QUORVEL_ENDPOINTS, ASC_KEY_ID, ASC_ISSUER_ID and\n"
    "ASC_PRIVATE_KEY_PATH hold as for quorvel; 'quorvel assistants allow' says what it may change.\n";

std::optional<std::string> variableOfProcess(std::string_view name) {
    const char* const value = std::getenv(std::string(name).c_str());
    if (!value || !*value) return std::nullopt;
    return value;
}

// Requests are about the folders of apps, never about the folder that an assistant was started in.
std::unique_ptr<Application> makeApplication() {
    std::error_code ignored;
    const auto folder = std::filesystem::current_path(ignored);
    ApplicationOptions options = optionsOfEnvironment(variableOfProcess, folder, QUORVEL_VERSION);
    for (CredentialSource& source : options.credentials)
        if (!source.privateKeyFile.empty() && source.privateKeyFile.front() != '~')
            source.privateKeyFile = (folder / source.privateKeyFile).string();
    options.workingFolder = options.home.applicationSupport();
    options.tell = [logger = Logger("Application")](const std::string& text) { logger.warning(text); };
    return std::make_unique<Application>(std::move(options));
}

} // namespace

int main(int count, char** words) {
    prepareProcess();
    if (count > 1) {
        const std::string_view word = words[1];
        if (count == 2 && word == "--version") return std::puts("quorvel-mcp " QUORVEL_VERSION) < 0;
        if (count == 2 && (word == "--help" || word == "-h")) return std::fputs(usage, stdout) < 0;
        std::fputs(usage, stderr);
        return 2;
    }
    const Interrupt interrupt(0); // to be ended is how it ends
    logToStandardError(LogLevel::warning);
    AssistantServer server(makeApplication, QUORVEL_VERSION, systemClock());
    serve(server, STDIN_FILENO, STDOUT_FILENO, interrupt.token());
    return 0;
}
