#pragma once

/// \file
/// "krtool config diff": what another configuration file changes.

#include <string>

namespace krtool {

class Output;

struct Diff_Options {
    std::string old_file;
    std::string new_file;
    std::string html;   ///< where the page goes; empty: none
    std::string survey; ///< what people call colours; empty: not told
};

/// The exit code: `findings` when a colour is named otherwise. Throws Failure.
int compare_configurations(Output& out, const Diff_Options& options);

} // namespace krtool
