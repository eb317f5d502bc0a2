#include "Watcher.h"

#include "Colours.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <utility>

namespace video_search {

namespace {

std::size_t person_step(double fps)
{
    constexpr double seconds = 0.3;
    return static_cast<std::size_t>(std::max(1, cvRound(seconds * fps)));
}

cv::Rect within(const cv::Rect2f& box, cv::Size frame)
{
    return cv::Rect(box) & cv::Rect(cv::Point(), frame);
}

// The part of a blob's mask that lies in a box, in the box's size.
cv::Mat mask_in(const Blob& blob, const cv::Rect& box)
{
    cv::Mat mask = cv::Mat::zeros(box.size(), CV_8U);
    const cv::Rect common = box & blob.box;
    if (!common.empty())
        blob.mask(common - blob.box.tl()).copyTo(mask(common - box.tl()));
    return mask;
}

Look look_of(const cv::Mat& frame, const Blob& blob)
{
    const cv::Rect upper(blob.box.x, blob.box.y, blob.box.width, (blob.box.height + 1) / 2);
    const cv::Rect lower(blob.box.x, blob.box.y + blob.box.height / 2, blob.box.width,
                         (blob.box.height + 1) / 2);
    const cv::Scalar top = cv::mean(frame(upper), blob.mask(upper - blob.box.tl()));
    const cv::Scalar bottom = cv::mean(frame(lower), blob.mask(lower - blob.box.tl()));
    Look look;
    for (int i = 0; i < 3; ++i) {
        look[i] = static_cast<float>(top[i]);
        look[i + 3] = static_cast<float>(bottom[i]);
    }
    return look;
}

// The share of an object's box that the boxes of others cover.
double covered_share(const Sighting& sighting, const std::vector<Sighting>& all)
{
    double covered = 0.0;
    for (const Sighting& other : all)
        if (other.track != sighting.track)
            covered += (other.box & sighting.box).area();
    return std::min(1.0, covered / std::max(1.0F, sighting.box.area()));
}

// What is taken for a person and too wide for one shows two.
double company(double person, const cv::Rect& box)
{
    constexpr double widest = 0.5; // of the height
    const double aspect = static_cast<double>(box.width) / box.height;
    return person >= 0.5 ? std::max(0.0, aspect - widest) : 0.0;
}

// Somebody may stay for hours: of so many observations each second one is enough.
void thin(std::vector<Observation>& observations)
{
    constexpr std::size_t most = 20'000;
    if (observations.size() < most)
        return;
    for (std::size_t i = 1; 2 * i < observations.size(); ++i)
        observations[i] = std::move(observations[2 * i]);
    observations.resize(observations.size() / 2);
}

} // namespace

Watcher::Watcher(cv::Size size, double fps, const std::vector<cv::Mat>& samples, double min_area,
                 ProfileHelper& profile)
    : size_(size), usual_seconds_(1 / fps), person_step_(person_step(fps)), profile_(profile),
      foreground_(size, samples, min_area), tracker_(fps)
{
}

void Watcher::watch(const cv::Mat& frame, const ACE_Time_Value& time)
{
    const double seconds = seconds_until(time);
    const std::vector<Blob> blobs = find(frame, seconds);
    std::vector<cv::Rect2f> boxes;
    std::vector<Look> looks;
    for (const Blob& blob : blobs) {
        boxes.emplace_back(blob.box);
        looks.push_back(look_of(frame, blob));
    }
    const std::vector<Sighting> sightings = tracker_.update(boxes, looks, seconds);
    for (const Sighting& sighting : sightings)
        observe(frame, time, sighting, blobs[static_cast<std::size_t>(sighting.blob)],
                covered_share(sighting, sightings));
}

// Since the picture before.
double Watcher::seconds_until(const ACE_Time_Value& time)
{
    double seconds = usual_seconds_;
    if (last_time_ && *last_time_ < time) {
        const ACE_Time_Value since = time - *last_time_;
        seconds = static_cast<double>(since.sec()) + static_cast<double>(since.usec()) / 1e6;
    }
    last_time_ = time;
    return seconds;
}

std::vector<Blob> Watcher::find(const cv::Mat& frame, double seconds)
{
    const ProfileHelperBlock block(&profile_, "detect");
    return foreground_.find(frame, seconds);
}

void Watcher::observe(const cv::Mat& frame, const ACE_Time_Value& time, const Sighting& sighting,
                      const Blob& blob, double covered)
{
    const cv::Rect box = within(sighting.box, size_);
    if (box.empty())
        return;
    Followed& followed = followed_[sighting.track];
    Observation observation;
    observation.time = time;
    observation.box = cv::Rect2f(box);
    observation.sharers = sighting.sharers;
    see_colours(frame, blob, observation);
    if (followed.observations.size() % person_step_ == 0)
        look_for_person(frame, covered, followed, observation);
    followed.observations.push_back(std::move(observation));
    thin(followed.observations);
}

void Watcher::see_colours(const cv::Mat& frame, const Blob& blob, Observation& observation) const
{
    const ProfileHelperBlock block(&profile_, "colours");
    const cv::Rect box(observation.box);
    const cv::Mat mask = mask_in(blob, box);
    observation.colours = main_colours(frame(box), mask);
    observation.fill = static_cast<double>(cv::countNonZero(mask)) / box.area();
}

void Watcher::look_for_person(const cv::Mat& frame, double covered, Followed& followed,
                              Observation& observation) const
{
    const ProfileHelperBlock block(&profile_, "people");
    const cv::Rect box(observation.box);
    const double score = people_.score(frame, box);
    observation.person = score;
    followed.thumbnail.offer(frame, box, score - covered - company(score, box));
}

std::vector<KR_ObjectBase> Watcher::take_objects()
{
    std::vector<KR_ObjectBase> objects;
    for (const Ended_Track& ended : tracker_.take_ended()) {
        const auto found = followed_.find(ended.track);
        if (found == followed_.end())
            continue;
        if (ended.is_confirmed && is_moving_object(found->second.observations))
            objects.push_back(to_object(found->second));
        followed_.erase(found);
    }
    return objects;
}

KR_ObjectBase Watcher::to_object(const Followed& followed) const
{
    KR_ObjectBase object = make_object(followed.observations, size_);
    object.AuxiliaryData = std::make_shared<Bytes>(followed.thumbnail.jpeg());
    return object;
}

} // namespace video_search
