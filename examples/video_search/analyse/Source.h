#pragma once

/// \file
/// Where pictures come from: a recording (Video) or a camera (Camera).
///
/// Threads: one at a time, but stop() and is_stopped() may be called from any. Failure: Failure (Host.h).

#include <ace/Time_Value.h>

#include <opencv2/core/mat.hpp>

#include <atomic>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace video_search {

/// A picture and when it was taken.
struct Frame {
    cv::Mat picture; ///< 8 bits per channel in the order blue, green, red; empty: there is none
    ACE_Time_Value time;
};

class Source {
public:
    explicit Source(std::string name) : name_(std::move(name)) {}
    virtual ~Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// As the user gave it.
    const std::string& name() const noexcept { return name_; }

    /// Makes it ready, so that the rest may be asked. False when it was stopped before.
    virtual bool open() = 0;

    virtual cv::Size size() const = 0;            ///< pixels; of each picture
    virtual double fps() const = 0;               ///< pictures per second, on the average
    virtual std::optional<int> count() const = 0; ///< how many pictures there are, when known
    virtual ACE_Time_Value start() const = 0;     ///< time of the first picture
    virtual bool is_live() const noexcept = 0;    ///< a camera, which has no end

    /// Pictures from which the empty scene is learnt before the analysis, at least one; none when
    /// it was stopped.
    ///
    /// size  what they are scaled to
    virtual std::vector<cv::Mat> sample_scene(cv::Size size) = 0;

    /// The next picture, valid until the next call; an empty one at the end, or when stopped.
    virtual Frame next() = 0;

    /// Passes over one picture, at less cost. False at the end, or when stopped.
    virtual bool skip() = 0;

    /// Pictures that were given or passed over.
    int position() const noexcept { return position_; }

    /// The time after the last picture that was given or passed over.
    virtual ACE_Time_Value end() const = 0;

    /// What is missing at the end of a recording that was cut short, like "78 of 130 frames";
    /// nothing before the end, and of one that is whole.
    virtual std::optional<std::string> shortfall() const = 0;

    /// Whether the end was reached.
    virtual bool is_at_end() const noexcept = 0;

    /// Whether it is a camera that gives no pictures now. May be called from any thread.
    virtual bool is_away() const noexcept { return false; }

    /// Ends all waiting, now and later.
    void stop() noexcept { is_stopped_ = true; }
    bool is_stopped() const noexcept { return is_stopped_; }

protected:
    int position_ = 0;

private:
    const std::string name_;
    std::atomic<bool> is_stopped_{false};
};

} // namespace video_search
