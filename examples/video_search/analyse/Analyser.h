#pragma once

/// \file
/// The component that analyses one recording: a thread of its own reads the video, finds and
/// follows objects and stores each as soon as it is gone; the reactor's thread shows the progress.
///
///     Video video(settings.video);          // first, so that bad input leaves no store behind
///     Store store(path, Store::Access::write);
///     Analyser analyser(host, video, store, settings);
///     const bool has_run = host.run(analyser);
///     const Analysis analysis = analyser.result(); // throws what went wrong
///
/// Threads: construct and destroy on one thread; status() may be called from any; result() when
/// host.run() has returned. Video and store belong to the component's thread while it runs.

#include "../host/Host.h"
#include "../store/Store.h"
#include "Progress.h"
#include "Video.h"
#include "Watcher.h"

#include <KRCommon/frame/Component_Base.h>
#include <KRCommon/frame/Mutex.h>

#include <array>
#include <atomic>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace video_search {

/// What the command line says of an analysis.
struct Analysis_Settings {
    std::string video;       ///< path of the file
    int sensor = 1;          ///< first word of the sensor id, 0 or more
    ACE_Time_Value start;    ///< time of the first picture
    unsigned budget = 65536; ///< bytes of an object's instance list, at least least_budget()
    int every = 1;           ///< each n-th picture is analysed
    double min_area = 0.05;  ///< of an object, in percent of the picture
};

/// What came out.
struct Analysis {
    Recording recording;
    std::array<int, 3> objects = {}; ///< stored: persons, vehicles, other objects
    int frames_read = 0;             ///< analysed or passed over
    std::optional<int> frames_said;  ///< by the file

    int stored() const noexcept { return objects[0] + objects[1] + objects[2]; }
};

class Analyser final : public KR_Component_Base {
public:
    /// All but the settings must live as long as the component.
    Analyser(Host& host, Video& video, Store& store, const Analysis_Settings& settings);
    ~Analyser() override;

    /// How far it is.
    Status status();

    /// The result; throws the exception that ended the work early: Failure, cv::Exception or
    /// another std::exception. What was stored until then stays, and the recording's state is
    /// "failed".
    Analysis result() const;

private:
    State do_component_start(ACE_Reactor* reactor) override;
    State do_component_stop() override;
    // On the worker's thread.
    void work() noexcept;
    void analyse();
    Watcher learn_scene();
    cv::Mat next_frame();
    void store(std::vector<KR_ObjectBase> objects);
    void store_scene_picture(const cv::Mat& frame);
    void store_final(const Watcher& watcher);
    void store_failed() noexcept;
    void tell_status();
    ACE_Time_Value time_of(int frame) const;

    Host& host_;
    Video& video_;
    Store& store_;
    const Analysis_Settings settings_;
    Progress progress_;
    std::thread worker_;
    std::atomic<bool> is_to_stop_{false};
    int scene_pictures_ = 0;                      // stored
    Analysis analysis_;                           // the worker's, until it has ended
    std::exception_ptr failure_;                  // likewise
    KR_Mutex_Ex<ACE_Process_Mutex> status_mutex_; // guards status_
    Status status_;
};

} // namespace video_search
