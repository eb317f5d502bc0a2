#pragma once

/// \file
/// A recording as a row of pictures: a video file, and no other thing.

#include "Decoder.h"
#include "Source.h"

namespace video_search {

class Video final : public Source {
public:
    /// Opens a file and decodes its first picture, so that what cannot be read is known at once:
    /// Failure "no such file: X" and those of Decoder.
    explicit Video(const std::string& path);

    /// Says when the recording begins, instead of what start() finds.
    void set_start(const ACE_Time_Value& start) { start_ = start; }

    bool open() override { return !is_stopped(); }
    cv::Size size() const override { return size_; }
    double fps() const override { return decoder_.fps(); }
    std::optional<int> count() const override;

    /// The creation time that the file holds; else the time at which it was last changed less its
    /// duration, when it was written while it was recorded. The epoch for a file whose time cannot
    /// be had or lies outside of 1970 to 2037.
    ACE_Time_Value start() const override { return start_; }
    bool is_live() const noexcept override { return false; }

    /// One picture each second of the first minute, of a short file more often.
    std::vector<cv::Mat> sample_scene(cv::Size size) override;

    Frame next() override;
    bool skip() override;
    ACE_Time_Value end() const override;
    bool is_at_end() const noexcept override { return is_at_end_; }

    /// The end came clearly earlier than the file says: more than 2 % and more than three pictures
    /// are missing. Some writers count a few that they did not write.
    std::optional<std::string> shortfall() const override;

private:
    bool advance();
    ACE_Time_Value find_start() const;
    std::optional<std::string> missing_frames(int said) const;
    std::optional<std::string> missing_seconds(Microseconds said) const;

    Decoder decoder_;
    cv::Size size_;
    ACE_Time_Value start_;
    Microseconds length_{0}; // until end()
    bool is_at_end_ = false;
};

} // namespace video_search
