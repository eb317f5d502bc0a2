#pragma once

/// \file
/// "krtool config swatch": the ranges of a configuration file to look at.

#include <string>

namespace krtool {

class Output;

struct Swatch_Options {
    std::string file;
    std::string html; ///< where the page goes; empty: none
    std::string png;  ///< where the picture goes; empty: none
};

/// The exit code. Throws Failure.
int show_swatches(Output& out, const Swatch_Options& options);

} // namespace krtool
