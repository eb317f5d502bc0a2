#include "Worker.h"

#include "../host/Host.h"

#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
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

std::size_t best_class(const KR_ObjectBase& object)
{
    const float* const scores = object.ClassScores;
    return static_cast<std::size_t>(std::max_element(scores, scores + 3) - scores);
}

double seconds_of(const ACE_Time_Value& time)
{
    return static_cast<double>(time.sec()) + static_cast<double>(time.usec()) / 1e6;
}

} // namespace

void check_rate(const Source& source, int every)
{
    constexpr double least = 0.95; // one, for whoever counts in 1000/1001
    if (source.fps() / every >= least)
        return;
    char rate[120];
    if (every == 1)
        std::snprintf(rate, sizeof rate, "%.2f frames/s", source.fps());
    else
        std::snprintf(rate, sizeof rate, "each %d. of its %.2f frames/s", every, source.fps());
    throw Failure(source.name() + ": " + rate +
                  " is too few to follow anybody; at least 1 frame/s is to be analysed");
}

Worker::Worker(Source& source, Shared_Store& store, const Analysis_Settings& settings,
               std::string run, ProfileHelper& profile)
    : source_(source), store_(store), settings_(settings), profile_(profile)
{
    analysis_.recording.run = std::move(run);
    analysis_.recording.video = source.name();
    analysis_.recording.sensor = sensor_id(settings.sensor);
    analysis_.recording.state = "running";
    if (!source.is_live())
        status_.total = source.count();
}

Status Worker::status()
{
    KR_GUARD(status_mutex_);
    Status status = status_;
    status.away = source_.is_away() ? 1 : 0;
    return status;
}

Analysis Worker::result() const
{
    if (failure_)
        std::rethrow_exception(failure_);
    return analysis_;
}

void Worker::run() noexcept
{
    try {
        analyse();
    } catch (...) {
        failure_ = std::current_exception();
        store_failed();
    }
}

// A camera that was stopped before it could be reached leaves no recording.
void Worker::analyse()
{
    Recording& recording = analysis_.recording;
    recording.state = "stopped";
    if (!source_.open())
        return;
    check_rate(source_, settings_.every);
    recording.state = "running";
    recording.start = recording.end = last_put_ = source_.start();
    recording.width = source_.size().width;
    recording.height = source_.size().height;
    put_recording();
    std::optional<Watcher> watcher = learn_scene();
    if (watcher)
        watch(*watcher);
    store_final();
}

// Nothing when it was stopped.
std::optional<Watcher> Worker::learn_scene()
{
    const ProfileHelperBlock block(&profile_, "learn");
    const cv::Size size = source_.size();
    const std::vector<cv::Mat> samples = source_.sample_scene(Foreground::working_size(size));
    if (samples.empty() && source_.is_stopped())
        return std::nullopt;
    if (samples.empty())
        throw Failure(source_.name() + " is no video that can be read");
    return std::make_optional<Watcher>(size, source_.fps() / settings_.every, samples,
                                       settings_.min_area / 100, profile_);
}

void Worker::watch(Watcher& watcher)
{
    for (Frame frame = next_frame(); !frame.picture.empty(); frame = next_frame()) {
        watcher.watch(frame.picture, frame.time);
        store(watcher.take_objects());
        store_scene_picture(frame);
        store_progress(watcher);
        tell_status();
    }
    watcher.finish();
    store(watcher.take_objects());
    tell_status();
    analysis_.recording.background = to_jpeg(watcher.background());
}

// The next picture that is to be analysed; those between are passed over.
Frame Worker::next_frame()
{
    const ProfileHelperBlock block(&profile_, "decode");
    for (int i = 1; i < settings_.every && source_.position() > 0; ++i)
        source_.skip();
    Frame frame = source_.next();
    if (!frame.picture.empty())
        ++analysis_.recording.frames;
    return frame;
}

void Worker::store_final()
{
    const ProfileHelperBlock block(&profile_, "store");
    Recording& recording = analysis_.recording;
    analysis_.shortfall = source_.shortfall();
    recording.state = analysis_.shortfall   ? "truncated"
                      : source_.is_at_end() ? "complete"
                                            : "stopped";
    put_recording();
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF analyser: %s is %s, %d frames, %d objects\n",
           recording.video, recording.state, recording.frames, analysis_.stored());
}

// The failure is kept already; that the store may not take its state any more adds nothing to it.
void Worker::store_failed() noexcept
{
    try {
        analysis_.recording.state = "failed";
        if (analysis_.recording.width > 0)
            put_recording();
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR analyser: %s\n", error.what());
    }
}

void Worker::put_recording()
{
    Recording& recording = analysis_.recording;
    recording.end = last_put_ = source_.end();
    store_.use([&](Object_Store& store) { store.put(recording); });
}

void Worker::store(std::vector<KR_ObjectBase> objects)
{
    for (KR_ObjectBase& object : objects) {
        object.SensorId = analysis_.recording.sensor;
        {
            const ProfileHelperBlock block(&profile_, "encode");
            fit(object, settings_.budget);
        }
        const ProfileHelperBlock block(&profile_, "store");
        store_.use([&](Object_Store& store) { // the id stays free until it is taken
            object.ObjectId = store.next_object_id(object.SensorId);
            store.add(analysis_.recording.run, object, encode(object, settings_.budget));
        });
        ++analysis_.objects[best_class(object)];
    }
}

// Of a recording one each five seconds, of a long one fewer: about forty, and never more. Of a
// camera one each ten minutes.
void Worker::store_scene_picture(const Frame& frame)
{
    constexpr int most = 40;
    constexpr int width = 320; // pixels
    constexpr double usual = 5.0;
    constexpr double of_camera = 600.0;
    const double spread = source_.count().value_or(0) / source_.fps() / most;
    const double step = source_.is_live() ? of_camera : std::max(usual, spread);
    const double early = 0.5 / source_.fps();
    const double now = seconds_of(frame.time - analysis_.recording.start) + early;
    if ((scene_pictures_ == most && !source_.is_live()) || now < next_scene_picture_)
        return;
    const ProfileHelperBlock block(&profile_, "store");
    const Picture picture{frame.time, to_jpeg(frame.picture, width)};
    store_.use([&](Object_Store& store) { store.add(analysis_.recording.run, picture); });
    ++scene_pictures_;
    next_scene_picture_ = step * (std::floor(now / step) + 1); // none for what a gap has left out
}

// A camera's recording has no end that would be waited for: what is known of it is put in the store
// once a minute.
void Worker::store_progress(const Watcher& watcher)
{
    const ACE_Time_Value minute(60);
    if (!source_.is_live() || source_.end() - last_put_ < minute)
        return;
    const ProfileHelperBlock block(&profile_, "store");
    analysis_.recording.background = to_jpeg(watcher.background());
    put_recording();
}

void Worker::tell_status()
{
    KR_GUARD(status_mutex_);
    status_.frames = source_.position();
    status_.objects = analysis_.stored();
}

} // namespace video_search
