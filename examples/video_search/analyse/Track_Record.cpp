#include "Track_Record.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <utility>

namespace video_search {

namespace {

cv::Point2f centre(const cv::Rect2f& box)
{
    return {box.x + box.width / 2, box.y + box.height / 2};
}

// The value below which the given share of all values lies; 0 of no values.
double quantile(std::vector<double> values, double share)
{
    if (values.empty())
        return 0.0;
    const auto index = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(index);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

double median(std::vector<double> values)
{
    return quantile(std::move(values), 0.5);
}

// One number of each observation, of those that are alone in their blob where there are some.
std::vector<double> collect(const std::vector<Observation>& track,
                            const std::function<double(const Observation&)>& number)
{
    const bool is_ever_alone = std::any_of(track.begin(), track.end(),
                                           [](const Observation& o) { return o.sharers == 1; });
    std::vector<double> numbers;
    for (const Observation& observation : track)
        if (!is_ever_alone || observation.sharers == 1)
            numbers.push_back(number(observation));
    return numbers;
}

double aspect(const Observation& o)
{
    return o.box.width / std::max(1.0F, o.box.height);
}

double farthest_way(const std::vector<Observation>& track)
{
    double farthest = 0.0;
    for (const Observation& observation : track)
        farthest =
            std::max(farthest, cv::norm(centre(observation.box) - centre(track.front().box)));
    return farthest;
}

// The mean of the better half: somebody who is hidden for a while is a person all the same.
double person_score(const std::vector<Observation>& track)
{
    std::vector<double> scores;
    for (const Observation& observation : track)
        if (observation.person)
            scores.push_back(*observation.person);
    if (scores.empty())
        return 0.0;
    std::sort(scores.begin(), scores.end(), std::greater<>());
    scores.resize((scores.size() + 1) / 2);
    const double mean =
        std::accumulate(scores.begin(), scores.end(), 0.0) / static_cast<double>(scores.size());
    const bool is_upright = median(collect(track, aspect)) < 1.0;
    return is_upright ? mean : mean / 2;
}

bool is_like_vehicle(const std::vector<Observation>& track, cv::Size frame)
{
    constexpr double least_aspect = 1.5;
    constexpr double least_area = 0.01; // of the picture
    constexpr double least_fill = 0.6;
    constexpr double most_change = 0.25; // of the aspect, between its quartiles
    const std::vector<double> aspects = collect(track, aspect);
    const double area = median(collect(track, [](const Observation& o) { return o.box.area(); }));
    const double width = median(collect(track, [](const Observation& o) { return o.box.width; }));
    const double fill = median(collect(track, [](const Observation& o) { return o.fill; }));
    const double change = (quantile(aspects, 0.75) - quantile(aspects, 0.25)) / median(aspects);
    return median(aspects) >= least_aspect && area >= least_area * frame.area() &&
           fill >= least_fill && change <= most_change && farthest_way(track) >= width;
}

float percent(double score)
{
    return static_cast<float>(std::clamp(std::lround(100.0 * score), 1L, 100L));
}

// The score of each observation: the one that was asked last, or the first where none was before.
std::vector<double> person_scores_over_time(const std::vector<Observation>& track)
{
    const auto first = std::find_if(track.begin(), track.end(),
                                    [](const Observation& o) { return o.person.has_value(); });
    double score = first == track.end() ? 0.0 : *first->person;
    std::vector<double> scores;
    scores.reserve(track.size());
    for (const Observation& observation : track)
        scores.push_back(score = observation.person.value_or(score));
    return scores;
}

KR_ObjectBase::Instance make_instance(const Observation& seen)
{
    KR_ObjectBase::Instance instance;
    const cv::Point2f last = seen.box.br();
    instance.Time = seen.time;
    instance.Box = Geom_Box2D<float>(seen.box.x, seen.box.y, last.x, last.y);
    instance.Colors = seen.colours;
    instance.PointX = centre(seen.box).x;
    instance.PointY = last.y;
    instance.Number = seen.sharers;
    instance.Flag = seen.sharers > 1 ? 1 : 0;
    return instance;
}

} // namespace

bool is_moving_object(const std::vector<Observation>& track)
{
    constexpr double least_way = 0.33; // diagonals
    const ACE_Time_Value least_time(0, 500'000);
    if (track.empty() || track.back().time - track.front().time < least_time)
        return false;
    const double diagonal = median(
        collect(track, [](const Observation& o) { return std::hypot(o.box.width, o.box.height); }));
    return farthest_way(track) >= least_way * diagonal;
}

Class_Scores classify(const std::vector<Observation>& track, cv::Size frame)
{
    constexpr double rule_of_thumb = 0.7; // a rule has no measured certainty
    Class_Scores scores;
    scores.person = person_score(track);
    if (scores.person < 0.5 && is_like_vehicle(track, frame))
        scores.vehicle = rule_of_thumb;
    scores.object = 1.0 - std::max(scores.person, scores.vehicle);
    return scores;
}

KR_ObjectBase make_object(const std::vector<Observation>& track, cv::Size frame)
{
    const Class_Scores scores = classify(track, frame);
    const std::vector<double> person_now = person_scores_over_time(track);
    KR_ObjectBase object;
    object.DetectorType = ns__DetectorType__value_1;
    object.FirstSeenTime = track.front().time;
    object.SecondTime = track.back().time;
    object.Duration = static_cast<std::uint32_t>((object.SecondTime - object.FirstSeenTime).sec());
    object.ClassScores[0] = static_cast<float>(scores.person);
    object.ClassScores[1] = static_cast<float>(scores.vehicle);
    object.ClassScores[2] = static_cast<float>(scores.object);
    for (std::size_t i = 0; i < track.size(); ++i) {
        KR_ObjectBase::Instance instance = make_instance(track[i]);
        if (scores.person >= 0.5)
            instance.PersonValue = percent(person_now[i]);
        else if (scores.vehicle >= 0.5)
            instance.VehicleValue = percent(scores.vehicle);
        else
            instance.ObjectValue = percent(scores.object);
        object.Instances.push_back(std::move(instance));
    }
    return object;
}

namespace {

using Instances = std::vector<KR_ObjectBase::Instance>;

// Bytes of the instance list without a limit.
unsigned list_size(const KR_ObjectBase& object)
{
    return object.serialize_instances_size(std::numeric_limits<unsigned>::max());
}

unsigned list_size(Instances instances)
{
    KR_ObjectBase object;
    object.Instances = std::move(instances);
    return list_size(object);
}

} // namespace

unsigned least_budget()
{
    Instances one(1);
    one[0].Colors.resize(4);
    return list_size(std::move(one));
}

void fit(KR_ObjectBase& object, unsigned budget)
{
    Instances& all = object.Instances;
    if (all.empty() || list_size(object) <= budget)
        return;
    const auto most_colors =
        std::max_element(all.begin(), all.end(), [](const auto& left, const auto& right) {
            return left.Colors.size() < right.Colors.size();
        });
    const unsigned empty = list_size(Instances());
    const unsigned largest = list_size(Instances{*most_colors}) - empty;
    const std::size_t room = std::max<std::size_t>(1, (budget - empty) / largest);
    Instances kept = {all.front()};
    for (std::size_t i = 1; i < room; ++i)
        kept.push_back(all[i * (all.size() - 1) / (room - 1)]);
    all = std::move(kept);
}

} // namespace video_search
