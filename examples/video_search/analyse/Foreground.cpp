#include "Foreground.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace video_search {

namespace {

constexpr int longest_side = 960; // pixels; larger pictures are scaled down
constexpr double seconds_until_scene = 25.0;
constexpr double background_share = 0.9; // of a pixel's weight; the model's own default
constexpr int history = 500;             // pictures; only sets the model's default rate

// A new value of a pixel belongs to the scene when the others' weight has sunk to the background's
// share: (1 - rate) ^ pictures = share.
double rate_for(double fps)
{
    return -std::log(background_share) / std::max(1.0, seconds_until_scene * fps);
}

cv::Mat median_over_time(const std::vector<cv::Mat>& frames)
{
    cv::Mat median(frames.front().size(), frames.front().type());
    const std::size_t bytes_per_row = frames.front().cols * frames.front().elemSize();
    std::vector<unsigned char> values(frames.size());
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    for (int y = 0; y < median.rows; ++y)
        for (std::size_t x = 0; x < bytes_per_row; ++x) {
            for (std::size_t i = 0; i < frames.size(); ++i)
                values[i] = frames[i].ptr(y)[x];
            std::nth_element(values.begin(), middle, values.end());
            median.ptr(y)[x] = *middle;
        }
    return median;
}

// The sample with everything that differs much from the scene replaced by the scene.
cv::Mat without_objects(const cv::Mat& sample, const cv::Mat& scene)
{
    constexpr double noise = 30.0; // of 255
    cv::Mat difference;
    cv::absdiff(sample, scene, difference);
    cv::Mat is_scene;
    cv::inRange(difference, cv::Scalar::all(0), cv::Scalar::all(noise), is_scene);
    cv::Mat cleaned = scene.clone();
    sample.copyTo(cleaned, is_scene);
    return cleaned;
}

int overlap(int from1, int to1, int from2, int to2)
{
    return std::min(to1, to2) - std::max(from1, from2);
}

// Whether one box stands on the other like the head or the feet on the rest of a body. Of two
// boxes of like height each is a body of its own.
bool are_pieces_of_one(const cv::Rect& a, const cv::Rect& b, int gap)
{
    const int narrow = std::min(a.width, b.width);
    const int wide = std::max(a.width, b.width);
    const int low = std::min(a.height, b.height);
    const int high = std::max(a.height, b.height);
    return overlap(a.x, a.x + a.width, b.x, b.x + b.width) * 2 > narrow && wide < 4 * narrow &&
           overlap(a.y, a.y + a.height, b.y, b.y + b.height) > -gap && low * 10 < high * 7;
}

void merge_pieces(std::vector<cv::Rect>& boxes, int gap)
{
    for (std::size_t i = 0; i < boxes.size(); ++i)
        for (std::size_t j = i + 1; j < boxes.size();) {
            if (!are_pieces_of_one(boxes[i], boxes[j], gap)) {
                ++j;
                continue;
            }
            boxes[i] |= boxes[j];
            boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(j));
            j = i + 1; // the larger box may touch one that was passed over
        }
}

cv::Rect scaled(const cv::Rect& box, cv::Size from, cv::Size to)
{
    const double x = static_cast<double>(to.width) / from.width;
    const double y = static_cast<double>(to.height) / from.height;
    const cv::Point first(cvRound(box.x * x), cvRound(box.y * y));
    const cv::Point last(cvRound((box.x + box.width) * x), cvRound((box.y + box.height) * y));
    return cv::Rect(first, last) & cv::Rect(cv::Point(), to);
}

} // namespace

cv::Size Foreground::working_size(cv::Size size)
{
    const double scale = static_cast<double>(longest_side) / std::max(size.width, size.height);
    if (scale >= 1.0)
        return size;
    return {std::max(1, cvRound(size.width * scale)), std::max(1, cvRound(size.height * scale))};
}

Foreground::Foreground(cv::Size size, double fps, const std::vector<cv::Mat>& samples,
                       double min_area)
    : size_(size), small_(working_size(size)), learning_rate_(rate_for(fps)),
      min_area_(min_area * small_.area()), unit_(std::max(1, cvRound(small_.height / 192.0))),
      model_(cv::createBackgroundSubtractorMOG2(history, 16.0, true))
{
    model_->setBackgroundRatio(background_share);
    learn(samples);
}

void Foreground::learn(const std::vector<cv::Mat>& samples)
{
    constexpr double rate_of_samples = 0.02; // enough to learn how much each pixel flickers
    const cv::Mat scene = median_over_time(samples);
    cv::Mat mask;
    model_->apply(scene, mask, 1.0);
    for (const cv::Mat& sample : samples)
        model_->apply(without_objects(sample, scene), mask, rate_of_samples);
}

cv::Mat Foreground::moving_pixels(const cv::Mat& frame)
{
    cv::Mat mask;
    model_->apply(frame, mask, learning_rate_);
    cv::threshold(mask, mask, 200, 255, cv::THRESH_BINARY); // shadows are 127
    const cv::Mat grain = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(unit_, unit_));
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, grain);
    const cv::Mat rope = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(1, 2 * unit_ + 1));
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, rope); // takes out thin swaying lines
    const cv::Mat body =
        cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * unit_ - 1, 4 * unit_ - 1));
    cv::morphologyEx(mask, mask, cv::MORPH_CLOSE, body);
    return mask;
}

Blob Foreground::make_blob(const cv::Mat& mask, const cv::Rect& box) const
{
    if (small_ == size_)
        return {box, mask(box).clone()};
    Blob blob;
    blob.box = scaled(box, small_, size_);
    cv::resize(mask(box), blob.mask, blob.box.size(), 0, 0, cv::INTER_NEAREST);
    return blob;
}

std::vector<Blob> Foreground::find(const cv::Mat& frame)
{
    cv::Mat small = frame;
    if (small_ != size_)
        cv::resize(frame, small, small_, 0, 0, cv::INTER_AREA);
    const cv::Mat mask = moving_pixels(small);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);

    const double least_piece = min_area_ / 8;
    std::vector<cv::Rect> boxes;
    for (const auto& contour : contours)
        if (cv::Rect box = cv::boundingRect(contour); box.area() >= least_piece)
            boxes.push_back(box);
    merge_pieces(boxes, 2 * unit_);

    std::vector<Blob> blobs;
    for (const cv::Rect& box : boxes)
        if (cv::countNonZero(mask(box)) >= min_area_)
            blobs.push_back(make_blob(mask, box));
    std::sort(blobs.begin(), blobs.end(), [](const Blob& a, const Blob& b) {
        return std::array{a.box.y, a.box.x, a.box.width} <
               std::array{b.box.y, b.box.x, b.box.width};
    });
    return blobs;
}

cv::Mat Foreground::background() const
{
    cv::Mat scene;
    model_->getBackgroundImage(scene);
    if (scene.size() != size_)
        cv::resize(scene, scene, size_, 0, 0, cv::INTER_CUBIC);
    return scene;
}

} // namespace video_search
