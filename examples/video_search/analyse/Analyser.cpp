#include "Analyser.h"

#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Time_Text.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <system_error>
#include <utility>

namespace video_search {

namespace {

ns__SensorId sensor_id(int number)
{
    ns__SensorId sensor;
    sensor.word1 = number;
    sensor.word2 = 1;
    return sensor;
}

Recording new_recording(const std::string& run, const Video& video,
                        const Analysis_Settings& settings)
{
    Recording recording;
    recording.run = run;
    recording.video = settings.video;
    recording.sensor = sensor_id(settings.sensor);
    recording.start = settings.start;
    recording.end = settings.start;
    recording.width = video.size().width;
    recording.height = video.size().height;
    recording.state = "running";
    return recording;
}

std::size_t best_class(const KR_ObjectBase& object)
{
    const float* const scores = object.ClassScores;
    return static_cast<std::size_t>(std::max_element(scores, scores + 3) - scores);
}

} // namespace

Analyser::Analyser(Host& host, Video& video, Store& store, const Analysis_Settings& settings)
    : KR_Component_Base("analyser"), host_(host), video_(video), store_(store), settings_(settings),
      progress_([this] { return status(); })
{
    analysis_.recording = new_recording(host.run_id(), video, settings);
    analysis_.frames_said = video.count();
    status_.total = video.count();
}

Analyser::~Analyser()
{
    if (get_state() != STATE_STOPPED)
        component_stop();
}

KR_Component_Base::State Analyser::do_component_start(ACE_Reactor* reactor)
{
    if (!progress_.start(reactor))
        return STATE_STOPPED;
    try {
        worker_ = std::thread([this] { work(); });
    } catch (const std::system_error&) { // no thread to be had
        progress_.stop();
        return STATE_STOPPED;
    }
    return STATE_STARTED;
}

// The worker never asks for the state, so that waiting for it under the lock is safe.
KR_Component_Base::State Analyser::do_component_stop()
{
    is_to_stop_ = true;
    worker_.join();
    progress_.stop();
    return STATE_STOPPED;
}

Status Analyser::status()
{
    KR_GUARD(status_mutex_);
    return status_;
}

Analysis Analyser::result() const
{
    if (failure_)
        std::rethrow_exception(failure_);
    return analysis_;
}

void Analyser::work() noexcept
{
    try {
        analyse();
    } catch (...) {
        failure_ = std::current_exception();
        store_failed();
    }
    host_.end();
}

void Analyser::analyse()
{
    cv::setNumThreads(1); // the same order of sums each time
    store_.put(analysis_.recording);
    Watcher watcher = learn_scene();
    while (!is_to_stop_) {
        const cv::Mat frame = next_frame();
        if (frame.empty())
            break;
        watcher.watch(frame, time_of(analysis_.frames_read - 1));
        store(watcher.take_objects());
        store_scene_picture(frame);
        tell_status();
    }
    watcher.finish();
    store(watcher.take_objects());
    tell_status();
    store_final(watcher);
}

Watcher Analyser::learn_scene()
{
    const ProfileHelperBlock block(&host_.profile(), "learn");
    const cv::Size size = Foreground::working_size(video_.size());
    return Watcher(video_.size(), video_.fps() / settings_.every,
                   sample_scene(settings_.video, size), settings_.min_area / 100, host_.profile());
}

// The next picture that is to be analysed; those between are passed over.
cv::Mat Analyser::next_frame()
{
    const ProfileHelperBlock block(&host_.profile(), "decode");
    for (int i = 1; i < settings_.every && analysis_.frames_read > 0; ++i)
        video_.skip();
    cv::Mat frame = video_.next();
    analysis_.frames_read = video_.position();
    if (!frame.empty())
        ++analysis_.recording.frames;
    return frame;
}

void Analyser::store_final(const Watcher& watcher)
{
    const ProfileHelperBlock block(&host_.profile(), "store");
    Recording& recording = analysis_.recording;
    recording.state = video_.is_truncated() ? "truncated"
                      : video_.is_at_end()  ? "complete"
                                            : "stopped";
    recording.end = time_of(analysis_.frames_read);
    recording.background = to_jpeg(watcher.background());
    store_.put(recording);
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF analyser: %s is %s, %d frames, %d objects\n",
           recording.video, recording.state, recording.frames, analysis_.stored());
}

// The failure is kept already; that the store may not take its state any more adds nothing to it.
void Analyser::store_failed() noexcept
{
    try {
        analysis_.recording.state = "failed";
        analysis_.recording.end = time_of(analysis_.frames_read);
        store_.put(analysis_.recording);
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR analyser: %s\n", error.what());
    }
}

void Analyser::store(std::vector<KR_ObjectBase> objects)
{
    for (KR_ObjectBase& object : objects) {
        object.SensorId = analysis_.recording.sensor;
        object.ObjectId = store_.next_object_id(object.SensorId);
        Bytes record;
        {
            const ProfileHelperBlock block(&host_.profile(), "encode");
            fit(object, settings_.budget);
            record = encode(object, settings_.budget);
        }
        const ProfileHelperBlock block(&host_.profile(), "store");
        store_.add(analysis_.recording.run, object, record);
        ++analysis_.objects[best_class(object)];
    }
}

// One each five seconds, of a long recording fewer: about forty, and never more.
void Analyser::store_scene_picture(const cv::Mat& frame)
{
    constexpr double seconds = 5.0;
    constexpr int most = 40;
    constexpr int width = 320; // pixels
    const double usual = seconds * video_.fps();
    const double spread = static_cast<double>(analysis_.frames_said.value_or(0)) / most;
    const int due = static_cast<int>(std::ceil(scene_pictures_ * std::max(usual, spread)));
    if (scene_pictures_ == most || analysis_.frames_read <= due)
        return;
    const ProfileHelperBlock block(&host_.profile(), "store");
    store_.add(analysis_.recording.run,
               Picture{time_of(analysis_.frames_read - 1), to_jpeg(frame, width)});
    ++scene_pictures_;
}

void Analyser::tell_status()
{
    KR_GUARD(status_mutex_);
    status_.frames = analysis_.frames_read;
    status_.objects = analysis_.stored();
}

ACE_Time_Value Analyser::time_of(int frame) const
{
    constexpr std::int64_t second = 1'000'000;
    const std::int64_t microseconds =
        std::llround(static_cast<double>(second) * frame / video_.fps());
    return settings_.start + ACE_Time_Value(static_cast<time_t>(microseconds / second),
                                            static_cast<suseconds_t>(microseconds % second));
}

} // namespace video_search
