// Runs a program as a child and tells everything that it did.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace quorvel::test {

struct ProgramResult {
    int status = -1; // exit status; 128 and the signal's number when a signal ended it
    std::string out;
    std::string error;
    std::string terminal; // what a terminal shows that is none of the streams
    /// Both streams, for searching.
    [[nodiscard]] std::string all() const { return out + error; }
};

struct ProgramCall {
    std::filesystem::path program;
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment; // all of it, but for the sanitizers' options
    std::filesystem::path workingFolder = "/";
    std::string input; // standard input, closed at its end; what is typed where there is a terminal
    enum class Streams {
        pipes,              // nobody sits at a terminal
        terminal,           // `out` holds everything
        pipesUnderTerminal, // the streams are redirected, an empty standard input too
    } streams = Streams::pipes;
};

/// A child that runs beside the test; killed when the object goes away.
class ChildProgram {
  public:
    explicit ChildProgram(const ProgramCall& call);
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    /// The next line of its standard output; empty at the end.
    [[nodiscard]] std::string readLine();
    /// What its standard output has next; empty at the end.
    [[nodiscard]] std::string readSome();
    void signal(int number) const;
    [[nodiscard]] pid_t process() const { return process_; }
    /// Closes our end of its standard output, as a reader that goes away does.
    void closeOutput();
    /// Waits for its end.
    [[nodiscard]] ProgramResult wait();

  private:
    void openTerminal(const std::string& typed);
    void spawn(const ProgramCall& call, int input, int out, int error);
    void drain();

    pid_t process_ = -1;
    int out_ = -1;
    int error_ = -1;
    int terminal_ = -1; // our end, and the other one, which keeps it open
    int terminalOfChild_ = -1;
    std::string terminalName_;
    ProgramResult result_;
};

[[nodiscard]] ProgramResult runProgram(const ProgramCall& call);

} // namespace quorvel::test
