#include "Query.h"

#include <KRCommon/colors/Colors.h>
#include <KRCommon/frame/Log.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
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

void add(Color_Sum& sum, const KR_Color_View& part)
{
    const double area = part.area();
    sum.area += area;
    sum.red += area * part.red();
    sum.green += area * part.green();
    sum.blue += area * part.blue();
}

Preset_Set presets_of(const KR_Color_View& part, const KR_Colors& colors)
{
    ns__RgbColor rgb;
    rgb.red = part.red();
    rgb.green = part.green();
    rgb.blue = part.blue();
    ns__HsvColor hsv;
    colors.rgb_to_hsv(rgb, hsv);
    Preset_Set presets = 0;
    colors.get_color_preset_masks(KR_Hsv_Source::of(&hsv), 1, &presets);
    return presets;
}

// By the number of the preset.
using Color_Sums = std::array<Color_Sum, KR_Color_Shares::preset_count>;

void add(Color_Sums& sums, const KR_Color_View& part, const KR_Colors& colors)
{
    if (!(part.area() > 0))
        return;
    Preset_Set presets = presets_of(part, colors);
    for (std::size_t number = 0; presets != 0; ++number, presets >>= 1)
        if ((presets & 1) != 0)
            add(sums[number], part);
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

std::vector<Color_Share> color_shares(const KR_Object_View& object)
{
    const KR_Colors& colors = *KR_Colors::instance();
    Color_Sums sums;
    int instances = 0;
    for (const KR_Instance_View instance : object.instances()) {
        instances += instance.colors().empty() ? 0 : 1;
        for (const KR_Color_View part : instance.colors())
            add(sums, part, colors);
    }
    std::vector<Color_Share> shares;
    for (std::size_t number = 0; number < sums.size(); ++number)
        if (sums[number].area > 0)
            shares.push_back(
                share_of(static_cast<ns__ColorPreset>(number), sums[number], instances));
    std::stable_sort(shares.begin(), shares.end(), [](const auto& left, const auto& right) {
        return left.percent > right.percent;
    });
    return shares;
}

namespace {

// The class that is asked for, else the one of the highest score above 0.
ns__ObjectClass class_of(const KR_Object_View& object, const Criteria& criteria)
{
    if (criteria.object_class != ns__ObjectClass__unknown)
        return criteria.object_class;
    ns__ObjectClass best = ns__ObjectClass__unknown;
    float best_score = 0;
    int number = 0;
    for (const float score : object.class_scores()) {
        ++number;
        if (score > best_score) {
            best = static_cast<ns__ObjectClass>(number);
            best_score = score;
        }
    }
    return best;
}

float score_of(const KR_Object_View& object, ns__ObjectClass object_class)
{
    const auto index = static_cast<std::size_t>(object_class) - 1;
    return object_class == ns__ObjectClass__unknown ? 0 : object.class_scores()[index];
}

// The part of an instance's colours that have one of the presets, in percent.
float area_of(const KR_Instance_View& instance, Preset_Set set, const KR_Colors& colors)
{
    float area = 0;
    for (const KR_Color_View part : instance.colors())
        if (part.area() > 0 && (presets_of(part, colors) & set) != 0)
            area += part.area();
    return area;
}

// As KR_Object_View::color_shares() of a preset; a colour that has several of them counts once.
float share_of(const KR_Object_View& object, Preset_Set set, const KR_Colors& colors)
{
    double sum = 0;
    int count = 0;
    for (const KR_Instance_View instance : object.instances()) {
        count += instance.colors().empty() ? 0 : 1;
        sum += area_of(instance, set, colors);
    }
    return count > 0 ? static_cast<float>(sum / count) : 0;
}

// An object that has nothing of a colour does not match it, even where 0 percent are enough.
bool has_color(const KR_Object_View& object, Preset_Set set, float min_area)
{
    const KR_Colors& colors = *KR_Colors::instance();
    const float least = std::max(min_area, std::numeric_limits<float>::min());
    for (int number = 1; number <= 13; ++number) {
        const auto preset = static_cast<ns__ColorPreset>(number);
        if (set == set_of(preset))
            return object.has_color(preset, least, colors);
    }
    return share_of(object, set, colors) >= least;
}

bool has_colors(const KR_Object_View& object, const Criteria& criteria)
{
    const auto has = [&](Preset_Set set) { return has_color(object, set, criteria.min_area); };
    const std::vector<Preset_Set>& sets = criteria.colors;
    if (sets.empty())
        return true;
    return criteria.wants_all_colors ? std::all_of(sets.begin(), sets.end(), has)
                                     : std::any_of(sets.begin(), sets.end(), has);
}

bool is_of(const ns__SensorId& sensor, const std::vector<ns__SensorId>& sensors)
{
    return sensors.empty() ||
           std::any_of(sensors.begin(), sensors.end(), [&](const ns__SensorId& each) {
               return each.word1 == sensor.word1 && each.word2 == sensor.word2;
           });
}

bool is_short_enough(const KR_Object_View& object, const std::optional<float>& max_duration)
{
    return !max_duration || static_cast<float>(object.duration()) <= *max_duration;
}

} // namespace

// Without a class KR_Object_View::test() asks for no score, and a NaN passes it.
bool is_match(const KR_Object_View& object, const Criteria& criteria)
{
    return object.test(from_time(criteria), to_time(criteria), ns__DetectorType__value_1,
                       criteria.object_class, criteria.min_score, criteria.min_duration) &&
           score_of(object, class_of(object, criteria)) >= criteria.min_score &&
           is_short_enough(object, criteria.max_duration) &&
           is_of(object.sensor_id(), criteria.sensors) &&
           (!criteria.hours || is_in(object.first_seen_time(), *criteria.hours)) &&
           (!criteria.area || was_present(object, *criteria.area)) && has_colors(object, criteria);
}

float ranking_score(const KR_Object_View& object, const Criteria& criteria)
{
    return score_of(object, class_of(object, criteria));
}

namespace {

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

// The object is the record's, decoded.
Hit hit_of(const KR_ObjectBase& object, const KR_Object_View& record, ns__ObjectClass object_class,
           const Criteria& criteria)
{
    constexpr float extension = 50; // percent
    const bool has_all = criteria.detail == Detail::all;
    Hit hit;
    hit.sensor = object.SensorId;
    hit.first_seen = object.FirstSeenTime;
    hit.object_class = object_class;
    hit.score = score_of(record, object_class);
    std::copy_n(object.ClassScores, hit.scores.size(), hit.scores.begin());
    const Instance& best = best_instance(object, object_class);
    hit.best_time = best.Time;
    hit.best_box = best.Box;
    hit.best_value = value_of(best, object_class);
    object.Fill(hit.result, best.Time, extension, criteria.window, has_all);
    hit.instance_count = object.Instances.size();
    hit.colors = color_shares(record);
    hit.has_thumbnail = object.AuxiliaryData && !object.AuxiliaryData->empty();
    if (criteria.detail != Detail::line)
        hit.path = path_of(object);
    if (has_all && hit.has_thumbnail)
        hit.thumbnail = *object.AuxiliaryData;
    return hit;
}

void log_damaged(const Found_Record& found)
{
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR the record of object %Q of run %s is damaged\n",
           found.object_id, found.run);
}

// A record that matches, as long as it may become a hit.
struct Match {
    std::string run;
    Bytes record;
    ns__ObjectClass object_class;
    float score;
    std::uint32_t duration;
};

class Finder {
public:
    Finder(const Criteria& criteria, ProfileHelper& profile)
        : criteria_(criteria), profile_(profile)
    {
    }

    // Whether the next record may matter.
    bool look_at(const Found_Record& found)
    {
        is_in_order_ = found.is_in_order;
        if (found.record.check().state != KR_Record_State::whole) {
            ++result_.damaged;
            log_damaged(found);
        } else if (is_match(found.record, criteria_)) {
            ++result_.matches;
            if (!is_in_order_ || !has_enough())
                keep(found);
            else
                result_.has_all_matches = criteria_.counts_all;
        }
        return result_.has_all_matches;
    }

    // Those of the matches that are asked for, decoded.
    Result take(std::size_t objects, const std::function<bool()>& is_stopped)
    {
        result_.objects = objects;
        if (!is_in_order_)
            sort();
        if (criteria_.limit && matches_.size() > *criteria_.limit)
            matches_.resize(*criteria_.limit);
        result_.hits.reserve(matches_.size());
        for (const Match& match : matches_) {
            if (is_stopped())
                break;
            result_.hits.push_back(decode(match));
        }
        return std::move(result_);
    }

private:
    // In their order nothing that comes later takes the place of what came before.
    bool has_enough() const { return criteria_.limit && matches_.size() >= *criteria_.limit; }

    void keep(const Found_Record& found)
    {
        const KR_Byte_Span bytes = found.record.bytes();
        const ns__ObjectClass object_class = class_of(found.record, criteria_);
        matches_.push_back({std::string(found.run),
                            {bytes.begin(), bytes.end()},
                            object_class,
                            score_of(found.record, object_class),
                            found.record.duration()});
    }

    Hit decode(const Match& match)
    {
        {
            const ProfileHelperBlock block(&profile_, "decode");
            object_.decode(match.record.data(), match.record.size());
        }
        const ProfileHelperBlock block(&profile_, "fill");
        const KR_Object_View record(match.record.data(), match.record.size());
        Hit hit = hit_of(object_, record, match.object_class, criteria_);
        hit.run = match.run;
        return hit;
    }

    // What came in time order.
    void sort()
    {
        const auto is_longer = [](const Match& left, const Match& right) {
            return left.duration > right.duration;
        };
        const auto is_surer = [](const Match& left, const Match& right) {
            return left.score > right.score;
        };
        if (criteria_.order == Order::duration)
            std::stable_sort(matches_.begin(), matches_.end(), is_longer);
        if (criteria_.order == Order::score)
            std::stable_sort(matches_.begin(), matches_.end(), is_surer);
    }

    const Criteria& criteria_;
    ProfileHelper& profile_;
    KR_ObjectBase object_; // takes in the hits, one after the other
    std::vector<Match> matches_;
    bool is_in_order_ = false;
    Result result_;
};

} // namespace

std::optional<Hit> hit_of(const Stored_Record& record, const Criteria& criteria)
{
    const std::optional<KR_ObjectBase> object = decode(record.record);
    if (!object)
        return std::nullopt;
    const KR_Object_View view(record.record.data(), record.record.size());
    Hit hit = hit_of(*object, view, class_of(view, criteria), criteria);
    hit.run = record.run;
    return hit;
}

Result search(Object_Source& source, const Criteria& criteria, ProfileHelper& profile,
              const std::function<bool()>& is_stopped)
{
    Finder finder(criteria, profile);
    std::size_t objects = 0;
    {
        const ProfileHelperBlock block(&profile, "query");
        source.visit(filter_of(criteria), [&](const Found_Record& found) {
            return !is_stopped() && finder.look_at(found);
        });
        objects = source.count(from_time(criteria), to_time(criteria));
    }
    return finder.take(objects, is_stopped);
}

} // namespace video_search
