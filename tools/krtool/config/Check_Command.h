#pragma once

/// \file
/// "krtool config check": everything that can be said about a configuration file.

#include <string>

namespace krtool {

class Output;

/// The exit code. Throws Failure when the file cannot be read.
int check_configuration(Output& out, const std::string& path);

} // namespace krtool
