#pragma once

/// \file
/// Finds what does not belong to the empty scene.
///
/// The scene is learnt from sample pictures first: the median over time of each pixel, in which
/// what moves does not show. From then on a mixture of Gaussians per pixel follows slow changes of
/// light. What stands still for about 25 seconds becomes part of the scene.
///
/// What is as the scene but darker is a shadow or somebody dark: a shadow has a soft edge, and mostly
/// hangs on something that casts it.
///
/// Threads: one at a time. Failure: cv::Exception for pictures of different sizes.

#include <opencv2/core/mat.hpp>
#include <opencv2/video/background_segm.hpp>

#include <vector>

namespace video_search {

/// A connected region that differs from the scene.
struct Blob {
    cv::Rect box; ///< pixels of the picture
    cv::Mat mask; ///< of the box's size: 255 where the object is, else 0
};

class Foreground {
public:
    /// The size in which pictures of the given size are worked on: at most 960 pixels wide or high.
    static cv::Size working_size(cv::Size size);

    /// size      of the pictures that find() will be given
    /// samples   at least one picture of the working size, see sample_scene(); a single one is
    ///           taken for the scene
    /// min_area  least area of a blob, as a share of the picture's
    Foreground(cv::Size size, const std::vector<cv::Mat>& samples, double min_area);

    /// The blobs of the next picture, shadows taken out and pieces of one body put together; from
    /// top to bottom.
    ///
    /// seconds  since the picture before
    std::vector<Blob> find(const cv::Mat& frame, double seconds);

    /// The scene as it is known now, in the size of the pictures.
    cv::Mat background() const;

private:
    void learn(const std::vector<cv::Mat>& samples);
    cv::Mat moving_pixels(const cv::Mat& frame, double seconds);
    void clean(cv::Mat& mask) const;
    void add_dark_objects(const cv::Mat& frame, cv::Mat& shade, cv::Mat& mask);
    bool is_shadow(const cv::Mat& frame, const cv::Mat& mask, const cv::Mat& piece,
                   const cv::Rect& box) const;
    Blob make_blob(const cv::Mat& mask, const cv::Rect& box) const;

    const cv::Size size_;
    const cv::Size small_;  // the working size
    const double min_area_; // pixels of the working size
    const int unit_;        // length that grows with the working size; 3 pixels in 576 lines
    cv::Ptr<cv::BackgroundSubtractorMOG2> model_;
    cv::Mat scene_;            // grey, as it was not long ago
    double scene_seconds_ = 0; // since then
};

} // namespace video_search
