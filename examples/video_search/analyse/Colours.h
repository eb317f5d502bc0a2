#pragma once

/// \file
/// The main colours of an object. Threads: may be called from any at once. The same pixels give the
/// same colours.

#include <krsoap/krsoap.h>

#include <opencv2/core/mat.hpp>

#include <vector>

namespace video_search {

/// How many colours main_colours() gives at most.
constexpr int most_colours = 4;

/// At most four colours, the largest first, with their areas in whole percent of the object's
/// pixels. Like colours are one, and what covers less than 5 % is left out. Nothing for an object
/// without pixels.
///
/// picture  the region of the object; 8 bits per channel, blue, green, red
/// mask     of the same size; not 0 where the object is
std::vector<ns__RgbColorArea> main_colours(const cv::Mat& picture, const cv::Mat& mask);

} // namespace video_search
