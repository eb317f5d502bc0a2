#pragma once

/// \file
/// From pictures to objects: finds what moves, follows it, and makes an object of each track that
/// has ended.
///
/// Threads: one at a time. Failure: Failure (Host.h) and cv::Exception.

#include "Foreground.h"
#include "People.h"
#include "Thumbnail.h"
#include "Track_Record.h"
#include "Tracker.h"

#include <KRCommon/frame/ProfileHelper.h>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace video_search {

class Watcher {
public:
    /// size, fps  of the pictures that watch() will be given; fps on the average
    /// samples, min_area  see Foreground
    /// profile    gets the blocks "detect", "colours" and "people"
    Watcher(cv::Size size, double fps, const std::vector<cv::Mat>& samples, double min_area,
            ProfileHelper& profile);

    /// Takes the next picture.
    void watch(const cv::Mat& frame, const ACE_Time_Value& time);

    /// Ends all tracks, for take_objects().
    void finish() { tracker_.finish(); }

    /// The objects whose tracks have ended since the last call, with their thumbnails as auxiliary
    /// data but without sensor and id. What did not move is no object.
    std::vector<KR_ObjectBase> take_objects();

    /// The scene without objects.
    cv::Mat background() const { return foreground_.background(); }

private:
    // What is known of an object that is being followed.
    struct Followed {
        std::vector<Observation> observations;
        Thumbnail thumbnail;
    };

    double seconds_until(const ACE_Time_Value& time);
    std::vector<Blob> find(const cv::Mat& frame, double seconds);
    void observe(const cv::Mat& frame, const ACE_Time_Value& time, const Sighting& sighting,
                 const Blob& blob, double covered);
    void see_colours(const cv::Mat& frame, const Blob& blob, Observation& observation) const;
    void look_for_person(const cv::Mat& frame, double covered, Followed& followed,
                         Observation& observation) const;
    KR_ObjectBase to_object(const Followed& followed) const;

    const cv::Size size_;
    const double usual_seconds_; // between two pictures
    std::optional<ACE_Time_Value> last_time_;
    const std::size_t person_step_; // a score is asked for each so many observations
    ProfileHelper& profile_;
    Foreground foreground_;
    Tracker tracker_;
    People people_;
    std::map<std::uint64_t, Followed> followed_; // by track
};

} // namespace video_search
