// The errors of the command line, and what every failure means for the exit status.
#pragma once

#include "Programs/quorvel/ExitStatus.h"
#include "Quorvel/application/Failure.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace quorvel {

/// A command that cannot go on: what to say, what to do about it, and how the program ends.
class CommandError : public std::runtime_error {
  public:
    CommandError(ExitStatus status, const std::string& text, std::string hint = {})
        : std::runtime_error(text), status_(status), hint_(std::move(hint)) {}
    [[nodiscard]] ExitStatus status() const { return status_; }
    [[nodiscard]] const std::string& hint() const { return hint_; }

  private:
    ExitStatus status_;
    std::string hint_;
};

/// A command line that is not understood.
class UsageError : public CommandError {
  public:
    explicit UsageError(const std::string& text, std::string hint = {})
        : CommandError(ExitStatus::usage, text, std::move(hint)) {}
};

struct ErrorReport {
    ExitStatus status = ExitStatus::failed;
    std::string text; // one line
    std::string hint; // what to do; empty when the text says it
};

/// What an exception means.
[[nodiscard]] ErrorReport reportOf(const std::exception& error);
[[nodiscard]] ErrorReport reportOf(const Failure& failure);
[[nodiscard]] ExitStatus statusOf(FailureKind kind);
/// How a command ends that did several things, by two of their ends: the one that says more of what is wrong.
[[nodiscard]] ExitStatus worseOf(ExitStatus first, ExitStatus second);

} // namespace quorvel
