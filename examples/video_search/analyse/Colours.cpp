#include "Colours.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace video_search {

namespace {

constexpr int most_pixels = 400; // looked at; evenly spread over the object
constexpr float like = 40.0F;    // distance in the cube of 256 x 256 x 256
constexpr int least_percent = 5;

// A colour and how many of the pixels have it.
struct Share {
    cv::Vec3f sum; // blue, green, red
    int pixels = 0;

    cv::Vec3f mean() const { return sum / static_cast<float>(pixels); }
};

// The edge of a mask holds pixels of the scene. It is taken off where enough is left.
cv::Mat inner(const cv::Mat& mask)
{
    cv::Mat eroded;
    cv::erode(mask, eroded, cv::Mat(), cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, 0);
    return cv::countNonZero(eroded) * 2 > cv::countNonZero(mask) ? eroded : mask;
}

// One row per pixel.
cv::Mat pixels_of(const cv::Mat& picture, const cv::Mat& mask)
{
    std::vector<cv::Point> places;
    cv::findNonZero(mask, places);
    const std::size_t step = std::max<std::size_t>(1, places.size() / most_pixels);
    cv::Mat pixels(0, 3, CV_32F);
    for (std::size_t i = 0; i < places.size(); i += step) {
        const cv::Vec3f colour = picture.at<cv::Vec3b>(places[i]);
        pixels.push_back(cv::Mat(colour).t());
    }
    return pixels;
}

std::vector<Share> cluster(const cv::Mat& pixels)
{
    const int count = std::min(most_colours, pixels.rows);
    cv::theRNG().state = 1; // the first centres are drawn
    cv::Mat labels;
    cv::kmeans(pixels, count, labels, {cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 10, 1.0}, 1,
               cv::KMEANS_PP_CENTERS);
    std::vector<Share> shares(static_cast<std::size_t>(count));
    for (int i = 0; i < pixels.rows; ++i) {
        Share& share = shares[static_cast<std::size_t>(labels.at<int>(i))];
        share.sum += cv::Vec3f(pixels.ptr<float>(i));
        ++share.pixels;
    }
    shares.erase(std::remove_if(shares.begin(), shares.end(),
                                [](const Share& share) { return share.pixels == 0; }),
                 shares.end());
    return shares;
}

void join_like(std::vector<Share>& shares)
{
    for (std::size_t i = 0; i < shares.size(); ++i)
        for (std::size_t j = i + 1; j < shares.size();) {
            if (cv::norm(shares[i].mean() - shares[j].mean()) >= like) {
                ++j;
                continue;
            }
            shares[i].sum += shares[j].sum;
            shares[i].pixels += shares[j].pixels;
            shares.erase(shares.begin() + static_cast<std::ptrdiff_t>(j));
            j = i + 1; // the mean has moved
        }
}

ns__RgbColorArea to_area(const Share& share, int pixels)
{
    const cv::Vec3f mean = share.mean();
    ns__RgbColorArea area;
    area.color.blue = cv::saturate_cast<std::uint8_t>(mean[0]);
    area.color.green = cv::saturate_cast<std::uint8_t>(mean[1]);
    area.color.red = cv::saturate_cast<std::uint8_t>(mean[2]);
    area.area = std::floor(100.0F * static_cast<float>(share.pixels) / static_cast<float>(pixels));
    return area;
}

} // namespace

std::vector<ns__RgbColorArea> main_colours(const cv::Mat& picture, const cv::Mat& mask)
{
    const cv::Mat pixels = pixels_of(picture, inner(mask));
    if (pixels.empty())
        return {};
    std::vector<Share> shares = cluster(pixels);
    join_like(shares);
    std::stable_sort(shares.begin(), shares.end(),
                     [](const Share& a, const Share& b) { return a.pixels > b.pixels; });
    std::vector<ns__RgbColorArea> colours;
    for (const Share& share : shares)
        if (share.pixels * 100 >= least_percent * pixels.rows)
            colours.push_back(to_area(share, pixels.rows));
    return colours;
}

} // namespace video_search
