#pragma once

/// \file
/// Writes video files whose frames have any times, for tests.
///
/// Threads: one at a time. Failure: std::runtime_error.

#include <opencv2/core/mat.hpp>

#include <chrono>
#include <memory>
#include <string>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVStream;
struct SwsContext;

namespace clip {

struct Recorder_Settings {
    cv::Size size;
    int fps = 10;              ///< of an AVI file, whose frames have no times of their own
    std::string codec;         ///< "ffv1" (without loss), "mpeg4", "mjpeg"; empty: "ffv1"
    std::string creation_time; ///< like "2024-03-05T07:08:09.000000Z"; empty: none
    int rotation = 0;          ///< degrees by which a player turns it clockwise
    bool is_grey = false;      ///< one channel; with "ffv1" alone
};

class Recorder {
public:
    /// The ending of the path chooses the container: ".avi", ".mkv", ".mp4", ".ts".
    Recorder(const std::string& path, const Recorder_Settings& settings);
    /// Ends the file where finish() was not called.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// picture  8 bits, blue, green and red, of the size
    /// time     after that of the picture before
    void write(const cv::Mat& picture, std::chrono::microseconds time);

    /// Writes what is left and closes the file.
    void finish();

private:
    void encode(const AVFrame* frame);

    AVFormatContext* format_ = nullptr;
    AVCodecContext* codec_ = nullptr;
    AVFrame* frame_ = nullptr;
    SwsContext* scaler_ = nullptr;
    AVStream* stream_ = nullptr;
};

} // namespace clip
