#pragma once

/// \file
/// A short recording whose truth is known: coloured boxes that move over a grey textured scene,
/// well apart from each other in space or in time. The first second is empty.
///
/// Threads: no state.

#include "Recorder.h"

#include <krsoap/krsoap.h>

#include <opencv2/core/types.hpp>

#include <string>
#include <vector>

namespace clip {

constexpr int width = 320; // pixels
constexpr int height = 240;
constexpr int fps = 10;
constexpr int frames = 130;

/// A box of one colour. Frames are counted from 0; it is there from the first to the last.
struct Actor {
    ns__ColorPreset colour;
    cv::Vec3b bgr;
    ns__ObjectClass object_class;
    int first;
    int last;
    cv::Rect start;
    cv::Point step; ///< per frame

    cv::Rect box_at(int frame) const { return start + step * (frame - first); }
};

/// In the order in which they appear.
const std::vector<Actor>& actors();

/// Writes the recording, without loss, as often one after the other as said. Throws
/// std::runtime_error where it cannot be written.
void write(const std::string& path, int times = 1);

/// The same in another way; the size and the rate stay the clip's.
void write(const std::string& path, const Recorder_Settings& settings, int times = 1);

} // namespace clip
