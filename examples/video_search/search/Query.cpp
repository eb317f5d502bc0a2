#include "Query.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace video_search {

namespace {

using Instance = KR_ObjectBase::Instance;

// Colours of one preset, added up.
struct Color_Sum {
    double area = 0;
    double red = 0; // weighted by area, as the next two
    double green = 0;
    double blue = 0;
};

using Color_Sums = std::map<ns__ColorPreset, Color_Sum>;

void add(Color_Sum& sum, const ns__RgbColorArea& part)
{
    const double area = part.area;
    sum.area += area;
    sum.red += area * part.color.red;
    sum.green += area * part.color.green;
    sum.blue += area * part.color.blue;
}

void add(Color_Sums& sums, const ns__RgbColorArea& part)
{
    if (!(part.area > 0))
        return;
    const KR_Colors& colors = *KR_Colors::instance();
    ns__HsvColor hsv;
    colors.rgb_to_hsv(part.color, hsv);
    std::vector<ns__ColorPreset> presets;
    colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
    for (const ns__ColorPreset preset : presets)
        add(sums[preset], part);
}

std::uint8_t component(double weighted, double area)
{
    return static_cast<std::uint8_t>(std::lround(weighted / area));
}

Color_Share share_of(ns__ColorPreset preset, const Color_Sum& sum, int instances)
{
    Color_Share share;
    share.preset = preset;
    share.percent = static_cast<float>(sum.area / instances);
    share.color.red = component(sum.red, sum.area);
    share.color.green = component(sum.green, sum.area);
    share.color.blue = component(sum.blue, sum.area);
    return share;
}

} // namespace

std::vector<Color_Share> color_shares(const KR_ObjectBase& object)
{
    Color_Sums sums;
    int instances = 0;
    for (const Instance& instance : object.Instances) {
        instances += instance.Colors.empty() ? 0 : 1;
        for (const ns__RgbColorArea& part : instance.Colors)
            add(sums, part);
    }
    std::vector<Color_Share> shares;
    for (const auto& [preset, sum] : sums)
        shares.push_back(share_of(preset, sum, instances));
    std::stable_sort(shares.begin(), shares.end(), [](const auto& left, const auto& right) {
        return left.percent > right.percent;
    });
    return shares;
}

namespace {

// The class that is asked for, else the one of the highest score above 0.
ns__ObjectClass class_of(const KR_ObjectBase& object, const Criteria& criteria)
{
    if (criteria.object_class != ns__ObjectClass__unknown)
        return criteria.object_class;
    ns__ObjectClass best = ns__ObjectClass__unknown;
    float best_score = 0;
    for (int k = 0; k < 3; ++k)
        if (object.ClassScores[k] > best_score) {
            best = static_cast<ns__ObjectClass>(k + 1);
            best_score = object.ClassScores[k];
        }
    return best;
}

float score_of(const KR_ObjectBase& object, ns__ObjectClass object_class)
{
    return object_class == ns__ObjectClass__unknown ? 0 : object.ClassScores[object_class - 1];
}

bool has_color(const std::vector<Color_Share>& shares, const Criteria& criteria)
{
    return !criteria.color ||
           std::any_of(shares.begin(), shares.end(), [&](const Color_Share& share) {
               return share.preset == *criteria.color && share.percent >= criteria.min_area;
           });
}

// Without a class KR_ObjectBase::test asks for no score, and a NaN passes it.
bool is_match(const KR_ObjectBase& object, const Criteria& criteria)
{
    return object.test(from_time(criteria), to_time(criteria), ns__DetectorType__value_1,
                       criteria.object_class, criteria.min_score, criteria.min_duration) &&
           score_of(object, class_of(object, criteria)) >= criteria.min_score;
}

float value_of(const Instance& instance, ns__ObjectClass object_class)
{
    switch (object_class) {
    case ns__ObjectClass__person: return instance.PersonValue;
    case ns__ObjectClass__vehicle: return instance.VehicleValue;
    case ns__ObjectClass__object: return instance.ObjectValue;
    default: return instance.UnknownValue;
    }
}

float area_of(const Geom_Box2D<float>& box)
{
    return (box.MaxX - box.MinX) * (box.MaxY - box.MinY);
}

// Where the class is surest; among equals, where the box is largest.
const Instance& best_instance(const KR_ObjectBase& object, ns__ObjectClass object_class)
{
    return *std::max_element(object.Instances.begin(), object.Instances.end(),
                             [&](const Instance& left, const Instance& right) {
                                 return std::pair(value_of(left, object_class), area_of(left.Box)) <
                                        std::pair(value_of(right, object_class),
                                                  area_of(right.Box));
                             });
}

std::vector<ns__Geom_Point2D_Float> path_of(const KR_ObjectBase& object)
{
    std::vector<ns__Geom_Point2D_Float> path;
    path.reserve(object.Instances.size());
    for (const Instance& instance : object.Instances) {
        path.emplace_back();
        path.back().x = instance.PointX;
        path.back().y = instance.PointY;
    }
    return path;
}

Hit hit_of(const KR_ObjectBase& object, const Criteria& criteria, const std::string& run)
{
    constexpr float extension = 50; // percent
    Hit hit;
    hit.run = run;
    hit.sensor = object.SensorId;
    hit.first_seen = object.FirstSeenTime;
    hit.object_class = class_of(object, criteria);
    hit.score = score_of(object, hit.object_class);
    std::copy_n(object.ClassScores, hit.scores.size(), hit.scores.begin());
    object.Fill(hit.result, best_instance(object, hit.object_class).Time, extension,
                criteria.window, true);
    hit.instance_count = object.Instances.size();
    hit.path = path_of(object);
    if (object.AuxiliaryData)
        hit.thumbnail = *object.AuxiliaryData;
    return hit;
}

std::optional<KR_ObjectBase> decoded(const Stored_Record& record, ProfileHelper& profile)
{
    const ProfileHelperBlock block(&profile, "decode");
    return decode(record.record);
}

void log_damaged(const Stored_Record& record)
{
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR the record of object %Q of run %s is damaged\n",
           record.object_id, record.run);
}

class Finder {
public:
    Finder(const Criteria& criteria, ProfileHelper& profile)
        : criteria_(criteria), profile_(profile)
    {
    }

    void look_at(const Stored_Record& record)
    {
        ++result_.objects;
        const auto object = decoded(record, profile_);
        if (object) {
            keep_match(*object, record.run);
        } else {
            ++result_.damaged;
            log_damaged(record);
        }
    }

    Result take()
    {
        result_.matches = result_.hits.size();
        sort();
        if (criteria_.limit && result_.hits.size() > *criteria_.limit)
            result_.hits.resize(*criteria_.limit);
        return std::move(result_);
    }

private:
    void keep_match(const KR_ObjectBase& object, const std::string& run)
    {
        std::vector<Color_Share> colors;
        {
            const ProfileHelperBlock block(&profile_, "test");
            if (!is_match(object, criteria_))
                return;
            colors = color_shares(object);
            if (!has_color(colors, criteria_))
                return;
        }
        const ProfileHelperBlock block(&profile_, "fill");
        result_.hits.push_back(hit_of(object, criteria_, run));
        result_.hits.back().colors = std::move(colors);
    }

    // The records come in time order.
    void sort()
    {
        std::vector<Hit>& hits = result_.hits;
        const auto is_longer = [](const Hit& left, const Hit& right) {
            return left.result.duration > right.result.duration;
        };
        const auto is_surer = [](const Hit& left, const Hit& right) {
            return left.score > right.score;
        };
        if (criteria_.order == Order::duration)
            std::stable_sort(hits.begin(), hits.end(), is_longer);
        if (criteria_.order == Order::score)
            std::stable_sort(hits.begin(), hits.end(), is_surer);
    }

    const Criteria& criteria_;
    ProfileHelper& profile_;
    Result result_;
};

} // namespace

Result search(const std::vector<Stored_Record>& records, const Criteria& criteria,
              ProfileHelper& profile, const std::function<bool()>& is_stopped)
{
    Finder finder(criteria, profile);
    for (const Stored_Record& record : records) {
        if (is_stopped())
            break;
        finder.look_at(record);
    }
    return finder.take();
}

} // namespace video_search
