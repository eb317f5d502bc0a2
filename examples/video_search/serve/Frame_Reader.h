#pragma once

/// \file
/// Single frames of one recording's file, as JPEG. Where the program is built without libavformat
/// the constructor fails.
///
/// Threads: one at a time. Failure: Frame_Failure (Frame_Source.h).

#include "Frame_Source.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace video_search {

class Frame_Reader {
public:
    /// Whether the program can read frames at all.
    static bool is_available() noexcept;

    /// Opens the file. Frame_Error::unreadable for one that is no video; changed for one whose
    /// pictures have another size than the recording says.
    explicit Frame_Reader(const Recording& recording);
    ~Frame_Reader();
    Frame_Reader(const Frame_Reader&) = delete;
    Frame_Reader& operator=(const Frame_Reader&) = delete;

    /// The first frame at `time` or later, counted from the first frame. One that lies little ahead
    /// of the last one is decoded on to; another is searched for from the key frame before it, or
    /// from the begin where the file does not let itself be searched.
    ///
    /// has_to_end  asked again and again; true ends it with Frame_Error::slow
    ///
    /// Frame_Error::no_frame where the video ends before
    Bytes jpeg(std::chrono::microseconds time, const std::function<bool()>& has_to_end);

private:
    struct Video_File;
    const std::unique_ptr<Video_File> file_;
};

} // namespace video_search
