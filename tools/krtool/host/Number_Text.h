#pragma once

/// \file
/// Numbers as texts. Threads: no state.

#include <string>

namespace krtool {

/// The shortest decimal that is read as this number again: "0.875", "1e+20", "-0", "nan",
/// "-inf".
[[nodiscard]] std::string number_text(float number);

} // namespace krtool
