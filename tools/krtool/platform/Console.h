#pragma once

/// \file
/// What differs between the systems about a program's standard streams. Threads: no state.

#include <cstdio>

namespace krtool {

/// Whether somebody looks at it: a terminal that takes colours.
[[nodiscard]] bool is_terminal(std::FILE* stream) noexcept;

/// Lets the bytes through as they are, line ends included.
void make_binary(std::FILE* stream) noexcept;

} // namespace krtool
