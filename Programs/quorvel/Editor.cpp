#include "Programs/quorvel/Editor.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"
#include "Programs/quorvel/Errors.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <utility>

namespace quorvel {

namespace {

std::vector<std::string> editorWords(const Invocation& invocation) {
    for (const std::string_view name : {"VISUAL", "EDITOR"})
        if (const auto command = invocation.surroundings.variable(name); command && !isBlank(*command))
            return commandWordsOf(*command);
    if (!invocation.output.canAsk())
        throw CommandError(ExitStatus::failed, "no editor is known, and there is no terminal",
                           "Name one in the variable VISUAL or EDITOR.");
    return {"vi"};
}

// How the editor starts: with this program's streams, or the terminal in place of those that are redirected.
class EditorStart {
  public:
    explicit EditorStart(bool hasTerminal) {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
        if (hasTerminal && ::isatty(STDIN_FILENO) == 0)
            ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/tty", O_RDONLY, 0);
        if (::isatty(STDOUT_FILENO) == 0) {
            if (hasTerminal)
                ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/tty", O_WRONLY, 0);
            else // the result alone goes to standard output
                ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        }
        sigset_t all, none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~EditorStart() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    EditorStart(const EditorStart&) = delete;
    EditorStart& operator=(const EditorStart&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

} // namespace

std::vector<std::string> commandWordsOf(std::string_view command) {
    std::vector<std::string> words;
    std::optional<std::string> word;
    char quotation = 0;
    for (std::size_t at = 0; at < command.size(); ++at) {
        const char character = command[at];
        const bool isBlankHere = character == ' ' || character == '\t';
        if (quotation == 0 && isBlankHere) {
            if (word) words.push_back(*std::exchange(word, std::nullopt));
            continue;
        }
        if (!word) word.emplace();
        if (character == quotation)
            quotation = 0;
        else if (quotation == 0 && (character == '\'' || character == '"'))
            quotation = character;
        else if (character == '\\' && quotation != '\'' && at + 1 < command.size())
            *word += command[++at];
        else
            *word += character;
    }
    if (word) words.push_back(*std::move(word));
    return words;
}

bool editFile(const Invocation& invocation, const std::filesystem::path& file) {
    std::vector<std::string> words = editorWords(invocation);
    words.push_back(file.string());
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const EditorStart start(invocation.output.canAsk());
    pid_t process = 0;
    if (const int problem = ::posix_spawnp(&process, arguments[0], &start.actions, &start.attributes,
                                           arguments.data(), environ);
        problem != 0)
        throw CommandError(ExitStatus::failed,
                           fmt::format("the editor {} cannot be started: {}", quotedWord(words.front()),
                                       std::strerror(problem)),
                           "Name another one in the variable VISUAL or EDITOR.");
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    checkCancellation();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace quorvel
