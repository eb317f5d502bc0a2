#include "Recorder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <stdexcept>

namespace clip {

namespace {

void check(int result, const char* what)
{
    if (result < 0)
        throw std::runtime_error(std::string("the video cannot be written: ") + what);
}

AVPixelFormat pixel_format(const AVCodec& codec, bool is_grey)
{
    if (codec.id == AV_CODEC_ID_FFV1)
        return is_grey ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_BGR0;
    return codec.id == AV_CODEC_ID_MJPEG ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
}

} // namespace

Recorder::Recorder(const std::string& path, const Recorder_Settings& settings)
{
    av_log_set_level(AV_LOG_QUIET);
    check(avformat_alloc_output_context2(&format_, nullptr, nullptr, path.c_str()), "container");
    const AVCodec* const codec =
        avcodec_find_encoder_by_name(settings.codec.empty() ? "ffv1" : settings.codec.c_str());
    if (codec == nullptr)
        throw std::runtime_error("there is no encoder " + settings.codec);
    codec_ = avcodec_alloc_context3(codec);
    codec_->width = settings.size.width;
    codec_->height = settings.size.height;
    codec_->pix_fmt = pixel_format(*codec, settings.is_grey);
    const bool is_avi = path.size() > 4 && path.substr(path.size() - 4) == ".avi";
    codec_->time_base = {1, is_avi ? settings.fps : 10'000};
    codec_->flags |= AV_CODEC_FLAG_QSCALE;
    codec_->global_quality = 2 * FF_QP2LAMBDA;
    codec_->thread_count = 1;
    if ((format_->oformat->flags & AVFMT_GLOBALHEADER) != 0)
        codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec_, codec, nullptr), "codec");
    stream_ = avformat_new_stream(format_, codec);
    stream_->time_base = codec_->time_base;
    avcodec_parameters_from_context(stream_->codecpar, codec_);
    if (settings.rotation != 0) {
        auto* const matrix = reinterpret_cast<std::int32_t*>(
            av_stream_new_side_data(stream_, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t)));
        av_display_rotation_set(matrix, settings.rotation);
    }
    if (!settings.creation_time.empty())
        av_dict_set(&format_->metadata, "creation_time", settings.creation_time.c_str(), 0);
    check(avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE), "file");
    check(avformat_write_header(format_, nullptr), "header");
    frame_ = av_frame_alloc();
    frame_->format = codec_->pix_fmt;
    frame_->width = codec_->width;
    frame_->height = codec_->height;
    check(av_frame_get_buffer(frame_, 0), "memory");
    scaler_ =
        sws_getContext(codec_->width, codec_->height, AV_PIX_FMT_BGR24, codec_->width,
                       codec_->height, codec_->pix_fmt, SWS_BICUBIC, nullptr, nullptr, nullptr);
}

Recorder::~Recorder()
{
    try {
        finish();
    } catch (const std::runtime_error&) { // the test will miss the file
    }
}

void Recorder::write(const cv::Mat& picture, std::chrono::microseconds time)
{
    check(av_frame_make_writable(frame_), "memory");
    const int step = static_cast<int>(picture.step[0]);
    sws_scale(scaler_, &picture.data, &step, 0, picture.rows, frame_->data, frame_->linesize);
    frame_->pts = av_rescale_q(time.count(), {1, 1'000'000}, codec_->time_base);
    frame_->quality = codec_->global_quality;
    encode(frame_);
}

void Recorder::encode(const AVFrame* frame)
{
    check(avcodec_send_frame(codec_, frame), "frame");
    AVPacket* packet = av_packet_alloc();
    while (avcodec_receive_packet(codec_, packet) == 0) {
        if (packet->duration == 0) // a last frame that takes no time is not shown by an MP4 file
            packet->duration = std::max<std::int64_t>(1, codec_->time_base.den / 100);
        av_packet_rescale_ts(packet, codec_->time_base, stream_->time_base);
        packet->stream_index = stream_->index;
        check(av_interleaved_write_frame(format_, packet), "packet");
    }
    av_packet_free(&packet);
}

void Recorder::finish()
{
    if (format_ == nullptr)
        return;
    if (frame_ != nullptr) {
        encode(nullptr);
        check(av_write_trailer(format_), "trailer");
    }
    if (format_->pb != nullptr)
        avio_closep(&format_->pb);
    sws_freeContext(scaler_);
    av_frame_free(&frame_);
    avcodec_free_context(&codec_);
    avformat_free_context(format_);
    format_ = nullptr;
}

} // namespace clip
