#include "Video.h"

#include "../host/Host.h"

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>

#include <ace/OS_NS_stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace video_search {

namespace {

// The decoder reads its level when it opens the first file; -8 lets nothing through.
void silence_decoder()
{
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    ACE_OS::setenv("OPENCV_FFMPEG_LOGLEVEL", "-8", 1);
}

void check_file(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        throw Failure("no such file: " + path);
    if (!std::filesystem::is_regular_file(status))
        throw Failure(path + " is no video that can be read");
}

// An absolute path cannot be taken for an address.
cv::VideoCapture open_file(const std::string& path)
{
    check_file(path);
    silence_decoder();
    return cv::VideoCapture(std::filesystem::absolute(path).string(), cv::CAP_FFMPEG);
}

double sensible_fps(double fps)
{
    constexpr double fallback = 25.0;
    return fps >= 0.1 && fps <= 1000.0 ? fps : fallback; // NaN is not sensible either
}

std::optional<int> sensible_count(double count)
{
    constexpr double most = 1e9;
    if (count >= 1.0 && count <= most)
        return static_cast<int>(std::lround(count));
    return std::nullopt;
}

} // namespace

Video::Video(const std::string& path) : path_(path), capture_(open_file(path))
{
    if (!capture_.isOpened() || !capture_.read(first_) || first_.empty())
        throw Failure(path + " is no video that can be read");
    fps_ = sensible_fps(capture_.get(cv::CAP_PROP_FPS));
    count_ = sensible_count(capture_.get(cv::CAP_PROP_FRAME_COUNT));
}

cv::Mat Video::next()
{
    if (position_ == 0) {
        ++position_;
        return first_;
    }
    if (is_at_end_ || !capture_.read(frame_) || frame_.empty()) {
        is_at_end_ = true;
        return {};
    }
    ++position_;
    if (frame_.size() != first_.size())
        cv::resize(frame_, frame_, first_.size(), 0, 0, cv::INTER_AREA);
    return frame_;
}

bool Video::skip()
{
    is_at_end_ = is_at_end_ || (position_ > 0 && !capture_.grab());
    if (!is_at_end_)
        ++position_;
    return !is_at_end_;
}

bool Video::is_truncated() const noexcept
{
    if (!is_at_end_ || !count_)
        return false;
    const int missing = *count_ - position_;
    return missing > 3 && missing > *count_ / 50;
}

std::vector<cv::Mat> sample_scene(const std::string& path, cv::Size size)
{
    constexpr int most = 60;
    Video video(path);
    const int in_a_minute = static_cast<int>(60 * video.fps());
    const int frames = std::min(video.count().value_or(in_a_minute), in_a_minute);
    const int step = std::max(1, frames / most);
    std::vector<cv::Mat> samples;
    for (cv::Mat frame = video.next(); !frame.empty() && samples.size() < most;
         frame = video.next()) {
        cv::resize(frame, samples.emplace_back(), size, 0, 0, cv::INTER_AREA);
        for (int i = 1; i < step; ++i)
            video.skip();
    }
    return samples;
}

} // namespace video_search
