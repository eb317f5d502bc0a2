#pragma once

/// \file
/// Pictures out of recordings: the frame at a time, and a still of the scene. What was made lately is
/// kept, and so are some open files, in which the next frame is near.
///
/// Threads: all functions may be called from any thread at once. No more than so many decode at the
/// same time; the others wait for a while, then fail as busy.

#include "../host/Host.h"
#include "../store/Object_Store.h"

#include <ace/Time_Value.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

namespace video_search {

class Frame_Reader;

enum class Frame_Error {
    missing,     ///< the recording's file is not there, or it was no file but a camera
    changed,     ///< there is another video in its place
    unreadable,  ///< what is there is no video
    no_frame,    ///< the time is outside of the recording
    busy,        ///< too many others are decoding; later it may work
    slow,        ///< it took too long
    unavailable, ///< the program is built without what decodes
};

/// One sentence, which names the recording's file without its folders.
class Frame_Failure : public Failure {
public:
    Frame_Failure(Frame_Error error, const std::string& text) : Failure(text), error_(error) {}
    Frame_Error error() const noexcept { return error_; }

private:
    Frame_Error error_;
};

struct Frame_Settings {
    std::size_t cache_bytes = std::size_t{32} << 20U; ///< of JPEG; a larger picture is not kept
    std::size_t most_at_once = 2;                     ///< that decode; at least 1
    std::chrono::milliseconds patience{5000};         ///< for the wait, and then for the decoding
};

/// The name of a recording's file, without its folders; an address without its password.
[[nodiscard]] std::string name_of(const Recording& recording);

class Frame_Source {
public:
    using Picture_Bytes = std::shared_ptr<const Bytes>;

    /// Whether the program can read frames at all; stills of analysed scenes it can always give.
    static bool is_available() noexcept;

    explicit Frame_Source(const Frame_Settings& settings = {});
    ~Frame_Source();
    Frame_Source(const Frame_Source&) = delete;
    Frame_Source& operator=(const Frame_Source&) = delete;

    /// Whether frame() may work: it is available and the file is there. Looks at no byte of it.
    [[nodiscard]] static bool has_frames(const Recording& recording);

    /// JPEG of the first frame at `time` or later, which is the frame of an observation: times of
    /// these are those of their frames, cut to milliseconds. Never null. A Frame_Failure of any kind.
    ///
    /// Of a file whose own times jump backward the times of an analysis are found up to the jump.
    [[nodiscard]] Picture_Bytes frame(const Recording& recording, const ACE_Time_Value& time);

    /// JPEG of the scene: the picture without moving objects that the analysis made, else the first
    /// frame. Never null. A Frame_Failure as of frame().
    [[nodiscard]] Picture_Bytes still(const Recording& recording);

private:
    // A file as it is now: path, size, time of the last change in the file system's ticks.
    using File_Id = std::tuple<std::string, std::uintmax_t, std::int64_t>;
    using Frame_Id = std::pair<File_Id, std::int64_t>; // microseconds since the first frame
    struct Kept_Frame {
        Frame_Id id;
        Picture_Bytes picture;
    };
    struct Idle_Reader {
        File_Id file;
        std::unique_ptr<Frame_Reader> reader;
    };

    static File_Id identify(const Recording& recording);
    Picture_Bytes find(const Frame_Id& id);
    void keep(const Frame_Id& id, const Picture_Bytes& picture);
    std::unique_ptr<Frame_Reader> take_reader(const Recording& recording, const File_Id& file);
    void begin_work(const Recording& recording);
    void end_work(const File_Id& file, std::unique_ptr<Frame_Reader> reader);
    Picture_Bytes decode(const Recording& recording, const Frame_Id& id);

    const Frame_Settings settings_;
    std::mutex mutex_; // of all below; never held while something is decoded
    std::condition_variable worker_ended_;
    std::size_t workers_ = 0;
    std::list<Idle_Reader> idle_; // used last first; with the workers never more than most_at_once
    std::list<Kept_Frame> kept_;  // used last first
    std::size_t kept_bytes_ = 0;
};

} // namespace video_search
