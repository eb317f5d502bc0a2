#pragma once

/// \file
/// Decodes a video file or stream by libavformat and libavcodec, which know what a frame's time is,
/// when a recording was made and how its camera was held, and which can be interrupted.
///
/// What these libraries would print on stderr is silenced for the whole process. A decoder uses one
/// thread, the caller's, so that several beside each other share the processor evenly.
///
/// Threads: one at a time. Failure: throws Failure (Host.h) as said below.

#include <ace/Time_Value.h>

#include <opencv2/core/mat.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
struct SwsContext;

namespace video_search {

using Microseconds = std::chrono::microseconds;

/// How a decoder opens and waits.
struct Decoder_Settings {
    bool is_file = true;             ///< a path; no other file or address is opened on its behalf
    Microseconds patience{0};        ///< longest wait for a frame, and for the begin; 0 is for ever
    std::function<bool()> is_to_end; ///< asked while it waits: true ends the wait; may be empty
    std::string shown;               ///< what messages call the video; empty: by its name
};

class Decoder {
public:
    /// Whether addresses that begin with "kind:" can be read.
    static bool knows(const std::string& kind);

    /// Opens a video: Failure "X is no video that can be read", "X holds no video stream" or "X
    /// cannot be decoded: the codec is unknown (NAME)"; of a stream "X cannot be opened: WHY".
    ///
    /// name  a path, or an address
    Decoder(const std::string& name, const Decoder_Settings& settings);
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// Average number of frames per second; 25 when it is not said, or not between 0.01 and 1000.
    double fps() const noexcept { return fps_; }

    /// How many frames the header says that there are.
    std::optional<int> count() const noexcept { return count_; }

    /// How long the header says that the video takes.
    std::optional<Microseconds> duration() const noexcept { return duration_; }

    /// Whether there are other streams, sound for one, which may be longer than the video.
    bool has_other_streams() const noexcept { return has_other_streams_; }

    /// When the recording was made, as its container says: the creation time of the movie header of
    /// an MP4, the date of a Matroska file. From 1970 to 2037.
    std::optional<ACE_Time_Value> creation_time() const { return creation_time_; }

    /// Decodes the next frame; what is damaged is passed over. False at the end, be it that of the
    /// video or of the patience.
    bool grab();

    /// Goes to the key frame at `time` or before it, which the next grab() then gives; where there is
    /// no index, one near it, which may be later. After the first grab(), which tells where the video begins. False
    /// where the file cannot be searched or its frames have no times; it stands anywhere then.
    bool seek(Microseconds time);

    /// Whether time() is that of the frame: after a seek() it is unknown until a frame says it.
    bool has_time() const noexcept { return !is_lost_; }

    /// How long the last grab() waited for the file or the network.
    Microseconds waited() const noexcept { return waited_; }

    /// Why grab() came to an end: "", "it stalled" or what the library says.
    const std::string& end_reason() const noexcept { return end_reason_; }

    /// Time of the frame since the first one, rising from frame to frame. A frame without a time,
    /// or with one that is not after that of the frame before, is taken for the next at the average
    /// rate.
    Microseconds time() const noexcept { return time_; }

    /// Time from the frame to the one after it, as far as it is known.
    Microseconds interval() const noexcept { return interval_; }

    /// The frame that was grabbed: 8 bits per channel in the order blue, green, red, upright. Valid
    /// until the next call. A frame of another size than the first is scaled to that.
    cv::Mat picture();

private:
    struct Free {
        void operator()(AVFormatContext* format) const;
        void operator()(AVCodecContext* codec) const;
        void operator()(AVFrame* frame) const;
        void operator()(AVPacket* packet) const;
        void operator()(SwsContext* scaler) const;
    };
    template <class T>
    using Owner = std::unique_ptr<T, Free>;

    static int is_interrupted(void* self);
    void open(const std::string& name);
    void find_stream();
    void open_codec();
    void read_header();
    void be_patient();
    bool feed();
    void take_time();

    Decoder_Settings settings_;
    Owner<AVFormatContext> format_;
    Owner<AVCodecContext> codec_;
    Owner<AVPacket> packet_;
    Owner<AVFrame> frame_;
    Owner<AVFrame> converted_;
    Owner<SwsContext> scaler_;
    AVStream* stream_ = nullptr; // of format_
    cv::Mat upright_;
    int quarter_turns_ = 0; // clockwise
    double fps_ = 0.0;
    std::optional<int> count_;
    std::optional<Microseconds> duration_;
    std::optional<ACE_Time_Value> creation_time_;
    bool has_other_streams_ = false;
    bool is_first_ = true; // or the first after a seek
    bool is_lost_ = false;
    bool awaits_key_ = false;
    std::optional<Microseconds> origin_; // what the stream says where time_ is 0
    Microseconds time_{0};
    Microseconds interval_{0};
    std::chrono::steady_clock::time_point deadline_;
    Microseconds waited_{0};
    bool has_stalled_ = false;
    bool is_drained_ = false;
    std::string end_reason_;
};

} // namespace video_search
