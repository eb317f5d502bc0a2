#pragma once

/// \file
/// A camera, or whatever else sends a video without end to an address: "rtsp://...", "http://...",
/// "udp://..." and all that libavformat knows.
///
/// A connection that ends, breaks or is silent for too long is made anew, again and again, with
/// pauses of half a second to half a minute. The log tells of each.
///
/// Times are the system's: the first picture that a connection had to wait for is taken to be of the
/// moment at which it comes, the others follow it by the stream's own times. What comes before, held
/// back while the connection was made, is passed over. Where the stream's times drift from the
/// system's by two seconds they are set again. Pictures that come faster than they are analysed are
/// passed over once they are two seconds late.

#include "Decoder.h"
#include "Source.h"

#include <chrono>
#include <memory>

namespace video_search {

class Camera final : public Source {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// Does not connect yet. Failure for an address of a kind that is not known. A password in it is
    /// neither in the name nor in any message.
    ///
    /// stall  longest silence
    /// learn  how long pictures of the empty scene are gathered, during which nothing is analysed
    Camera(const std::string& address, Milliseconds stall,
           Milliseconds learn = std::chrono::seconds(10));

    /// Connects, as often as it takes.
    bool open() override;

    cv::Size size() const override { return size_; }
    /// What the camera says, from sample_scene() on what was counted.
    double fps() const override { return fps_; }
    std::optional<int> count() const override { return std::nullopt; }
    ACE_Time_Value start() const override { return start_; }
    bool is_live() const noexcept override { return true; }
    /// The next pictures, four in a second.
    std::vector<cv::Mat> sample_scene(cv::Size size) override;
    Frame next() override;
    bool skip() override;
    ACE_Time_Value end() const override;
    std::optional<std::string> shortfall() const override { return std::nullopt; }
    bool is_at_end() const noexcept override { return false; }
    bool is_away() const noexcept override { return is_away_; }

private:
    bool advance();
    bool connect();
    bool try_to_connect();
    void disconnect();
    bool wait(Milliseconds time) const;
    bool is_in_time();
    void tell_late();
    cv::Mat picture();

    const std::string address_;
    const Milliseconds stall_;
    const Milliseconds learn_;
    std::unique_ptr<Decoder> decoder_; // while connected
    std::atomic<bool> is_away_{true};
    cv::Mat resized_;
    cv::Size size_;
    double fps_ = 0.0;
    ACE_Time_Value start_;
    ACE_Time_Value anchor_; // the time at which the decoder's is 0
    ACE_Time_Value time_;   // of the picture
    bool has_anchor_ = false;
    int late_ = 0; // pictures that were passed over in a row
};

} // namespace video_search
