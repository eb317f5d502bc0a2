#include "Frame_Source.h"

#include "Frame_Reader.h"

#include <KRCommon/util/Url.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace video_search {

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

std::int64_t to_microseconds(const ACE_Time_Value& time)
{
    return std::int64_t{time.sec()} * 1'000'000 + time.usec();
}

// Times of observations are cut to milliseconds. While a recording is analysed its end is not known.
bool is_within(const ACE_Time_Value& time, const Recording& recording)
{
    const ACE_Time_Value millisecond(0, 1000);
    return time + millisecond > recording.start &&
           (time < recording.end || recording.state == "running");
}

bool is_address(const std::string& video)
{
    return video.find("://") != std::string::npos;
}

} // namespace

std::string name_of(const Recording& recording)
{
    if (is_address(recording.video))
        return kr_url_log_text(recording.video);
    return recording.video.substr(recording.video.find_last_of("/\\") + 1);
}

bool Frame_Source::is_available() noexcept
{
    return Frame_Reader::is_available();
}

Frame_Source::Frame_Source(const Frame_Settings& settings) : settings_(settings) {}

Frame_Source::~Frame_Source() = default;

bool Frame_Source::has_frames(const Recording& recording)
{
    std::error_code error;
    return is_available() && !is_address(recording.video) &&
           std::filesystem::is_regular_file(to_path(recording.video), error);
}

Frame_Source::File_Id Frame_Source::identify(const Recording& recording)
{
    const std::string name = name_of(recording);
    if (!is_available())
        throw Frame_Failure(Frame_Error::unavailable,
                            "frames cannot be had: this program is built without a decoder");
    if (is_address(recording.video))
        throw Frame_Failure(Frame_Error::missing, "a camera's pictures are not kept");
    const std::filesystem::path path = to_path(recording.video);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw Frame_Failure(Frame_Error::missing, "the recording " + name + " is not there");
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    const auto changed = std::filesystem::last_write_time(path, error);
    return {recording.video, size, changed.time_since_epoch().count()};
}

Frame_Source::Picture_Bytes Frame_Source::frame(const Recording& recording,
                                                const ACE_Time_Value& time)
{
    const File_Id file = identify(recording);
    if (!is_within(time, recording))
        throw Frame_Failure(Frame_Error::no_frame,
                            "the recording " + name_of(recording) + " has no frame at this time");
    const Frame_Id id(file, to_microseconds(time) - to_microseconds(recording.start));
    if (Picture_Bytes picture = find(id))
        return picture;
    Picture_Bytes picture = decode(recording, id);
    keep(id, picture);
    return picture;
}

Frame_Source::Picture_Bytes Frame_Source::still(const Recording& recording)
{
    if (!recording.background.empty())
        return std::make_shared<const Bytes>(recording.background);
    return frame(recording, recording.start);
}

Frame_Source::Picture_Bytes Frame_Source::find(const Frame_Id& id)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = std::find_if(kept_.begin(), kept_.end(),
                                    [&](const Kept_Frame& kept) { return kept.id == id; });
    if (found == kept_.end())
        return nullptr;
    kept_.splice(kept_.begin(), kept_, found);
    return found->picture;
}

void Frame_Source::keep(const Frame_Id& id, const Picture_Bytes& picture)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    if (picture->size() > settings_.cache_bytes)
        return;
    kept_.push_front({id, picture});
    kept_bytes_ += picture->size();
    while (kept_bytes_ > settings_.cache_bytes) {
        kept_bytes_ -= kept_.back().picture->size();
        kept_.pop_back();
    }
}

void Frame_Source::begin_work(const Recording& recording)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const auto has_room = [&] {
        return workers_ < std::max<std::size_t>(settings_.most_at_once, 1);
    };
    if (!worker_ended_.wait_for(lock, settings_.patience, has_room))
        throw Frame_Failure(Frame_Error::busy, "too many frames are being read; the one of " +
                                                   name_of(recording) + " may be had later");
    ++workers_;
}

// One that is open is taken; to open another one the files that were not used for the longest time
// are closed.
std::unique_ptr<Frame_Reader> Frame_Source::take_reader(const Recording& recording,
                                                        const File_Id& file)
{
    std::list<Idle_Reader> to_close; // without the lock
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = std::find_if(idle_.begin(), idle_.end(),
                                        [&](const Idle_Reader& idle) { return idle.file == file; });
        if (found != idle_.end()) {
            std::unique_ptr<Frame_Reader> reader = std::move(found->reader);
            idle_.erase(found);
            return reader;
        }
        while (!idle_.empty() && idle_.size() + workers_ > settings_.most_at_once)
            to_close.splice(to_close.begin(), idle_, std::prev(idle_.end()));
    }
    to_close.clear();
    return std::make_unique<Frame_Reader>(recording);
}

// A reader that failed is not given back.
void Frame_Source::end_work(const File_Id& file, std::unique_ptr<Frame_Reader> reader)
{
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        --workers_;
        if (reader)
            idle_.push_front({file, std::move(reader)});
    }
    worker_ended_.notify_one();
}

Frame_Source::Picture_Bytes Frame_Source::decode(const Recording& recording, const Frame_Id& id)
{
    begin_work(recording);
    try {
        const auto deadline = steady_clock::now() + settings_.patience;
        std::unique_ptr<Frame_Reader> reader = take_reader(recording, id.first);
        auto picture = std::make_shared<const Bytes>(
            reader->jpeg(microseconds(id.second), [&] { return steady_clock::now() > deadline; }));
        end_work(id.first, std::move(reader));
        return picture;
    } catch (const Frame_Failure& failure) {
        end_work(id.first, nullptr);
        if (failure.error() == Frame_Error::no_frame) // the analysis has seen one
            throw Frame_Failure(Frame_Error::changed, "the recording " + name_of(recording) +
                                                          " has changed: it is shorter");
        throw;
    } catch (...) {
        end_work(id.first, nullptr);
        throw;
    }
}

} // namespace video_search
