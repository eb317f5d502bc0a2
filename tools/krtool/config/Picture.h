#pragma once

/// \file
/// The ranges of a configuration file as a picture.

#include "Configuration_File.h"
#include "Coverage.h"

#include <string>

namespace krtool {

/// A PNG file: the palette, slices through all colours, and per colour its region over hue and
/// saturation and over hue and value. Hatched is what has several names, chequered what has none.
std::string picture_of(const Configuration_File& file, const Coverage& coverage);

} // namespace krtool
