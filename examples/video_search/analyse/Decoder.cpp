#include "Decoder.h"

#include "../host/Host.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/parseutils.h>
#include <libswscale/swscale.h>
}

#include <opencv2/core.hpp>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <limits>
#include <new>

namespace video_search {

namespace {

constexpr AVRational microsecond = {1, 1'000'000};

template <class T>
T* checked(T* made)
{
    if (made == nullptr)
        throw std::bad_alloc();
    return made;
}

std::string describe(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

// Options for the opening, freed when it is done.
class Options {
public:
    Options() = default;
    ~Options() { av_dict_free(&dictionary_); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void set(const char* name, const char* value) { av_dict_set(&dictionary_, name, value, 0); }
    AVDictionary** get() noexcept { return &dictionary_; }

private:
    AVDictionary* dictionary_ = nullptr;
};

double to_number(AVRational value)
{
    return value.den != 0 ? av_q2d(value) : 0.0;
}

double sensible_fps(double fps)
{
    constexpr double fallback = 25.0;
    return fps >= 0.01 && fps <= 1000.0 ? fps : fallback; // NaN is not sensible either
}

std::optional<int> sensible_count(std::int64_t count)
{
    constexpr std::int64_t most = 1'000'000'000;
    if (count >= 1 && count <= most)
        return static_cast<int>(count);
    return std::nullopt;
}

// Like "2024-03-05T07:08:09.000000Z", which is UTC.
std::optional<ACE_Time_Value> to_creation_time(const AVDictionaryEntry* entry)
{
    constexpr std::int64_t last = 2'145'916'800; // the begin of 2038
    std::int64_t time = 0;
    if (entry == nullptr || av_parse_time(&time, entry->value, 0) < 0)
        return std::nullopt;
    if (time <= 0 || time >= last * microsecond.den)
        return std::nullopt; // writers that know no time write 0
    return ACE_Time_Value(static_cast<time_t>(time / microsecond.den),
                          static_cast<suseconds_t>(time % microsecond.den));
}

int quarter_turns(const AVStream& stream)
{
    const std::uint8_t* const matrix =
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix == nullptr)
        return 0;
    const double angle = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
    if (std::isnan(angle))
        return 0;
    const int turns = static_cast<int>(std::lround(-angle / 90.0)) % 4; // it is anticlockwise
    return turns < 0 ? turns + 4 : turns;
}

} // namespace

void Decoder::Free::operator()(AVFormatContext* format) const
{
    avformat_close_input(&format);
}

void Decoder::Free::operator()(AVCodecContext* codec) const
{
    avcodec_free_context(&codec);
}

void Decoder::Free::operator()(AVFrame* frame) const
{
    av_frame_free(&frame);
}

void Decoder::Free::operator()(AVPacket* packet) const
{
    av_packet_free(&packet);
}

void Decoder::Free::operator()(SwsContext* scaler) const
{
    sws_freeContext(scaler);
}

// Some kinds of addresses are protocols that carry any format, others, like rtsp, are both.
bool Decoder::knows(const std::string& kind)
{
    return avio_find_protocol_name((kind + ':').c_str()) != nullptr ||
           av_find_input_format(kind.c_str()) != nullptr;
}

Decoder::Decoder(const std::string& name, const Decoder_Settings& settings)
    : settings_(settings), packet_(checked(av_packet_alloc())), frame_(checked(av_frame_alloc()))
{
    av_log_set_level(AV_LOG_QUIET);
    be_patient();
    if (settings_.shown.empty())
        settings_.shown = name;
    open(name);
    find_stream();
    open_codec();
    read_header();
}

Decoder::~Decoder() = default;

int Decoder::is_interrupted(void* self)
{
    Decoder& decoder = *static_cast<Decoder*>(self);
    const bool is_patient = decoder.settings_.patience == Microseconds(0);
    decoder.has_stalled_ = !is_patient && std::chrono::steady_clock::now() > decoder.deadline_;
    const auto& is_to_end = decoder.settings_.is_to_end;
    return decoder.has_stalled_ || (is_to_end && is_to_end()) ? 1 : 0;
}

void Decoder::be_patient()
{
    deadline_ = std::chrono::steady_clock::now() + settings_.patience;
}

// "file:" keeps a path from being taken for an address, and the list of protocols a playlist in it
// from leading elsewhere.
void Decoder::open(const std::string& name)
{
    AVFormatContext* format = checked(avformat_alloc_context());
    format->interrupt_callback = {&Decoder::is_interrupted, this};
    Options options;
    std::string url = name;
    if (settings_.is_file) {
        url = "file:" + std::filesystem::absolute(to_path(name)).string();
        options.set("protocol_whitelist", "file");
    } else {
        options.set("rtsp_transport", "tcp"); // others ignore it; packets that get lost would smear
        options.set("analyzeduration", "2000000"); // microseconds to find out what it is
    }
    const int result = avformat_open_input(&format, url.c_str(), nullptr, options.get());
    if (result < 0 && settings_.is_file) // the context is freed then
        throw Failure(settings_.shown + " is no video that can be read");
    if (result < 0)
        throw Failure(settings_.shown + " cannot be opened: " +
                      (has_stalled_ ? "there is no answer" : describe(result)));
    format_.reset(format);
}

void Decoder::find_stream()
{
    const int result = avformat_find_stream_info(format_.get(), nullptr);
    const int index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (result < 0 && !settings_.is_file)
        throw Failure(settings_.shown + " cannot be opened: " +
                      (has_stalled_ ? "there is no answer" : describe(result)));
    if (format_->nb_streams == 0) // what is left of a file whose index is cut off
        throw Failure(settings_.shown + " is no video that can be read");
    if (index >= 0)
        stream_ = format_->streams[index];
    // The picture on the cover of a piece of music is no video.
    if (stream_ == nullptr || (stream_->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
        throw Failure(settings_.shown + " holds no video stream");
    for (unsigned i = 0; i < format_->nb_streams; ++i)
        if (format_->streams[i] != stream_)
            format_->streams[i]->discard = AVDISCARD_ALL;
    has_other_streams_ = format_->nb_streams > 1;
}

void Decoder::open_codec()
{
    const AVCodecParameters& parameters = *stream_->codecpar;
    const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
    if (codec == nullptr)
        throw Failure(settings_.shown + " cannot be decoded: the codec is unknown (" +
                      avcodec_get_name(parameters.codec_id) + ")");
    codec_.reset(checked(avcodec_alloc_context3(codec)));
    avcodec_parameters_to_context(codec_.get(), &parameters);
    codec_->thread_count = 1;
    codec_->pkt_timebase = stream_->time_base;
    if (avcodec_open2(codec_.get(), codec, nullptr) < 0)
        throw Failure(settings_.shown + " is no video that can be read");
}

// A duration that was guessed from the number of bytes says nothing.
void Decoder::read_header()
{
    const double average = to_number(stream_->avg_frame_rate);
    const AVRational guess = av_guess_frame_rate(format_.get(), stream_, nullptr);
    fps_ = sensible_fps(average > 0.0 ? average : to_number(guess));
    interval_ = Microseconds(std::llround(microsecond.den / fps_));
    count_ = sensible_count(stream_->nb_frames);
    const bool is_guess = format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    if (!is_guess && stream_->duration != AV_NOPTS_VALUE && stream_->duration > 0)
        duration_ = Microseconds(av_rescale_q(stream_->duration, stream_->time_base, microsecond));
    else if (!is_guess && format_->duration != AV_NOPTS_VALUE && format_->duration > 0)
        duration_ = Microseconds(av_rescale(format_->duration, microsecond.den, AV_TIME_BASE));
    creation_time_ = to_creation_time(av_dict_get(format_->metadata, "creation_time", nullptr, 0));
    quarter_turns_ = quarter_turns(*stream_);
}

bool Decoder::grab()
{
    be_patient();
    waited_ = Microseconds(0);
    for (;;) {
        const int result = avcodec_receive_frame(codec_.get(), frame_.get());
        if (result == 0) {
            take_time();
            return true;
        }
        if (result == AVERROR_EOF || (is_drained_ && result != AVERROR(EAGAIN)))
            return false;
        if (!feed())
            return false;
    }
}

// Gives the codec the next packet of the video; after the last one it is drained. False when there
// is none because the wait was ended.
bool Decoder::feed()
{
    const auto begin = std::chrono::steady_clock::now();
    int result = AVERROR(EAGAIN);
    while (result == AVERROR(EAGAIN) && is_interrupted(this) == 0)
        result = av_read_frame(format_.get(), packet_.get());
    waited_ += std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - begin);
    if (result == 0) {
        const bool is_own = packet_->stream_index == stream_->index;
        if (is_own && (packet_->flags & AV_PKT_FLAG_KEY) != 0)
            awaits_key_ = false;
        if (is_own && !awaits_key_)
            avcodec_send_packet(codec_.get(), packet_.get()); // one that is damaged is passed over
        av_packet_unref(packet_.get());
        return true;
    }
    // A stream that was interrupted once stays so, whatever the present deadline is.
    if (is_drained_ || result == AVERROR_EXIT || is_interrupted(this) != 0) {
        end_reason_ = is_drained_ ? "" : "it stalled";
        return false;
    }
    end_reason_ = result == AVERROR_EOF ? "" : describe(result);
    is_drained_ = true;
    avcodec_send_packet(codec_.get(), nullptr);
    return true;
}

bool Decoder::seek(Microseconds time)
{
    if (!origin_)
        return false;
    const std::int64_t stamp =
        av_rescale_q_rnd((time + *origin_).count(), microsecond, stream_->time_base, AV_ROUND_DOWN);
    be_patient();
    if (av_seek_frame(format_.get(), stream_->index, stamp, AVSEEK_FLAG_BACKWARD) < 0)
        return false;
    avcodec_flush_buffers(codec_.get());
    is_drained_ = false;
    is_first_ = true;
    is_lost_ = true;
    awaits_key_ = true; // some containers lead to any frame
    return true;
}

void Decoder::take_time()
{
    const std::int64_t stamp = frame_->best_effort_timestamp;
    const Microseconds usual = is_first_ ? Microseconds(0) : time_ + interval_;
    if (stamp == AV_NOPTS_VALUE) {
        time_ = usual;
    } else {
        const Microseconds said(av_rescale_q(stamp, stream_->time_base, microsecond));
        if (!origin_)
            origin_ = said - usual;
        const Microseconds since = said - *origin_;
        time_ = is_first_ || since > time_ ? since : usual;
    }
    is_lost_ = is_lost_ && stamp == AV_NOPTS_VALUE;
    is_first_ = is_lost_;
    const Microseconds own(av_rescale_q(frame_->pkt_duration, stream_->time_base, microsecond));
    interval_ = own > Microseconds(0) ? own : Microseconds(std::llround(microsecond.den / fps_));
}

cv::Mat Decoder::picture()
{
    if (!converted_) {
        converted_.reset(checked(av_frame_alloc()));
        converted_->format = AV_PIX_FMT_BGR24;
        converted_->width = frame_->width;
        converted_->height = frame_->height;
        if (av_frame_get_buffer(converted_.get(), 0) < 0)
            throw std::bad_alloc();
    }
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame_->width, frame_->height,
                                       static_cast<AVPixelFormat>(frame_->format),
                                       converted_->width, converted_->height, AV_PIX_FMT_BGR24,
                                       SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler_)
        throw Failure("a frame cannot be converted to blue, green and red");
    sws_scale(scaler_.get(), frame_->data, frame_->linesize, 0, frame_->height, converted_->data,
              converted_->linesize);
    cv::Mat lying(converted_->height, converted_->width, CV_8UC3, converted_->data[0],
                  static_cast<std::size_t>(converted_->linesize[0]));
    constexpr cv::RotateFlags turns[] = {cv::ROTATE_90_CLOCKWISE, cv::ROTATE_180,
                                         cv::ROTATE_90_COUNTERCLOCKWISE};
    if (quarter_turns_ == 0)
        return lying;
    cv::rotate(lying, upright_, turns[quarter_turns_ - 1]);
    return upright_;
}

} // namespace video_search
