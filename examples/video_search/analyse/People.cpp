#include "People.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace video_search {

namespace {

constexpr int window_width = 64; // pixels
constexpr int window_height = 128;
constexpr int stride = 8;
constexpr int play = 2 * stride; // room around the window in which it is moved

// Height of the object in the scaled cutting-out. The box may be somewhat too high or too low.
constexpr std::array<double, 3> heights = {84, 96, 108};

// The object in the middle, scaled to the height. Outside of the frame its border is repeated.
cv::Mat cut_out(const cv::Mat& frame, const cv::Rect& box, double height)
{
    const cv::Size size(window_width + 2 * play, window_height + 2 * play);
    const double scale = height / box.height;
    const double left = box.x + box.width / 2.0 - size.width / 2.0 / scale;
    const double top = box.y + box.height / 2.0 - size.height / 2.0 / scale;
    const cv::Matx23d map(1 / scale, 0, left, 0, 1 / scale, top);
    cv::Mat cut;
    cv::warpAffine(frame, cut, map, size, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    return cut;
}

double to_score(double distance)
{
    constexpr double steepness = 2.0;
    constexpr double undecided = 0.0;
    return 1.0 / (1.0 + std::exp(-steepness * (distance - undecided)));
}

} // namespace

People::People() : detector_({window_width, window_height}, {16, 16}, {stride, stride}, {8, 8}, 9)
{
    detector_.setSVMDetector(cv::HOGDescriptor::getDefaultPeopleDetector());
}

double People::score(const cv::Mat& frame, const cv::Rect& box) const
{
    constexpr double everything = -100.0; // the threshold of a hit: all windows are reported
    if (box.empty())
        return 0.0;
    double best = everything;
    for (const double height : heights) {
        std::vector<cv::Point> places;
        std::vector<double> distances;
        detector_.detect(cut_out(frame, box, height), places, distances, everything,
                         {stride, stride});
        for (const double distance : distances)
            best = std::max(best, distance);
    }
    return to_score(best);
}

} // namespace video_search
