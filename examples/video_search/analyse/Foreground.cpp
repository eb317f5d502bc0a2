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
double rate_for(double seconds)
{
    constexpr double most = 1.0; // after a gap nothing is learnt at once
    return -std::log(background_share) * std::min(seconds, most) / seconds_until_scene;
}

cv::Mat median_over_time(const std::vector<cv::Mat>& frames)
{
    cv::Mat median(frames.front().size(), frames.front().type());
    const std::size_t bytes_per_row =
        static_cast<std::size_t>(frames.front().cols) * frames.front().elemSize();
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

// The sample with everything that differs from the scene replaced by the scene: what differs much,
// and what differs less but is no noise, since it is as wide as an object.
//
// wide  pixels
cv::Mat without_objects(const cv::Mat& sample, const cv::Mat& scene, int wide)
{
    constexpr double much = 30.0; // of 255
    constexpr double little = 10.0;
    cv::Mat difference;
    cv::absdiff(sample, scene, difference);
    cv::Mat is_scene;
    cv::inRange(difference, cv::Scalar::all(0), cv::Scalar::all(much), is_scene);
    cv::Mat object;
    cv::inRange(difference, cv::Scalar::all(0), cv::Scalar::all(little), object);
    cv::bitwise_not(object, object);
    const cv::Mat body = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(wide, wide));
    cv::morphologyEx(object, object, cv::MORPH_OPEN, body);
    is_scene.setTo(0, object);
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

Foreground::Foreground(cv::Size size, const std::vector<cv::Mat>& samples, double min_area)
    : size_(size), small_(working_size(size)), min_area_(min_area * small_.area()),
      unit_(std::max(1, cvRound(small_.height / 192.0))),
      model_(cv::createBackgroundSubtractorMOG2(history, 16.0, true))
{
    model_->setBackgroundRatio(background_share);
    learn(samples);
}

void Foreground::learn(const std::vector<cv::Mat>& samples)
{
    constexpr double rate_of_samples = 0.02; // enough to learn how much each pixel flickers
    const cv::Mat scene = median_over_time(samples);
    cv::cvtColor(scene, scene_, cv::COLOR_BGR2GRAY);
    cv::Mat mask;
    model_->apply(scene, mask, 1.0);
    for (const cv::Mat& sample : samples)
        model_->apply(without_objects(sample, scene, 4 * unit_), mask, rate_of_samples);
}

cv::Mat Foreground::moving_pixels(const cv::Mat& frame, double seconds)
{
    constexpr double seconds_per_scene = 10.0;
    cv::Mat all;
    model_->apply(frame, all, rate_for(seconds));
    scene_seconds_ += seconds;
    if (scene_seconds_ >= seconds_per_scene) {
        scene_seconds_ = 0;
        cv::Mat scene;
        model_->getBackgroundImage(scene);
        cv::cvtColor(scene, scene_, cv::COLOR_BGR2GRAY);
    }
    cv::Mat mask;
    cv::threshold(all, mask, 200, 255, cv::THRESH_BINARY); // shadows are 127
    clean(mask);
    cv::Mat shade;
    cv::inRange(all, 127, 127, shade);
    if (cv::countNonZero(shade) >= min_area_)
        add_dark_objects(frame, shade, mask);
    return mask;
}

// Takes out what is too small to be seen, and closes the gaps in a body.
void Foreground::clean(cv::Mat& mask) const
{
    const cv::Mat grain = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(unit_, unit_));
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, grain);
    const cv::Mat rope = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(1, 2 * unit_ + 1));
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, rope); // takes out thin swaying lines
    const cv::Mat body =
        cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * unit_ - 1, 4 * unit_ - 1));
    cv::morphologyEx(mask, mask, cv::MORPH_CLOSE, body);
}

// Puts those pieces of the shade that are no shadows into the mask.
void Foreground::add_dark_objects(const cv::Mat& frame, cv::Mat& shade, cv::Mat& mask)
{
    clean(shade);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(shade, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    const cv::Mat lit = mask.clone();
    for (std::size_t i = 0; i < contours.size(); ++i) {
        const cv::Rect box = cv::boundingRect(contours[i]);
        if (box.area() < min_area_)
            continue;
        cv::Mat piece = cv::Mat::zeros(box.size(), CV_8U);
        cv::drawContours(piece, contours, static_cast<int>(i), 255, cv::FILLED, cv::LINE_8,
                         cv::noArray(), 0, -box.tl());
        cv::bitwise_and(piece, shade(box), piece);
        if (cv::countNonZero(piece) >= min_area_ && !is_shadow(frame, lit, piece, box))
            mask(box).setTo(255, piece);
    }
}

namespace {

constexpr int edge = 2; // pixels on each side of it

// How much darker the inner side of the edge is than the outer one, as a share of how dark the whole
// is: 1 for a sharp edge.
double sharpness(const cv::Mat& darkness, const cv::Mat& piece, const cv::Mat& outside)
{
    cv::Mat inside;
    cv::erode(piece, inside, cv::Mat(), cv::Point(-1, -1), edge, cv::BORDER_CONSTANT, 0);
    cv::subtract(piece, inside, inside);
    const double whole = cv::mean(darkness, piece)[0];
    const double step = cv::mean(darkness, inside)[0] - cv::mean(darkness, outside)[0];
    return whole > 0 ? step / whole : 0.0;
}

cv::Mat grown(const cv::Mat& mask, int pixels)
{
    cv::Mat larger;
    cv::dilate(mask, larger, cv::Mat(), cv::Point(-1, -1), pixels);
    return larger;
}

} // namespace

// A shadow hangs on what casts it and has a soft edge. What hangs on nothing is taken for an object
// unless its edge is soft; what hangs on something, like trousers on a coat, only where its edge,
// as far as it is open, is very sharp.
bool Foreground::is_shadow(const cv::Mat& frame, const cv::Mat& lit, const cv::Mat& piece,
                           const cv::Rect& box) const
{
    constexpr double sharp_alone = 0.75;
    constexpr double sharp_beside = 0.95;
    constexpr double least_open = 4.0; // of the edge, in roots of the area; a square's is 8
    const int margin = 2 * unit_;
    const cv::Rect near =
        cv::Rect(box.x - margin, box.y - margin, box.width + 2 * margin, box.height + 2 * margin) &
        cv::Rect(cv::Point(), small_);
    cv::Mat shade = cv::Mat::zeros(near.size(), CV_8U);
    piece.copyTo(shade(box - near.tl()));
    cv::Mat outside = grown(shade, edge);
    outside.setTo(0, shade);
    outside.setTo(0, grown(lit(near), edge + 1));
    cv::Mat grey;
    cv::cvtColor(frame(near), grey, cv::COLOR_BGR2GRAY);
    cv::Mat darkness;
    cv::subtract(scene_(near), grey, darkness, cv::noArray(), CV_32F);
    cv::Mat touched;
    cv::bitwise_and(grown(shade, margin), lit(near), touched);
    if (cv::countNonZero(touched) < margin)
        return sharpness(darkness, shade, outside) < sharp_alone;
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(darkness, mean, deviation, shade);
    return cv::countNonZero(outside) < least_open * std::sqrt(cv::countNonZero(piece)) ||
           deviation[0] > mean[0] / 2 || sharpness(darkness, shade, outside) < sharp_beside;
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

std::vector<Blob> Foreground::find(const cv::Mat& frame, double seconds)
{
    cv::Mat small = frame;
    if (small_ != size_)
        cv::resize(frame, small, small_, 0, 0, cv::INTER_AREA);
    const cv::Mat mask = moving_pixels(small, seconds);
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
