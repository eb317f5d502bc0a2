#include "Frame_Reader.h"

#include "../analyse/Decoder.h"
#include "../analyse/Thumbnail.h"

#include <array>
#include <optional>
#include <utility>

namespace video_search {

namespace {

using namespace std::chrono_literals;

// Decoding so much is about as fast as finding the key frame before.
constexpr Microseconds near_enough = 2s;

} // namespace

struct Frame_Reader::Video_File {
    explicit Video_File(const Recording& recording)
        : path(recording.video), name(name_of(recording))
    {
        restart();
    }

    void restart();
    bool has_reached(Microseconds time) const;
    void go_before(Microseconds time);
    bool seek_before(Microseconds time);
    void check_time() const;

    const std::string path;
    const std::string name;
    std::function<bool()> has_to_end; // of the call that is under way
    std::optional<Decoder> decoder;   // always, but while it is opened
    bool has_frame = false;           // the decoder's
};

// The settings refer to this object, which stays where it is.
void Frame_Reader::Video_File::restart()
{
    Decoder_Settings settings;
    settings.is_to_end = [this] { return has_to_end && has_to_end(); };
    has_frame = false;
    try {
        decoder.emplace(path, settings);
        has_frame = decoder->grab();
    } catch (const Failure&) {
        check_time();
        throw Frame_Failure(Frame_Error::unreadable, name + " cannot be read as a video");
    }
    check_time();
    if (!has_frame)
        throw Frame_Failure(Frame_Error::unreadable, name + " holds no frame that can be decoded");
}

void Frame_Reader::Video_File::check_time() const
{
    if (has_to_end && has_to_end())
        throw Frame_Failure(Frame_Error::slow, "reading the frame of " + name + " took too long");
}

// A frame before the one that is wanted, so that the first one that is not before it will be found.
bool Frame_Reader::Video_File::has_reached(Microseconds time) const
{
    return has_frame && decoder->has_time() && decoder->time() <= time;
}

bool Frame_Reader::Video_File::seek_before(Microseconds time)
{
    has_frame = decoder->seek(time) && decoder->grab();
    return has_reached(time);
}

// Some containers without an index lead to a place that is too late.
void Frame_Reader::Video_File::go_before(Microseconds time)
{
    constexpr std::array<Microseconds, 3> earlier = {0s, 2s, 12s};
    if (has_reached(time) && time - decoder->time() <= near_enough)
        return;
    for (const Microseconds each : earlier) {
        check_time();
        if (each < time && seek_before(time - each))
            return;
    }
    restart();
}

bool Frame_Reader::is_available() noexcept
{
    return true;
}

Frame_Reader::Frame_Reader(const Recording& recording)
    : file_(std::make_unique<Video_File>(recording))
{
    const cv::Size size = file_->decoder->picture().size();
    if (size != cv::Size(recording.width, recording.height))
        throw Frame_Failure(Frame_Error::changed, "the recording " + file_->name +
                                                      " has changed: its pictures have another "
                                                      "size");
}

Frame_Reader::~Frame_Reader() = default;

Bytes Frame_Reader::jpeg(std::chrono::microseconds time, const std::function<bool()>& has_to_end)
{
    Video_File& file = *file_;
    file.has_to_end = has_to_end;
    file.go_before(time);
    while (file.decoder->time() < time) {
        file.has_frame = file.decoder->grab();
        file.check_time();
        if (!file.has_frame)
            throw Frame_Failure(Frame_Error::no_frame, file.name + " ends before this time");
    }
    Bytes jpeg = to_jpeg(file.decoder->picture());
    file.has_to_end = nullptr;
    return jpeg;
}

} // namespace video_search
