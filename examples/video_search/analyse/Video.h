#pragma once

/// \file
/// A video file as a row of pictures.
///
/// Only regular files are opened: no camera, no address, no numbered row of pictures. What the
/// decoder would print about a file on stderr is silenced for the whole process.
///
/// Threads: one at a time. Failure: throws Failure (Host.h) as said below.

#include <opencv2/core/mat.hpp>
#include <opencv2/videoio.hpp>

#include <optional>
#include <string>
#include <vector>

namespace video_search {

class Video {
public:
    /// Opens a file and decodes its first picture, so that what cannot be read is known at once:
    /// Failure "no such file: X" or "X is no video that can be read".
    explicit Video(const std::string& path);

    const std::string& path() const noexcept { return path_; }
    cv::Size size() const { return first_.size(); } ///< pixels

    /// Pictures per second; 25 when the file says nothing between 0.1 and 1000.
    double fps() const noexcept { return fps_; }

    /// How many pictures the file says that it holds. Some formats do not say it.
    std::optional<int> count() const noexcept { return count_; }

    /// The next picture, 8 bits per channel in the order blue, green, red; an empty one at the end.
    /// It is valid until the next call. A picture of another size than the first is scaled to it.
    cv::Mat next();

    /// Passes over one picture, at less cost. False at the end.
    bool skip();

    /// Pictures that were given or passed over.
    int position() const noexcept { return position_; }

    /// Whether the end of the file was reached.
    bool is_at_end() const noexcept { return is_at_end_; }

    /// Whether the end came clearly earlier than the file says: more than 2 % and more than three
    /// pictures are missing. Some writers count a few that they did not write.
    bool is_truncated() const noexcept;

private:
    const std::string path_;
    cv::VideoCapture capture_;
    cv::Mat first_; // decoded by the constructor
    cv::Mat frame_;
    double fps_ = 0.0;
    std::optional<int> count_;
    int position_ = 0;
    bool is_at_end_ = false;
};

/// Pictures from the begin of a file: one each second of the first minute, of a short file more
/// often. From them the empty scene is learnt before the analysis begins. Failure as above.
///
/// size  what they are scaled to
std::vector<cv::Mat> sample_scene(const std::string& path, cv::Size size);

} // namespace video_search
