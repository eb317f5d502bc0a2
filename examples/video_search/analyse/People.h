#pragma once

/// \file
/// Tells how much a region looks like a standing or walking person.
///
/// OpenCV's detector of people (histograms of oriented gradients and a linear classifier) works on
/// windows of 64 x 128 pixels with a person of about 96 pixels in them. The region is cut out with
/// a margin and scaled to that, which is much cheaper than a search through whole pictures and also
/// finds people who are small.
///
/// Threads: one at a time.

#include <opencv2/objdetect.hpp>

namespace video_search {

class People {
public:
    People();

    /// 0 (no person) to 1 (surely a person), 0.5 where the classifier is undecided.
    ///
    /// frame  8 bits per channel, colour
    /// box    of the object, within the frame
    double score(const cv::Mat& frame, const cv::Rect& box) const;

private:
    cv::HOGDescriptor detector_;
};

} // namespace video_search
