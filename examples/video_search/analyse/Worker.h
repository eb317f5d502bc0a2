#pragma once

/// \file
/// Analyses one source from its begin to its end: finds and follows objects, and stores each as
/// soon as it is gone.
///
/// Threads: run() on a thread of its own; status() may be called from any; result() when run() has
/// returned.

#include "Progress.h"
#include "Shared_Store.h"
#include "Source.h"
#include "Watcher.h"

#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/ProfileHelper.h>

#include <array>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace video_search {

/// What the command line says of an analysis.
struct Analysis_Settings {
    int sensor = 1;          ///< first word of the sensor id, 0 or more
    unsigned budget = 65536; ///< bytes of an object's instance list, at least least_budget()
    int every = 1;           ///< each n-th picture is analysed
    double min_area = 0.05;  ///< of an object, in percent of the picture
};

/// What came out.
struct Analysis {
    Recording recording;
    std::array<int, 3> objects = {};      ///< stored: persons, vehicles, other objects
    std::optional<std::string> shortfall; ///< what a truncated recording lacks, see Source

    int stored() const noexcept { return objects[0] + objects[1] + objects[2]; }
};

/// Failure for a source of which so few pictures are analysed, less than one a second, that nobody
/// who walks through them can be followed.
void check_rate(const Source& source, int every);

class Worker {
public:
    /// source, store, profile  must live as long
    /// run  GUID of the recording; each has its own
    Worker(Source& source, Shared_Store& store, const Analysis_Settings& settings, std::string run,
           ProfileHelper& profile);

    /// Returns when the source has come to its end, or was stopped, or something failed.
    void run() noexcept;

    /// How far it is.
    Status status();

    /// The result; throws the exception that ended the work early: Failure, cv::Exception or
    /// another std::exception. What was stored until then stays, and the recording's state is
    /// "failed".
    Analysis result() const;

private:
    void analyse();
    std::optional<Watcher> learn_scene();
    void watch(Watcher& watcher);
    Frame next_frame();
    void store(std::vector<KR_ObjectBase> objects);
    void store_scene_picture(const Frame& frame);
    void store_progress(const Watcher& watcher);
    void store_final();
    void store_failed() noexcept;
    void put_recording();
    void tell_status();

    Source& source_;
    Shared_Store& store_;
    const Analysis_Settings settings_;
    ProfileHelper& profile_;
    int scene_pictures_ = 0;        // stored
    double next_scene_picture_ = 0; // seconds since the begin
    ACE_Time_Value last_put_;
    Analysis analysis_;
    std::exception_ptr failure_;
    KR_Mutex_Ex<ACE_Process_Mutex> status_mutex_; // guards status_
    Status status_;
};

} // namespace video_search
