// Where there is no libavformat.

#include "Frame_Reader.h"

namespace video_search {

struct Frame_Reader::Video_File {};

bool Frame_Reader::is_available() noexcept
{
    return false;
}

Frame_Reader::Frame_Reader(const Recording& /*recording*/)
{
    throw Frame_Failure(Frame_Error::unavailable,
                        "frames cannot be had: this program is built without a decoder");
}

Frame_Reader::~Frame_Reader() = default;

Bytes Frame_Reader::jpeg(std::chrono::microseconds /*time*/,
                         const std::function<bool()>& /*has_to_end*/)
{
    return {};
}

} // namespace video_search
