#include "Thumbnail.h"

#include "../host/Host.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace video_search {

namespace {

constexpr int height_of_thumbnail = 160; // pixels
constexpr int most_width_of_thumbnail = 320;
constexpr double most_enlarged = 3.0;

bool touches_border(const cv::Rect& box, cv::Size frame)
{
    return box.x <= 1 || box.y <= 1 || box.br().x >= frame.width - 1 ||
           box.br().y >= frame.height - 1;
}

double quality_of(const cv::Rect& box, cv::Size frame, double looks)
{
    const double size = std::min(1.0, static_cast<double>(box.height) / height_of_thumbnail);
    return looks + 0.5 * size - (touches_border(box, frame) ? 1.0 : 0.0);
}

cv::Rect with_margin(const cv::Rect& box, cv::Size frame)
{
    const int margin = 3 + box.height / 12;
    const cv::Rect larger(box.x - margin, box.y - margin, box.width + 2 * margin,
                          box.height + 2 * margin);
    return larger & cv::Rect(cv::Point(), frame);
}

} // namespace

Bytes to_jpeg(const cv::Mat& picture)
{
    Bytes bytes;
    if (!cv::imencode(".jpg", picture, bytes, {cv::IMWRITE_JPEG_QUALITY, 88}))
        throw Failure("a picture cannot be encoded as JPEG");
    return bytes;
}

Bytes to_jpeg(const cv::Mat& picture, int width)
{
    if (picture.cols <= width)
        return to_jpeg(picture);
    cv::Mat small;
    cv::resize(picture, small, {width, std::max(1, picture.rows * width / picture.cols)}, 0, 0,
               cv::INTER_AREA);
    return to_jpeg(small);
}

void Thumbnail::offer(const cv::Mat& frame, const cv::Rect& box, double looks)
{
    if (box.empty())
        return;
    const double quality = quality_of(box, frame.size(), looks);
    if (!best_.empty() && quality <= quality_)
        return;
    best_ = frame(with_margin(box, frame.size())).clone();
    quality_ = quality;
}

Bytes Thumbnail::jpeg() const
{
    if (best_.empty())
        return {};
    const double scale =
        std::min({static_cast<double>(height_of_thumbnail) / best_.rows,
                  static_cast<double>(most_width_of_thumbnail) / best_.cols, most_enlarged});
    const cv::Size size(std::max(1, cvRound(best_.cols * scale)),
                        std::max(1, cvRound(best_.rows * scale)));
    cv::Mat scaled;
    cv::resize(best_, scaled, size, 0, 0, scale < 1.0 ? cv::INTER_AREA : cv::INTER_CUBIC);
    return to_jpeg(scaled);
}

} // namespace video_search
