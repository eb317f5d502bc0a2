#pragma once

/// \file
/// Small pictures: the best view of an object, and the scene for a time line.
///
/// Threads: one at a time. Failure: Failure (Host.h) where a picture cannot be encoded.

#include "../store/Object_Store.h"

#include <opencv2/core/mat.hpp>

namespace video_search {

/// A picture as JPEG.
Bytes to_jpeg(const cv::Mat& picture);

/// A picture as JPEG, made smaller where it is wider than so many pixels.
Bytes to_jpeg(const cv::Mat& picture, int width);

/// Keeps the best view of an object.
class Thumbnail {
public:
    /// Offers a view.
    ///
    /// box    of the object in the picture; it is shown with a small margin
    /// looks  how well the object can be seen, about 0 to 1: recognised, and alone in its box. A
    ///        view in which the object is cut off by the picture's border counts 1 less; a larger
    ///        one somewhat more
    void offer(const cv::Mat& frame, const cv::Rect& box, double looks);

    /// The best view as JPEG, about 160 pixels high, but enlarged three times at most. Empty when
    /// none was offered.
    Bytes jpeg() const;

private:
    cv::Mat best_;
    double quality_ = 0.0;
};

} // namespace video_search
