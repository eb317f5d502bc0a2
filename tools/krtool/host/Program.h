#pragma once

/// \file
/// The frame of all commands: command line, output, exit codes, errors. Threads: one.

#include "Output.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <stdexcept>
#include <string>

namespace krtool {

enum Exit_Code {
    good = 0,
    findings = 1,   ///< there are findings of the level "error", or nothing was found
    wrong_call = 2, ///< the command line is wrong, or something cannot be read or written
};

/// What a command cannot do. The text is one sentence for the user; the exit code is wrong_call.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The output takes no more: its reader has gone, or its disk is full.
class Output_Lost : public std::runtime_error {
public:
    explicit Output_Lost(int error);
    [[nodiscard]] bool has_reader_gone() const noexcept { return reader_gone_; }

private:
    bool reader_gone_;
};

class Program {
public:
    /// What a command does; its result is the exit code.
    using Command = std::function<int(Output&)>;

    /// Makes the command do this once the whole command line has been read.
    void on(CLI::App& command, Command work);

    /// Runs the command that `argv` names and gives the exit code. Results go to `out`, help too;
    /// errors go to stderr as one line, "krtool: <sentence>".
    [[nodiscard]] int run(int argc, const char* const* argv, std::FILE* out);

private:
    int run_command(std::FILE* out);

    Command work_;
    bool is_json_ = false;
    std::string color_ = "auto";
};

} // namespace krtool
